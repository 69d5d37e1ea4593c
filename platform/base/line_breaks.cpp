// See line_breaks.h.
#include "platform/base/line_breaks.h"

#include <algorithm>

namespace quzo::platform {
namespace {

// A line, and where the next one begins.
struct Line {
    std::string_view content; // without its break
    std::size_t next = 0;
    bool broken = false; // it ends with a break
};

Line lineAt(std::string_view text, std::size_t begin) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    Line line{text.substr(begin, end - begin), end + 1, end < text.size()};
    if (line.broken && line.content.ends_with('\r')) {
        line.content.remove_suffix(1);
    }
    return line;
}

} // namespace

// Jumps to the last line break that is near enough: the short lines in front of it are not looked at.
bool hasLongLine(std::string_view text) {
    while (text.size() > kMaxLineBytes) {
        const std::size_t end = text.substr(0, kMaxLineBytes + 1).rfind('\n');
        if (end != std::string_view::npos) {
            text.remove_prefix(end + 1);
        } else if (text.substr(kMaxLineBytes).starts_with("\r\n")) {
            text.remove_prefix(kMaxLineBytes + 2);
        } else {
            return true;
        }
    }
    return false;
}

std::string withLineBreaks(std::string_view text, std::string_view lineBreak) {
    std::string out;
    out.reserve(text.size() + text.size() / 32);
    for (std::size_t at = 0; at < text.size();) {
        const Line line = lineAt(text, at);
        out.append(line.content).append(line.broken ? lineBreak : std::string_view());
        at = line.next;
    }
    return out;
}

} // namespace quzo::platform
