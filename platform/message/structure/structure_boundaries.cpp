// Matching boundary lines. See structure_boundaries.h.
#include "platform/message/structure/structure_boundaries.h"
#include "platform/base/ascii.h"

#include "platform/message/structure/content_type.h"
#include "platform/message/structure/structure_lines.h"

namespace quzo::platform {

namespace {

constexpr std::string_view kDashes = "--";

std::string_view withoutTrailingBlanks(std::string_view text) {
    const std::size_t last = text.find_last_not_of(" \t\r\n");
    return text.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

} // namespace

void OpenBoundaries::open(std::string_view label, std::uint32_t owner) {
    // A boundary cannot end with a blank, and a line that has lost its trailing blanks must still match.
    if (label.data() == nullptr) {
        return;
    }
    label = withoutTrailingBlanks(label);
    const auto added = static_cast<std::uint32_t>(entries_.size());
    const std::uint32_t shadowed = lookUp(label);
    entries_.push_back({std::string(label), owner, shadowed});
    if (shadowed == kNone) {
        innermost_.emplace(entries_.back().label, added);
    } else {
        innermost_.find(label)->second = added;
    }
}

void OpenBoundaries::openOfField(std::string_view text, const FieldSpan& field, std::uint32_t owner) {
    if (!equalsNoCase(fieldName(text, field), "content-type")) {
        return;
    }
    const ContentType contentType =
        readContentType(text.substr(field.valueBegin, field.end - field.valueBegin));
    if (contentType.is("multipart")) {
        std::string storage;
        open(findParameter(contentType.parameters, "boundary", storage), owner);
    }
}

void OpenBoundaries::close(std::uint32_t owner) {
    while (!entries_.empty() && entries_.back().owner == owner) {
        const Entry& entry = entries_.back();
        const auto place = innermost_.find(entry.label);
        if (entry.shadowed == kNone) {
            innermost_.erase(place);
        } else {
            place->second = entry.shadowed; // the key stays: it is the label of the first of these entries
        }
        entries_.pop_back();
    }
}

std::uint32_t OpenBoundaries::lookUp(std::string_view label) const {
    const auto place = innermost_.find(label);
    return place == innermost_.end() ? kNone : place->second;
}

bool OpenBoundaries::match(std::string_view text, std::size_t lineBegin, std::size_t end,
                           BoundaryLine& found) const {
    if (entries_.empty() || end - lineBegin < kDashes.size() ||
        text.substr(lineBegin, kDashes.size()) != kDashes) {
        return false;
    }
    const std::size_t next = findLineEnd(text, lineBegin, end);
    const std::size_t begin = lineBegin + kDashes.size();
    const std::string_view content = withoutTrailingBlanks(text.substr(begin, next - begin));
    std::uint32_t delimiter = lookUp(content);
    std::uint32_t close = kNone;
    if (content.ends_with(kDashes)) {
        close = lookUp(content.substr(0, content.size() - kDashes.size()));
    }
    if (delimiter == kNone && close == kNone) {
        return false;
    }
    found.close = delimiter == kNone || (close != kNone && close > delimiter);
    const Entry& entry = entries_[found.close ? close : delimiter];
    found.begin = lineBegin;
    found.next = next;
    found.label = text.substr(begin, entry.label.size());
    found.owner = entry.owner;
    return true;
}

bool OpenBoundaries::find(std::string_view text, std::size_t from, std::size_t end,
                          BoundaryLine& found) const {
    if (entries_.empty()) {
        return false;
    }
    for (std::size_t line = findDashLine(text, from, end); line != std::string_view::npos;
         line = findDashLine(text, findLineEnd(text, line, end), end)) {
        if (match(text, line, end, found)) {
            return true;
        }
    }
    return false;
}

} // namespace quzo::platform
