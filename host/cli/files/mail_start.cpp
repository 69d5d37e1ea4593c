// A folder of mail holds other things too: notes, indexes, archives. A file whose name and place do not tell
// is taken for mail when its first line could begin a header block.
#include "host/cli/files/mail_start.h"

#include "platform/message/structure/structure_lines.h"

namespace quzo::host {
namespace {

constexpr std::string_view kFrom = "From ";

bool isDigit(char character) { return character >= '0' && character <= '9'; }

// "9:05" or "09:05:00" somewhere in the text.
bool hasTimeOfDay(std::string_view text) {
    for (std::size_t at = text.find(':'); at != std::string_view::npos; at = text.find(':', at + 1)) {
        if (at > 0 && at + 2 < text.size() && isDigit(text[at - 1]) && isDigit(text[at + 1]) &&
            isDigit(text[at + 2])) {
            return true;
        }
    }
    return false;
}

} // namespace

bool startsWithField(std::string_view text) {
    std::size_t at = 0;
    while (at < text.size() && text[at] >= 33 && text[at] <= 126 && text[at] != ':') {
        ++at;
    }
    const std::size_t name = at;
    while (at < text.size() && (text[at] == ' ' || text[at] == '\t')) {
        ++at;
    }
    return name > 0 && at < text.size() && text[at] == ':';
}

bool startsWithFromLine(std::string_view text) { return text.starts_with(kFrom); }

std::size_t prefaceLength(std::string_view text) {
    const std::size_t mark = text.starts_with(platform::kByteOrderMark) ? platform::kByteOrderMark.size() : 0;
    std::size_t lines = mark;
    for (std::size_t at = mark; at < text.size() && (text[at] == '\r' || text[at] == '\n'); ++at) {
        lines = text[at] == '\n' ? at + 1 : lines;
    }
    return lines;
}

bool looksLikeMail(std::string_view start) {
    start = start.substr(0, kMailStartBytes);
    start.remove_prefix(prefaceLength(start));
    return startsWithFromLine(start) || start.starts_with(">From ") || startsWithField(start);
}

bool isSeparatorLine(std::string_view line) {
    if (!startsWithFromLine(line)) {
        return false;
    }
    std::string_view rest = line.substr(kFrom.size());
    if (hasTimeOfDay(rest)) {
        return true;
    }
    while (!rest.empty() && (rest.back() == ' ' || rest.back() == '\r')) {
        rest.remove_suffix(1);
    }
    return rest.find(' ') == std::string_view::npos && rest.find('@') != std::string_view::npos;
}

} // namespace quzo::host
