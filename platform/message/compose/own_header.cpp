// Addresses stand between angle brackets, where what they may hold can do no harm (validAddress()); texts go
// through the writer of encoded words, which lets no line break pass.
#include "platform/message/compose/own_header.h"

#include <gmime/gmime.h>

#include <memory>

#include "platform/charset/encoded_words.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {
namespace {

constexpr std::string_view kSubject = "Subject: ";

} // namespace

std::string headerDate(std::int64_t date) {
    const std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> time(g_date_time_new_from_unix_utc(date),
                                                                        &g_date_time_unref);
    if (!time) {
        return "Thu, 01 Jan 1970 00:00:00 +0000";
    }
    const std::unique_ptr<char, decltype(&g_free)> text(g_mime_utils_header_format_date(time.get()), &g_free);
    return text.get();
}

std::string ownHeaderFields(const OwnHeader& header, std::string_view lineEnd) {
    std::string out;
    const auto line = [&](auto... pieces) { (out.append(pieces), ..., out.append(lineEnd)); };
    line("From: <", header.sender, ">");
    if (header.recipients.size() == 1) {
        line("To: <", header.recipients.front(), ">");
    } else {
        line("To: undisclosed-recipients:;");
    }
    std::string subject;
    if (encodeWords(header.subject, "utf-8", kSubject.size(), lineEnd, subject) == kErrorNone) {
        line(kSubject, subject);
    }
    line("Date: ", headerDate(header.date));
    line("Message-ID: <", header.identifier, "@", header.hostname, ">");
    line("MIME-Version: 1.0");
    line("Auto-Submitted: auto-generated");
    return out;
}

} // namespace quzo::platform
