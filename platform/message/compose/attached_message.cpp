// See attached_message.h.
//
// A message/rfc822 part may not be encoded, so the attached bytes stand there as they are and the transfer
// encoding says what they ask of the way: 7bit, 8bit or binary. The line break in front of the last boundary
// belongs to the boundary, which is why a message without one at its end keeps that too.
#include "platform/message/compose/attached_message.h"

#include "platform/base/identifiers.h"
#include "platform/base/line_breaks.h"
#include "platform/message/values/transfer_encoding.h"

namespace quzo::platform {
namespace {

// Of the message's first line; a CR at the very end would otherwise be taken for a part of the boundary's.
std::string_view lineEndOf(std::string_view message) {
    const std::size_t first = message.find('\n');
    const bool bare = first != std::string_view::npos && (first == 0 || message[first - 1] != '\r');
    return bare && !message.ends_with('\r') ? "\n" : "\r\n";
}

std::string boundaryFor(std::string_view message) {
    std::string boundary;
    do {
        boundary = "quzo-" + newIdentifier();
    } while (message.find(boundary) != std::string_view::npos);
    return boundary;
}

} // namespace

std::string attachedMessage(const OwnHeader& header, std::string_view text, std::string_view message) {
    const std::string_view end = lineEndOf(message);
    const std::string_view encoding = plainEncodingOf(message);
    const std::string boundary = boundaryFor(message);
    std::string out;
    out.reserve(message.size() + text.size() + 2048);
    const auto line = [&](auto... pieces) { (out.append(pieces), ..., out.append(end)); };
    out.append(ownHeaderFields(header, end));
    line("Content-Type: multipart/mixed; boundary=\"", boundary, "\"");
    line("Content-Transfer-Encoding: ", encoding);
    line();
    line("--", boundary);
    line("Content-Type: text/plain; charset=us-ascii");
    line();
    line(withLineBreaks(text, end), "--", boundary);
    line("Content-Type: message/rfc822");
    line("Content-Disposition: attachment; filename=\"message.eml\"");
    line("Content-Transfer-Encoding: ", encoding);
    line();
    line(message);
    line("--", boundary, "--");
    return out;
}

} // namespace quzo::platform
