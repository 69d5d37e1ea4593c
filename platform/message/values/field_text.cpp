// What may stand in a header field. See field_text.h.
//
// Values come from settings, from tokens and from hostile messages. The one thing that must never
// happen is that a value ends its field and begins another (or the body), so line breaks are judged
// here, for every way into the message.
#include "platform/message/values/field_text.h"

#include <algorithm>
#include <array>

#include "platform/base/ascii.h"
#include "platform/charset/encoded_words.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {
namespace {

constexpr std::string_view kBreakers("\r\n\0", 3);

// The length of the line break at `at`: 2 for CRLF, 1 for LF, 0 for anything else.
std::size_t breakLength(std::string_view text, std::size_t at) {
    if (at < text.size() && text[at] == '\n') {
        return 1;
    }
    return at + 1 < text.size() && text[at] == '\r' && text[at + 1] == '\n' ? 2 : 0;
}

bool isVisible(char c) { return static_cast<unsigned char>(c) > 0x20 && c != 0x7F; }

// Whether a line begins at `at` that continues a field: blanks, then something visible.
bool continues(std::string_view text, std::size_t at) {
    if (at >= text.size() || !isBlank(text[at])) {
        return false;
    }
    const std::size_t next = text.find_first_not_of(" \t", at);
    return next != std::string_view::npos && isVisible(text[next]);
}

std::string_view withoutFinalBreak(std::string_view value) {
    if (!value.empty() && value.back() == '\n') {
        value.remove_suffix(1);
        if (!value.empty() && value.back() == '\r') {
            value.remove_suffix(1);
        }
    } else if (!value.empty() && value.back() == '\r') {
        value.remove_suffix(1);
    }
    return value;
}

// Charsets in which the bytes of CR and LF may be part of another character. Their text goes into
// encoded words as it is.
bool hasWideUnits(std::string_view charset) {
    static constexpr std::array<std::string_view, 5> kPrefixes = {"utf-16", "utf-32", "utf16", "ucs-",
                                                                  "iso-10646-ucs"};
    return std::any_of(kPrefixes.begin(), kPrefixes.end(),
                       [&](std::string_view prefix) { return startsWithNoCase(charset, prefix); });
}

} // namespace

bool validFieldName(std::string_view name) {
    return !name.empty() &&
           std::all_of(name.begin(), name.end(), [](char c) { return c >= 33 && c <= 126 && c != ':'; });
}

std::string neutralised(std::string_view value) {
    value = withoutFinalBreak(value);
    std::string out(value);
    for (std::size_t at = out.find_first_of(kBreakers); at != std::string::npos;
         at = out.find_first_of(kBreakers, at)) {
        const std::size_t length = breakLength(out, at);
        if (length != 0 && continues(out, at + length)) {
            at += length;
        } else {
            out[at] = ' ';
        }
    }
    return out;
}

std::string onOneLine(std::string_view value) {
    std::string out;
    out.reserve(value.size());
    value = withoutFinalBreak(value);
    for (std::size_t at = 0; at < value.size();) {
        const std::size_t length = breakLength(value, at);
        if (length != 0 && at + length < value.size() && isBlank(value[at + length])) {
            at += length; // the blank of the fold stays
            continue;
        }
        out.push_back(kBreakers.find(value[at]) != std::string_view::npos ? ' ' : value[at]);
        ++at;
    }
    return out;
}

std::string_view separatorOf(std::string_view rawValue) {
    const std::size_t length = std::min(rawValue.find_first_not_of(" \t"), rawValue.size());
    const bool nothingFollows = length == rawValue.size() || breakLength(rawValue, length) != 0;
    if (length == 0) {
        return nothingFollows ? " " : "";
    }
    return nothingFollows ? " " : rawValue.substr(0, length);
}

int writtenValue(std::string_view value, const char* charset, std::size_t firstColumn,
                 std::string_view lineBreak, std::string& out) {
    if (charset == nullptr || *charset == '\0') {
        out = neutralised(value);
        return kErrorNone;
    }
    std::string encoded;
    const int error = hasWideUnits(charset)
                          ? encodeWords(value, charset, firstColumn, lineBreak, encoded)
                          : encodeWords(onOneLine(value), charset, firstColumn, lineBreak, encoded);
    if (error == kErrorNone) {
        out = neutralised(encoded);
    }
    return error;
}

} // namespace quzo::platform
