// See escaped_text.h.
#include "platform/base/escaped_text.h"

#include <cstddef>

#include "platform/base/utf8.h"

namespace quzo::platform {
namespace {

constexpr std::string_view kHex = "0123456789abcdef";

// The byte that "\xNN" at `at` stands for; -1 when none does.
int escapedByte(std::string_view text, std::size_t at) {
    if (text.size() - at < 4 || text[at + 1] != 'x') {
        return -1;
    }
    const std::size_t high = kHex.find(text[at + 2]);
    const std::size_t low = kHex.find(text[at + 3]);
    const bool hex = high != std::string_view::npos && low != std::string_view::npos;
    return hex ? static_cast<int>(high * 16 + low) : -1;
}

} // namespace

std::string escapedText(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size());
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t length = utf8SequenceLength(bytes, at);
        if (length == 0) {
            const auto byte = static_cast<unsigned char>(bytes[at]);
            out.append("\\x").push_back(kHex[byte >> 4U]);
            out.push_back(kHex[byte & 0xFU]);
            ++at;
        } else {
            out.append(bytes[at] == '\\' ? "\\" : "").append(bytes.substr(at, length));
            at += length;
        }
    }
    return out;
}

bool unescapeText(std::string_view text, std::string& out) {
    out.clear();
    out.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '\\') {
            out.push_back(text[at]);
        } else if (text.substr(at + 1).starts_with('\\')) {
            out.push_back('\\');
            ++at;
        } else {
            const int byte = escapedByte(text, at);
            if (byte < 0) {
                return false;
            }
            out.push_back(static_cast<char>(byte));
            at += 3;
        }
    }
    return true;
}

} // namespace quzo::platform
