// The Content-Type reader. See content_type.h for why it reads more than the grammar allows.
#include "platform/message/structure/content_type.h"
#include "platform/base/ascii.h"
#include "platform/base/hex.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace quzo::platform {

namespace {

constexpr bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// The token characters of RFC 2045, and the 8-bit ones.
bool isToken(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte > 32 && byte != 127 &&
           std::string_view("()<>@,;:\\\"/[]?=").find(c) == std::string_view::npos;
}

// A place in a value; every step moves forward, so reading is linear whatever the value holds.
struct Cursor {
    std::string_view text;
    std::size_t at = 0;

    bool done() const { return at >= text.size(); }
    bool isAt(char c) const { return at < text.size() && text[at] == c; }

    // Blanks, line breaks and comments, nested ones too. An unfinished comment reaches to the end.
    void skipBlanksAndComments() {
        std::size_t depth = 0;
        for (; !done(); ++at) {
            const char c = text[at];
            if (c == '(') {
                ++depth;
            } else if (depth > 0) {
                if (c == '\\') {
                    ++at;
                } else if (c == ')') {
                    --depth;
                }
            } else if (!isSpace(c)) {
                return;
            }
        }
        at = text.size();
    }

    std::string_view token(bool withStar) {
        const std::size_t begin = at;
        while (!done() && isToken(text[at]) && (withStar || text[at] != '*')) {
            ++at;
        }
        return text.substr(begin, at - begin);
    }
};

struct Parameter {
    std::string_view name;
    std::string_view raw;      // quotes taken off, escapes and folds still there
    std::uint32_t section = 0; // of a value in sections (RFC 2231)
    bool sectioned = false;
    bool percent = false; // percent-encoded
    bool quoted = false;
};

// The inside of a quoted string. One that is not closed ends where a value would end without quotes.
std::string_view readQuoted(Cursor& cursor) {
    const std::size_t begin = ++cursor.at;
    for (std::size_t i = begin; i < cursor.text.size(); ++i) {
        if (cursor.text[i] == '\\') {
            ++i;
        } else if (cursor.text[i] == '"') {
            cursor.at = i + 1;
            return cursor.text.substr(begin, i - begin);
        }
    }
    cursor.at = std::min(cursor.text.find_first_of(";\r\n", begin), cursor.text.size());
    return cursor.text.substr(begin, cursor.at - begin);
}

// A value without quotes. Mailers forget the quotes around '=', '?', '/' and blanks: everything up to the
// semicolon or the end of the line belongs to it, except a comment behind a blank.
std::string_view readBare(Cursor& cursor) {
    const std::size_t begin = cursor.at;
    cursor.at = std::min(cursor.text.find_first_of(";\r\n", begin), cursor.text.size());
    std::string_view value = cursor.text.substr(begin, cursor.at - begin);
    const std::size_t comment = std::min(value.find(" ("), value.find("\t("));
    value = value.substr(0, comment);
    while (!value.empty() && isSpace(value.back())) {
        value.remove_suffix(1);
    }
    return value;
}

void readSection(Cursor& cursor, Parameter& parameter) {
    while (!cursor.done() && cursor.text[cursor.at] >= '0' && cursor.text[cursor.at] <= '9') {
        parameter.sectioned = true;
        constexpr std::uint32_t kTooMany = 100000000;
        if (parameter.section < kTooMany) {
            parameter.section =
                parameter.section * 10 + static_cast<std::uint32_t>(cursor.text[cursor.at] - '0');
        }
        ++cursor.at;
    }
    if (!parameter.sectioned) {
        parameter.percent = true; // name*=
    } else if (cursor.isAt('*')) {
        parameter.percent = true; // name*0*=
        ++cursor.at;
    }
}

// The next parameter; what is none is passed over. False at the end.
bool nextParameter(Cursor& cursor, Parameter& parameter) {
    while (!cursor.done()) {
        cursor.skipBlanksAndComments();
        parameter = {};
        parameter.name = cursor.token(false);
        if (parameter.name.empty()) {
            ++cursor.at; // a semicolon, or a character that has no business here
            continue;
        }
        cursor.skipBlanksAndComments();
        if (cursor.isAt('*')) {
            ++cursor.at;
            readSection(cursor, parameter);
            cursor.skipBlanksAndComments();
        }
        if (!cursor.isAt('=')) {
            continue;
        }
        ++cursor.at;
        cursor.skipBlanksAndComments();
        parameter.quoted = cursor.isAt('"');
        parameter.raw = parameter.quoted ? readQuoted(cursor) : readBare(cursor);
        return true;
    }
    return false;
}

// Appends a value with escapes, folds and percent encoding undone.
void appendPlain(std::string_view raw, const Parameter& parameter, std::string& out) {
    for (std::size_t i = 0; i < raw.size(); ++i) {
        const char c = raw[i];
        if (c == '\r' || c == '\n') {
            continue;
        }
        if (parameter.quoted && c == '\\' && i + 1 < raw.size()) {
            out += raw[++i];
            continue;
        }
        if (parameter.percent && c == '%' && i + 2 < raw.size()) {
            const int high = hexDigit(raw[i + 1]);
            const int low = hexDigit(raw[i + 2]);
            if (high >= 0 && low >= 0) {
                out += static_cast<char>(high * 16 + low);
                i += 2;
                continue;
            }
        }
        out += c;
    }
}

// What follows charset'language' in the first section of a percent-encoded value.
std::string_view withoutCharset(std::string_view raw) {
    const std::size_t first = raw.find('\'');
    const std::size_t second = first == std::string_view::npos ? first : raw.find('\'', first + 1);
    return second == std::string_view::npos ? raw : raw.substr(second + 1);
}

std::string_view plainValue(const Parameter& parameter, std::string& storage) {
    const std::string_view raw = parameter.percent ? withoutCharset(parameter.raw) : parameter.raw;
    const bool asItStands = !parameter.percent && raw.find_first_of("\\\r\n") == std::string_view::npos;
    if (asItStands) {
        return raw.data() == nullptr ? std::string_view("") : raw;
    }
    storage.clear();
    appendPlain(raw, parameter, storage);
    return storage;
}

std::string_view joinSections(std::vector<Parameter>& sections, std::string& storage) {
    std::stable_sort(sections.begin(), sections.end(),
                     [](const Parameter& a, const Parameter& b) { return a.section < b.section; });
    storage.clear();
    for (const Parameter& section : sections) {
        const bool first = &section == &sections.front();
        appendPlain(first && section.percent ? withoutCharset(section.raw) : section.raw, section, storage);
    }
    return storage;
}

std::string_view fieldValue(std::string_view text, const FieldSpan& field) {
    return text.substr(field.valueBegin, field.end - field.valueBegin);
}

bool isContentType(std::string_view text, const FieldSpan& field) {
    return equalsNoCase(fieldName(text, field), "content-type");
}

} // namespace

ContentType readContentType(std::string_view value) {
    Cursor cursor{value};
    ContentType result;
    cursor.skipBlanksAndComments();
    result.type = cursor.token(true);
    cursor.skipBlanksAndComments();
    if (cursor.isAt('/')) {
        ++cursor.at;
        cursor.skipBlanksAndComments();
        result.subtype = cursor.token(true);
    }
    result.parameters = value.substr(std::min(cursor.at, value.size()));
    return result;
}

std::string_view findParameter(std::string_view parameters, std::string_view name, std::string& storage) {
    Cursor cursor{parameters};
    Parameter parameter;
    std::vector<Parameter> sections;
    while (nextParameter(cursor, parameter)) {
        if (!equalsNoCase(parameter.name, name)) {
            continue;
        }
        if (parameter.sectioned) {
            sections.push_back(parameter);
        } else if (sections.empty()) {
            return plainValue(parameter, storage);
        }
    }
    return sections.empty() ? std::string_view() : joinSections(sections, storage);
}

std::vector<ContentType> allContentTypes(std::string_view text, const HeaderSpan& header) {
    std::vector<ContentType> result;
    for (const FieldSpan& field : header.fields) {
        if (isContentType(text, field)) {
            result.push_back(readContentType(fieldValue(text, field)));
        }
    }
    return result;
}

ContentType governingContentType(std::string_view text, const HeaderSpan& header) {
    std::string storage;
    ContentType lastValid;
    for (auto field = header.fields.rbegin(); field != header.fields.rend(); ++field) {
        if (!isContentType(text, *field)) {
            continue;
        }
        const ContentType read = readContentType(fieldValue(text, *field));
        if (isEmbeddedMessage(read) ||
            (read.is("multipart") && findParameter(read.parameters, "boundary", storage).data() != nullptr)) {
            return read;
        }
        if (read.valid() && !lastValid.valid()) {
            lastValid = read;
        }
    }
    return lastValid;
}

bool isEmbeddedMessage(const ContentType& contentType) {
    constexpr std::array<std::string_view, 4> kMessages = {"rfc822", "rfc2822", "global", "news"};
    return contentType.is("message") &&
           std::any_of(kMessages.begin(), kMessages.end(),
                       [&](std::string_view subtype) { return equalsNoCase(contentType.subtype, subtype); });
}

bool isTransferEncoded(std::string_view text, const HeaderSpan& header) {
    const FieldSpan* field = findField(text, header, "content-transfer-encoding");
    if (field == nullptr) {
        return false;
    }
    std::string_view value = fieldValue(text, *field);
    while (!value.empty() && isSpace(value.front())) {
        value.remove_prefix(1);
    }
    value = value.substr(0, value.find_first_of(std::string_view(" \t\r\n\0", 5))); // a comment may follow
    constexpr std::array<std::string_view, 5> kEncodings = {"base64", "quoted-printable", "uuencode",
                                                            "x-uuencode", "x-uue"};
    return std::any_of(kEncodings.begin(), kEncodings.end(),
                       [&](std::string_view encoding) { return equalsNoCase(value, encoding); });
}

} // namespace quzo::platform
