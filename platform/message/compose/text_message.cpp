// See text_message.h.
#include "platform/message/compose/text_message.h"

#include "platform/base/line_breaks.h"
#include "platform/message/values/transfer_encoder.h"

namespace quzo::platform {

std::string textMessage(const OwnHeader& header, std::string_view text) {
    constexpr std::string_view kEnd = "\r\n";
    const bool quoted = isMostlyAscii(text);
    std::string out = ownHeaderFields(header, kEnd);
    out.append("Content-Type: text/plain; charset=utf-8").append(kEnd);
    out.append("Content-Transfer-Encoding: ").append(quoted ? "quoted-printable" : "base64").append(kEnd);
    out.append(kEnd);
    const TransferEncoding encoding = quoted ? TransferEncoding::QuotedPrintable : TransferEncoding::Base64;
    return out.append(encodedTransfer(withLineBreaks(text, kEnd), encoding, kEnd));
}

} // namespace quzo::platform
