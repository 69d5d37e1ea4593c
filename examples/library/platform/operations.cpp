// quzo/core/text.h, blob.h, error_text.h, snmp.h and the two names of action.h: texts, the form of settings,
// and what this platform has to say about errors, actions and traps.
#include <array>
#include <charconv>
#include <cstring>
#include <string_view>

#include "message.h"
#include "quzo/core/action.h"
#include "quzo/core/blob.h"
#include "quzo/core/error_text.h"
#include "quzo/core/guard.h"
#include "quzo/core/snmp.h"
#include "quzo/core/text.h"

namespace quzo {
namespace {

bool known(const char* charset) {
    return charset == nullptr || *charset == '\0' || platform_icasencmp(charset, "us-ascii", 9) == 0 ||
           platform_icasencmp(charset, "utf-8", 6) == 0;
}

// "LENGTH:BYTES" at the cursor, which moves behind it.
bool readPart(const char*& cursor, std::string& out) {
    const char* end = cursor + std::strlen(cursor);
    std::size_t length = 0;
    const auto [colon, error] = std::from_chars(cursor, end, length);
    if (error != std::errc() || colon == end || *colon != ':' ||
        length > static_cast<std::size_t>(end - colon - 1)) {
        return false;
    }
    out.assign(colon + 1, length);
    cursor = colon + 1 + length;
    return true;
}

} // namespace

// From one charset to another: US-ASCII, which is UTF-8 as well, and nothing else. A byte above is no text of
// ours, so a subject with one is left alone by whoever wants to change it.
int KvMsg_CharsetConverterString(const char* source, const char* sourceCharset, char* target,
                                 const char* targetCharset, std::size_t* length, int, char) {
    if (!known(sourceCharset) || !known(targetCharset)) {
        return kErrorUnknownCharset;
    }
    if (!example::isAscii(source)) {
        return kErrorMalformedText;
    }
    *length = strnlen(source, *length);
    std::memcpy(target, source, *length);
    target[*length] = '\0';
    return kErrorNone;
}

void tokenize(const std::string& text, std::vector<std::string>& parts, const std::string& delimiters) {
    guarded("tokenize", 0, [&] {
        std::vector<std::string> found;
        for (std::size_t begin = 0; begin < text.size();) {
            const std::size_t end = std::min(text.find_first_of(delimiters, begin), text.size());
            found.push_back(text.substr(begin, end - begin));
            begin = end + 1;
        }
        parts.swap(found);
        return 0;
    });
}

// Not strncasecmp, which goes by the locale.
int platform_icasencmp(const char* a, const char* b, unsigned n) {
    const auto lower = [](char c) {
        return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
    };
    for (unsigned i = 0; i < n; ++i) {
        if (lower(a[i]) != lower(b[i]) || a[i] == '\0') {
            return lower(a[i]) - lower(b[i]);
        }
    }
    return 0;
}

// Key and value by turns, each with its length before it, "4:hour2:20".
bool Blob::readBlob(const char*& cursor, Map& map) {
    return guarded("Blob::readBlob", false, [&] {
        std::string key;
        std::string value;
        while (*cursor != '\0') {
            if (!readPart(cursor, key) || !readPart(cursor, value) || !map.emplace(key, value).second) {
                return false;
            }
        }
        return true;
    });
}

void Blob::writeBlob(std::string& out, const Map& map) {
    out.clear();
    for (const auto& [key, value] : map) {
        for (const std::string* part : {&key, &value}) {
            out.append(std::to_string(part->size())).append(":").append(*part);
        }
    }
}

bool Blob::bindBlobField(Map& map, const char* key, std::string& field, bool store) {
    if (store) {
        map[key] = field;
        return field.find('\0') == std::string::npos;
    }
    const auto entry = map.find(key);
    if (entry != map.end()) {
        field = entry->second;
    }
    return entry != map.end();
}

bool Blob::bindBlobField(Map& map, const char* key, int& field, bool store) {
    std::string text = std::to_string(field);
    if (!bindBlobField(map, key, text, store)) {
        return false;
    }
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    field = whole ? number : field;
    return whole;
}

const char* KVMSGERR::I2A(int error) {
    static constexpr std::array texts{
        "no error",        "invalid argument", "out of memory", "unknown charset", "malformed text",
        "unmappable",      "malformed entity", "not found",     "beyond a limit",  "not supported",
        "input or output", "no space",         "there already", "internal error"};
    return error >= 0 && static_cast<std::size_t>(error) < texts.size()
               ? texts[static_cast<std::size_t>(error)]
               : "unknown error";
}

const char* QuzoAction::getActionName(ActionType type) {
    return type == ActionType::TagSubject ? "Tag subject" : "Unknown action";
}

// No code is known by a name here, so every entry is left out.
bool QuzoAction::CreateActionTokenString(const char* actionList, std::string& out) {
    out.clear();
    return actionList == nullptr || *actionList == '\0';
}

int SendSNMPTrap(const char*, unsigned, const char*, const char*, int) { return kErrorNotSupported; }

} // namespace quzo
