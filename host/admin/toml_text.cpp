// What must be escaped is decided on characters; everything else is copied as it is, so that texts of any
// language stay readable.
#include "host/admin/toml_text.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>

#include "platform/base/utf8.h"
#include "platform/base/visible_text.h"

namespace quzo::host {
namespace {

bool isBare(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
}

void appendEscape(std::string& out, char32_t point) {
    char text[16];
    std::snprintf(text, sizeof text, point > 0xFFFF ? "\\U%08lX" : "\\u%04lX",
                  static_cast<unsigned long>(point));
    out += text;
}

void appendCharacter(std::string& out, std::string_view character) {
    switch (character[0]) {
        case '\\':
            out += "\\\\";
            return;
        case '\r':
            out += "\\r";
            return;
        case '\t':
            out += "\\t";
            return;
        default:
            break;
    }
    if (platform::isVisible(character)) {
        out += character;
    } else {
        appendEscape(out, platform::codePoint(character));
    }
}

std::string quoted(std::string_view text, bool severalLines) {
    std::string out = severalLines ? "\"\"\"\n" : "\"";
    unsigned quotes = 0; // that stand one after the other
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = std::max<std::size_t>(platform::utf8SequenceLength(text, at), 1);
        const std::string_view character = text.substr(at, length);
        at += length;
        if (character == "\n" && severalLines) {
            out += '\n';
        } else if (character == "\"") {
            // Three would end the string, and so would one before its end.
            const bool plain = severalLines && quotes < 2 && at < text.size();
            out += plain ? "\"" : "\\\"";
            quotes = plain ? quotes + 1 : 0;
            continue;
        } else {
            appendCharacter(out, character);
        }
        quotes = 0;
    }
    return out + (severalLines ? "\"\"\"" : "\"");
}

} // namespace

std::string tomlKey(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), isBare) ? std::string(text)
                                                                          : quoted(text, false);
}

std::string tomlString(std::string_view text) {
    return quoted(text, text.find('\n') != std::string_view::npos);
}

} // namespace quzo::host
