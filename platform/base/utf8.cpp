// Checking UTF-8. Most mail is ASCII, so eight bytes at a time are passed over as long as none of them has
// its high bit set; only what remains is looked at sequence by sequence.
#include "platform/base/utf8.h"

#include <cstdint>
#include <cstring>

namespace quzo::platform {

namespace {

constexpr std::uint64_t kHighBits = 0x8080808080808080U;

std::size_t asciiPrefix(const char* text, std::size_t length) {
    std::size_t at = 0;
    for (; at + 8 <= length; at += 8) {
        std::uint64_t block = 0;
        std::memcpy(&block, text + at, 8);
        if ((block & kHighBits) != 0) {
            break;
        }
    }
    while (at < length && static_cast<unsigned char>(text[at]) < 0x80) {
        ++at;
    }
    return at;
}

bool isContinuation(unsigned char byte) { return (byte & 0xC0U) == 0x80U; }

// The least and greatest second byte that may follow a lead byte; the ranges shut out overlong forms,
// surrogates and what lies above U+10FFFF.
struct SecondByte {
    unsigned char least;
    unsigned char greatest;
};

SecondByte secondByteRange(unsigned char lead) {
    switch (lead) {
        case 0xE0:
            return {0xA0, 0xBF};
        case 0xED:
            return {0x80, 0x9F};
        case 0xF0:
            return {0x90, 0xBF};
        case 0xF4:
            return {0x80, 0x8F};
        default:
            return {0x80, 0xBF};
    }
}

} // namespace

bool isAscii(std::string_view text) { return asciiPrefix(text.data(), text.size()) == text.size(); }

std::size_t utf8SequenceLength(std::string_view text, std::size_t at) {
    const auto byteAt = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    if (at >= text.size()) {
        return 0;
    }
    const unsigned char lead = byteAt(at);
    if (lead < 0x80) {
        return 1;
    }
    if (lead < 0xC2 || lead > 0xF4) {
        return 0;
    }
    std::size_t length = 2;
    if (lead >= 0xE0) {
        length = lead >= 0xF0 ? 4 : 3;
    }
    if (text.size() - at < length) {
        return 0;
    }
    const SecondByte range = secondByteRange(lead);
    if (byteAt(at + 1) < range.least || byteAt(at + 1) > range.greatest) {
        return 0;
    }
    for (std::size_t i = 2; i < length; ++i) {
        if (!isContinuation(byteAt(at + i))) {
            return 0;
        }
    }
    return length;
}

char32_t codePoint(std::string_view character) {
    constexpr unsigned kLeadBits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
    char32_t point = static_cast<unsigned char>(character[0]) & kLeadBits[character.size()];
    for (const char byte : character.substr(1)) {
        point = (point << 6U) | (static_cast<unsigned char>(byte) & 0x3FU);
    }
    return point;
}

std::size_t validUtf8Prefix(std::string_view text) {
    std::size_t at = 0;
    while (at < text.size()) {
        at += asciiPrefix(text.data() + at, text.size() - at);
        while (at < text.size() && static_cast<unsigned char>(text[at]) >= 0x80) {
            const std::size_t length = utf8SequenceLength(text, at);
            if (length == 0) {
                return at;
            }
            at += length;
        }
    }
    return at;
}

} // namespace quzo::platform
