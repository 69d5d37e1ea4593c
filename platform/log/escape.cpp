// Escapes what could forge or disguise a log line. Plain text, which is nearly everything, is copied in runs.
#include "platform/log/escape.h"

#include "platform/charset/utf8.h"

namespace quzo::platform {

namespace {

// Whether the UTF-8 character of `length` bytes may stand in a line as it is.
bool isHarmless(std::string_view character) {
    const auto byte = [&](std::size_t index) { return static_cast<unsigned char>(character[index]); };
    if (character.size() == 1) {
        return byte(0) >= 0x20 && byte(0) != 0x7F;
    }
    if (character.size() == 2) {
        // U+0080 to U+009F; U+061C, a mark of direction.
        return (byte(0) != 0xC2 || byte(1) >= 0xA0) && !(byte(0) == 0xD8 && byte(1) == 0x9C);
    }
    if (character.size() == 3 && byte(0) == 0xE2) {
        // U+200E, U+200F and U+2028 to U+202E: separators and marks of direction; U+2066 to U+2069: direction
        // isolates.
        return !(byte(1) == 0x80 && (byte(2) == 0x8E || byte(2) == 0x8F)) &&
               !(byte(1) == 0x80 && byte(2) >= 0xA8 && byte(2) <= 0xAE) &&
               !(byte(1) == 0x81 && byte(2) >= 0xA6 && byte(2) <= 0xA9);
    }
    return true;
}

void appendEscaped(std::string& out, std::string_view bytes) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        out += "\\x";
        out += digits[byte >> 4U];
        out += digits[byte & 0xFU];
    }
}

} // namespace

std::string escapeForLog(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    std::size_t copied = 0; // everything before it is in `out`
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = utf8SequenceLength(text, at);
        const std::size_t step = length == 0 ? 1 : length;
        if (length == 0 || !isHarmless(text.substr(at, length))) {
            out.append(text.substr(copied, at - copied));
            appendEscaped(out, text.substr(at, step));
            copied = at + step;
        }
        at += step;
    }
    out.append(text.substr(copied));
    return out;
}

} // namespace quzo::platform
