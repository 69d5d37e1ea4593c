// See placement.h.
#include "platform/message/stamp/placement.h"

#include "platform/base/line_breaks.h"
#include "platform/message/values/header_room.h"

namespace quzo::platform {
namespace {

constexpr std::string_view kSignatureMark = "-- ";

bool endsLine(std::string_view text) { return text.empty() || text.ends_with('\n'); }

// The lines of a stamp for a flowed text: none of them ends in a blank, and one that could be taken for a
// quoted or a stuffed line is stuffed.
std::string fixedLines(std::string_view stamp) {
    std::string out;
    for (std::size_t at = 0; at < stamp.size();) {
        const std::size_t end = std::min(stamp.find('\n', at), stamp.size());
        std::string_view line = stamp.substr(at, end - at);
        while (line.ends_with(' ') && line != kSignatureMark) {
            line.remove_suffix(1);
        }
        const bool stuffed = line.starts_with(' ') || line.starts_with('>') || line.starts_with("From ");
        out.append(stuffed ? " " : "").append(line).append(end < stamp.size() ? "\n" : "");
        at = end + 1;
    }
    return out;
}

// How many bytes at the end of a flowed text are the blank that joins its last line to what follows, with
// the line break behind it.
std::size_t softEnd(std::string_view text) {
    std::string_view line = text;
    if (line.ends_with('\n')) {
        line.remove_suffix(line.ends_with("\r\n") ? 2 : 1);
    }
    const std::size_t begin = line.rfind('\n');
    const std::string_view last = begin == std::string_view::npos ? line : line.substr(begin + 1);
    std::string_view kept = last;
    while (kept.ends_with(' ')) {
        kept.remove_suffix(1);
    }
    // The mark in front of a signature is fixed, quoted or not.
    const bool isMark =
        last.ends_with(kSignatureMark) &&
        last.substr(0, last.size() - kSignatureMark.size()).find_first_not_of("> ") == std::string_view::npos;
    return isMark || kept.size() == last.size() ? 0 : text.size() - line.size() + last.size() - kept.size();
}

} // namespace

Placement placeInText(std::string_view text, std::string_view stamp, StampPosition position,
                      TextFormat format, std::string_view lineBreak) {
    std::string lines = withLineBreaks(stamp, "\n");
    lines = format.flowed ? fixedLines(lines) : lines;
    Placement placed;
    if (position == StampPosition::Before) {
        placed.bytes = withLineBreaks(lines, lineBreak);
        placed.bytes.append(endsLine(lines) || text.empty() ? std::string_view() : lineBreak);
        return placed;
    }
    placed.removed = format.flowed ? softEnd(text) : 0;
    placed.offset = text.size() - placed.removed;
    const bool lineEnds = text.ends_with('\n');
    placed.bytes = withLineBreaks(lines, lineBreak);
    if (!endsLine(text.substr(0, placed.offset))) {
        placed.bytes.insert(0, lineBreak);
    }
    if (lineEnds && !endsLine(lines)) {
        placed.bytes.append(lineBreak);
    }
    return placed;
}

Placement placeInHtml(std::string_view html, std::size_t place, std::string_view block,
                      std::string_view lineBreak) {
    Placement placed{place, 0, withLineBreaks(block, lineBreak)};
    if (!endsLine(html.substr(0, place))) {
        placed.bytes.insert(0, lineBreak);
    }
    const std::string_view behind = html.substr(place);
    const bool breakFollows = behind.starts_with('\n') || behind.starts_with("\r\n");
    if (behind.empty() ? html.ends_with('\n') : !breakFollows) {
        placed.bytes.append(lineBreak);
    }
    return placed;
}

std::string withPlacement(std::string_view text, const Placement& placement) {
    std::string out;
    out.reserve(text.size() + placement.bytes.size() + kHeaderRoom);
    return out.append(text.substr(0, placement.offset))
        .append(placement.bytes)
        .append(text.substr(placement.offset + placement.removed));
}

std::string withPlacement(std::string&& text, const Placement& placement) {
    text.replace(placement.offset, placement.removed, placement.bytes);
    return std::move(text);
}

} // namespace quzo::platform
