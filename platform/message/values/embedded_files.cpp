// Recognising formats by their first lines. See embedded_files.h.
#include "platform/message/values/embedded_files.h"

#include <algorithm>

#include "platform/base/ascii.h"

namespace quzo::platform {
namespace {

void note(EmbeddedFormats& formats, EmbeddedFormat format) { formats.set(static_cast<std::size_t>(format)); }

bool isOctalDigit(char c) { return c >= '0' && c <= '7'; }

// "begin MODE NAME", the mode being three or four octal digits. Prose can begin a line with "begin", but
// hardly so.
bool isBeginLine(std::string_view line) {
    constexpr std::string_view kBegin = "begin";
    constexpr std::string_view kBase64 = "-base64";
    line.remove_prefix(std::min(line.size(), kBegin.size()));
    if (line.starts_with(kBase64)) {
        line.remove_prefix(kBase64.size());
    }
    std::size_t at = line.find_first_not_of(" \t");
    if (at == 0 || at == std::string_view::npos) {
        return false;
    }
    std::size_t digits = 0;
    while (at < line.size() && isOctalDigit(line[at])) {
        ++at;
        ++digits;
    }
    return (digits == 3 || digits == 4) && at < line.size() && isBlank(line[at]) &&
           line.find_first_not_of(" \t\r", at) != std::string_view::npos;
}

void noteLine(std::string_view line, EmbeddedFormats& found) {
    constexpr std::string_view kBinhex = "This file must be converted with BinHex";
    if (line.starts_with("begin") && isBeginLine(line)) {
        note(found, EmbeddedFormat::Uuencode);
    } else if (line.starts_with("=ybegin ") && line.find("name=") != std::string_view::npos) {
        note(found, EmbeddedFormat::Yenc);
    } else if (line.find(kBinhex) != std::string_view::npos) {
        note(found, EmbeddedFormat::Binhex);
    }
}

} // namespace

EmbeddedFormats embeddedFormatsOfType(std::string_view contentType) {
    EmbeddedFormats found;
    const std::string_view subtype = contentType.substr(contentType.find('/') + 1);
    if (subtype == "ms-tnef" || subtype == "vnd.ms-tnef" || subtype == "x-ms-tnef") {
        note(found, EmbeddedFormat::Tnef);
    } else if (subtype == "mac-binhex40" || subtype == "mac-binhex" || subtype == "x-mac-binhex40") {
        note(found, EmbeddedFormat::Binhex);
    } else if (subtype == "x-yencoded" || subtype == "x-yenc") {
        note(found, EmbeddedFormat::Yenc);
    } else if (subtype == "x-uuencode" || subtype == "x-uue") {
        note(found, EmbeddedFormat::Uuencode);
    }
    return found;
}

EmbeddedFormats embeddedFormatsOfName(std::string_view fileName) {
    EmbeddedFormats found;
    if (equalsNoCase(fileName, "winmail.dat")) {
        note(found, EmbeddedFormat::Tnef);
    }
    return found;
}

EmbeddedFormats embeddedFormatsOfBody(std::string_view body) {
    EmbeddedFormats found;
    if (body.starts_with("\x78\x9F\x3E\x22")) {
        note(found, EmbeddedFormat::Tnef);
    }
    for (std::size_t begin = 0; begin < body.size();) {
        const std::size_t end = std::min(body.find_first_of("\r\n", begin), body.size());
        noteLine(body.substr(begin, end - begin), found);
        begin = end + 1;
    }
    return found;
}

} // namespace quzo::platform
