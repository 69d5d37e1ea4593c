// Reading text that may be broken. See readable_text.h.
#include "platform/message/values/readable_text.h"

#include "platform/base/utf8.h"
#include "platform/charset/converter.h"
#include "platform/charset/value_cut.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {
namespace {

std::string withoutNul(std::string text) {
    if (text.find('\0') == std::string::npos) {
        return text;
    }
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        c == '\0' ? out.append("\xEF\xBF\xBD") : out.append(1, c);
    }
    return out;
}

} // namespace

std::string readableText(std::string_view bytes, const std::string& charset) {
    if (charset == "utf-8" && isUtf8(bytes)) {
        return withoutNul(std::string(bytes)); // nothing to decode, and the most frequent case by far
    }
    const bool saysNothing = sameCharset(charset.c_str(), "us-ascii") || !knownCharset(charset.c_str());
    if (saysNothing && isUtf8(bytes)) {
        return withoutNul(std::string(bytes));
    }
    std::string text;
    if (decodeLeniently(bytes, saysNothing ? "windows-1252" : charset.c_str(), text) != kErrorNone) {
        return {};
    }
    return withoutNul(std::move(text));
}

std::string readableValue(std::string_view rawValue) {
    const std::string value = unfolded(rawValue);
    const std::vector<ValuePiece> pieces = cutValue(value, CutWords::All);
    if (pieces.empty()) {
        return readableText(value, {});
    }
    std::string text;
    for (const ValuePiece& piece : pieces) {
        text += readableText(piece.bytes, piece.charset);
    }
    return text;
}

} // namespace quzo::platform
