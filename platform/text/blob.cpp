// The key/value text of settings: "key=value;key2=value2;". People read it in exports and logs, so what is
// printable stands as it is; '%', '=', ';' and control characters are written as %XX. Bytes of 0x80 and above
// are text in some charset and stay.
//
// Settings come from outside, so the reader takes exactly what the writer makes and nothing that only
// resembles it.
#include "quzo/core/blob.h"
#include "platform/base/ascii.h"
#include "platform/base/hex.h"
#include "platform/base/numbers.h"

#include <cstring>
#include <exception>
#include <optional>
#include <string_view>

#include "quzo/core/guard.h"

namespace quzo {

namespace {

constexpr std::size_t kMaxBlob = std::size_t{16} << 20U; // bytes

void appendEscaped(std::string& out, std::string_view text) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '%' || c == '=' || c == ';' || platform::isControlByte(c)) {
            out += '%';
            out += digits[byte >> 4U];
            out += digits[byte & 0xFU];
        } else {
            out += c;
        }
    }
}

bool unescape(std::string_view text, std::string& out) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (platform::isControlByte(text[i])) {
            return false;
        }
        if (text[i] != '%') {
            out += text[i];
            continue;
        }
        const int high = i + 2 < text.size() ? platform::hexDigit(text[i + 1]) : -1;
        const int low = high >= 0 ? platform::hexDigit(text[i + 2]) : -1;
        if (low < 0) {
            return false;
        }
        out += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return true;
}

bool readFields(std::string_view text, Blob::Map& map) {
    while (!text.empty()) {
        const std::size_t end = text.find(';');
        if (end == std::string_view::npos) {
            return false;
        }
        const std::string_view field = text.substr(0, end);
        const std::size_t equals = field.find('=');
        if (equals == std::string_view::npos || field.find('=', equals + 1) != std::string_view::npos) {
            return false;
        }
        std::string key;
        std::string value;
        if (!unescape(field.substr(0, equals), key) || !unescape(field.substr(equals + 1), value) ||
            !map.emplace(std::move(key), std::move(value)).second) {
            return false;
        }
        text.remove_prefix(end + 1);
    }
    return true;
}

} // namespace

bool Blob::readBlob(const char*& cursor, Map& map) {
    if (cursor == nullptr) {
        return false;
    }
    const std::size_t length = strnlen(cursor, kMaxBlob + 1);
    if (length > kMaxBlob) {
        return false;
    }
    const std::string_view text(cursor, length);
    if (!guarded("Blob::readBlob", false, [&] { return readFields(text, map); })) {
        return false;
    }
    cursor += length;
    return true;
}

void Blob::writeBlob(std::string& out, const Map& map) {
    const bool written = guarded("Blob::writeBlob", false, [&] {
        out.clear();
        for (const auto& [key, value] : map) {
            appendEscaped(out, key);
            out += '=';
            appendEscaped(out, value);
            out += ';';
        }
        return true;
    });
    if (!written) {
        out.clear(); // half a text would be read as another one
    }
}

bool Blob::bindBlobField(Map& map, const char* key, std::string& field, bool store) {
    if (key == nullptr) {
        return false;
    }
    return guarded("Blob::bindBlobField", false, [&] {
        if (store) {
            map.insert_or_assign(key, field);
            return true;
        }
        const auto entry = map.find(key);
        if (entry == map.end()) {
            return false;
        }
        field = entry->second;
        return true;
    });
}

bool Blob::bindBlobField(Map& map, const char* key, int& field, bool store) {
    std::string text;
    if (store) {
        text = std::to_string(field);
        return bindBlobField(map, key, text, true);
    }
    if (!bindBlobField(map, key, text, false)) {
        return false;
    }
    const std::optional<int> number = platform::parseNumber<int>(text);
    field = number.value_or(field);
    return number.has_value();
}

} // namespace quzo
