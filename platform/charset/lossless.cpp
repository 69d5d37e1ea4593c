// See lossless.h.
#include "platform/charset/lossless.h"

#include "platform/charset/charset.h"
#include "platform/charset/converter.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {

std::optional<std::string> decodedText(std::string_view bytes, const std::string& charset) {
    std::string utf8;
    const int error = convert(bytes, charset.c_str(), "utf-8", Unmappable::Fail, '?', utf8);
    return error == kErrorNone ? std::optional(std::move(utf8)) : std::nullopt;
}

std::optional<std::string> encodedText(std::string_view utf8, const std::string& charset) {
    std::string bytes;
    const int error = convert(utf8, "utf-8", charset.c_str(), Unmappable::Fail, '?', bytes);
    return error == kErrorNone ? std::optional(std::move(bytes)) : std::nullopt;
}

std::optional<std::string> encodedForGood(std::string_view utf8, const std::string& charset) {
    std::optional<std::string> bytes = encodedText(utf8, charset);
    if (sameCharset(charset.c_str(), "utf-8")) {
        return bytes; // as they were
    }
    const std::optional<std::string> back = bytes ? decodedText(*bytes, charset) : std::nullopt;
    return back && *back == utf8 ? std::move(bytes) : std::nullopt;
}

bool canLabelText(const std::string& charset) {
    return isCharsetName(charset) && holdsAscii(charset.c_str());
}

} // namespace quzo::platform
