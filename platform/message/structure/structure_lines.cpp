// The line finders of the structure scan. Most of the scan's time goes into findDashLine, so it compares
// whole blocks without a branch in them, which compilers turn into vector instructions.
#include "platform/message/structure/structure_lines.h"

#include <cstring>

namespace quzo::platform {

namespace {

constexpr std::size_t kBlock = 64;

bool isDashLineBehind(const char* p) { return p[0] == '\n' && p[1] == '-' && p[2] == '-'; }

// Whether a line of this kind begins behind one of the kBlock bytes at `p`; reads two bytes more.
bool blockHasDashLine(const char* p) {
    unsigned char any = 0;
    for (std::size_t i = 0; i < kBlock; ++i) {
        any = static_cast<unsigned char>(any | (static_cast<unsigned char>(p[i] == '\n') &
                                                static_cast<unsigned char>(p[i + 1] == '-') &
                                                static_cast<unsigned char>(p[i + 2] == '-')));
    }
    return any != 0;
}

} // namespace

std::size_t findDashLine(std::string_view text, std::size_t from, std::size_t end) {
    if (end < 2 || from > end - 2) {
        return std::string_view::npos;
    }
    const char* data = text.data();
    if (data[from] == '-' && data[from + 1] == '-') {
        return from;
    }
    std::size_t at = from;
    while (end - at >= kBlock + 2) {
        if (blockHasDashLine(data + at)) {
            break;
        }
        at += kBlock;
    }
    for (; end - at >= 3; ++at) {
        if (isDashLineBehind(data + at)) {
            return at + 1;
        }
    }
    return std::string_view::npos;
}

std::size_t findLineEnd(std::string_view text, std::size_t at, std::size_t end) {
    if (at >= end) {
        return end;
    }
    const void* lf = std::memchr(text.data() + at, '\n', end - at);
    return lf == nullptr ? end : static_cast<std::size_t>(static_cast<const char*>(lf) - text.data()) + 1;
}

bool isEmptyLine(std::string_view text, std::size_t at, std::size_t end) {
    while (at < end && text[at] == '\r') {
        ++at;
    }
    return at < end && text[at] == '\n';
}

std::size_t beforeLineBreak(std::string_view text, std::size_t lineBegin) {
    if (lineBegin == 0 || text[lineBegin - 1] != '\n') {
        return lineBegin;
    }
    return lineBegin >= 2 && text[lineBegin - 2] == '\r' ? lineBegin - 2 : lineBegin - 1;
}

} // namespace quzo::platform
