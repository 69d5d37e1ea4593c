// See attached_message.h.
//
// A message/rfc822 part may not be encoded, so the attached bytes stand there as they are and the transfer
// encoding says what they ask of the way: 7bit, 8bit or binary. The line break in front of the last boundary
// belongs to the boundary, which is why a message without one at its end keeps that too.
#include "platform/queue/attached_message.h"

#include <gmime/gmime.h>

#include <algorithm>
#include <memory>

#include "platform/base/utf8.h"
#include "platform/charset/encoded_words.h"
#include "platform/message/identifiers.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {
namespace {

constexpr std::string_view kSubject = "Subject: ";
constexpr std::string_view kSubjectBegin = "Released: ";
constexpr std::string_view kSentence =
    "The attached message was held by the mail policy of this system and has now been\n"
    "released to you, as it was received.\n";

// Of the message's first line; a CR at the very end would otherwise be taken for a part of the boundary's.
std::string_view lineEndOf(std::string_view message) {
    const std::size_t first = message.find('\n');
    const bool bare = first != std::string_view::npos && (first == 0 || message[first - 1] != '\r');
    return bare && !message.ends_with('\r') ? "\n" : "\r\n";
}

bool hasLongLine(std::string_view message) {
    constexpr std::size_t kMaxLine = 998;
    while (message.size() > kMaxLine) {
        const std::size_t end = message.find('\n');
        if (std::min(end, message.size()) > kMaxLine + 1) { // one byte for a CR
            return true;
        }
        message.remove_prefix(end + 1);
    }
    return false;
}

std::string_view transferEncodingOf(std::string_view message) {
    if (message.find('\0') != std::string_view::npos || hasLongLine(message)) {
        return "binary";
    }
    return isAscii(message) ? "7bit" : "8bit";
}

std::string boundaryFor(std::string_view message) {
    std::string boundary;
    do {
        boundary = "quzo-" + newIdentifier();
    } while (message.find(boundary) != std::string_view::npos);
    return boundary;
}

std::string dateText(std::int64_t date) {
    const std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> time(g_date_time_new_from_unix_utc(date),
                                                                        &g_date_time_unref);
    if (!time) {
        return "Thu, 01 Jan 1970 00:00:00 +0000";
    }
    const std::unique_ptr<char, decltype(&g_free)> text(g_mime_utils_header_format_date(time.get()), &g_free);
    return text.get();
}

std::string subjectField(std::string_view subject, std::string_view lineEnd) {
    std::string value;
    const std::string whole = std::string(kSubjectBegin).append(subject);
    if (encodeWords(whole, "utf-8", kSubject.size(), lineEnd, value) != kErrorNone) {
        value = kSubjectBegin.substr(0, kSubjectBegin.size() - 2);
    }
    return std::string(kSubject).append(value);
}

std::string withLineEnd(std::string_view text, std::string_view lineEnd) {
    std::string out;
    for (const char c : text) {
        out.append(c == '\n' ? lineEnd : std::string_view(&c, 1));
    }
    return out;
}

} // namespace

std::string attachedMessage(std::string_view message, const Covering& covering) {
    const std::string_view end = lineEndOf(message);
    const std::string_view encoding = transferEncodingOf(message);
    const std::string boundary = boundaryFor(message);
    std::string out;
    out.reserve(message.size() + 2048);
    const auto line = [&](auto... pieces) { (out.append(pieces), ..., out.append(end)); };
    line("From: <", covering.sender, ">");
    if (covering.recipients.size() == 1) {
        line("To: <", covering.recipients.front(), ">");
    } else {
        line("To: undisclosed-recipients:;");
    }
    line(subjectField(covering.subject, end));
    line("Date: ", dateText(covering.date));
    line("Message-ID: <", covering.identifier, "@", covering.hostname, ">");
    line("MIME-Version: 1.0");
    line("Auto-Submitted: auto-generated");
    line("Content-Type: multipart/mixed; boundary=\"", boundary, "\"");
    line("Content-Transfer-Encoding: ", encoding);
    line();
    line("--", boundary);
    line("Content-Type: text/plain; charset=us-ascii");
    line();
    line(withLineEnd(kSentence, end), "--", boundary);
    line("Content-Type: message/rfc822");
    line("Content-Disposition: attachment; filename=\"message.eml\"");
    line("Content-Transfer-Encoding: ", encoding);
    line();
    line(message);
    line("--", boundary, "--");
    return out;
}

} // namespace quzo::platform
