// See text_part.h.
#include "platform/message/values/text_part.h"

#include <algorithm>
#include <optional>

#include "platform/base/line_breaks.h"
#include "platform/base/utf8.h"
#include "platform/charset/lossless.h"
#include "platform/message/values/transfer_encoder.h"
#include "platform/message/values/transfer_encoding.h"

namespace quzo::platform {

std::string textPart(const TextPart& part, std::string_view lineBreak) {
    std::string label = part.charset == nullptr ? std::string() : std::string(part.charset);
    const std::string lines = withLineBreaks(part.text, part.encoded ? "\r\n" : lineBreak);
    std::optional<std::string> body = canLabelText(label) ? encodedForGood(lines, label) : std::nullopt;
    if (!body) {
        label = isAscii(part.text) ? "us-ascii" : "utf-8";
        body = lines;
    }
    std::string encoding(plainEncodingOf(*body));
    if (part.encoded || encoding != "7bit") {
        const bool quoted = !part.encoded && isMostlyAscii(*body);
        encoding = quoted ? "quoted-printable" : "base64";
        *body = encodedTransfer(*body, quoted ? TransferEncoding::QuotedPrintable : TransferEncoding::Base64,
                                lineBreak);
    }
    std::string written = std::string("Content-Type: text/plain; charset=").append(label).append(lineBreak);
    written.append("Content-Transfer-Encoding: ").append(encoding).append(lineBreak);
    written.append("Content-Disposition: ");
    if (part.fileName.empty()) {
        written.append("inline");
    } else {
        written.append("attachment; filename=").append(part.fileName);
    }
    return written.append(lineBreak).append(lineBreak).append(*body);
}

} // namespace quzo::platform
