// Structures as text. See structure_dump.h.
#include "tests/message/structure_dump.h"

#include <algorithm>
#include <array>

#include "platform/message/structure/structure_lines.h"
#include "quzo/core/message.h"

namespace quzo::platform::test {

namespace {

std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '\n') {
            result += "\\n";
        } else if (c == '\r') {
            result += "\\r";
        } else if (c == '\0') {
            result += "\\0";
        } else {
            result += c;
        }
    }
    return result + '"';
}

std::string_view range(std::string_view text, std::size_t begin, std::size_t end) {
    return text.substr(begin, end - begin);
}

std::size_t depthOf(const Structure& structure, std::size_t i) {
    std::size_t depth = 0;
    for (std::uint32_t up = structure.entities[i].parent; up != EntitySpan::kNone;
         up = structure.entities[up].parent) {
        ++depth;
    }
    return depth;
}

std::string dumpMultipart(std::string_view text, const EntitySpan& span) {
    const std::size_t begin = span.header.bodyBegin;
    std::string line = " boundary=" + std::string(span.boundary) + " preamble=" +
                       quoted(range(text, begin, std::max(begin, beforeLineBreak(text, span.firstBoundary))));
    if (!span.closed) {
        return line + " unclosed";
    }
    const std::size_t behind = findLineEnd(text, span.closeDelimiter, text.size());
    return line + " epilogue=" + quoted(range(text, behind, std::max(behind, span.bodyEnd)));
}

bool ordered(std::initializer_list<std::size_t> offsets) {
    return std::is_sorted(offsets.begin(), offsets.end());
}

bool headerHolds(const HeaderSpan& header) {
    std::size_t last = header.begin;
    for (const FieldSpan& field : header.fields) {
        if (!ordered({last, field.begin, field.nameEnd, field.valueBegin, field.end, header.end}) ||
            field.begin == field.nameEnd || field.nameEnd == field.valueBegin) {
            return false;
        }
        last = field.end;
    }
    return ordered({header.begin, header.end, header.bodyBegin});
}

// A line "--boundary", with or without "--", at `at`.
bool isBoundaryLine(std::string_view text, std::size_t at, const std::string& content) {
    const std::string_view line = range(text, at, findLineEnd(text, at, text.size()));
    return (at == 0 || text[at - 1] == '\n') && line.starts_with(content) &&
           line.find_first_not_of(" \t\r\n", content.size()) == std::string_view::npos;
}

bool boundariesHold(std::string_view text, const EntitySpan& span) {
    if (span.type != kEntityMultipart) {
        return span.boundary.data() == nullptr && !span.closed && span.firstBoundary == 0;
    }
    const std::string line = "--" + std::string(span.boundary);
    return span.boundary.data() != nullptr && isBoundaryLine(text, span.firstBoundary, line) &&
           ordered({span.header.bodyBegin, span.firstBoundary, span.closeDelimiter}) &&
           (span.closed ? isBoundaryLine(text, span.closeDelimiter, line + "--")
                        : span.closeDelimiter == span.bodyEnd);
}

bool placeHolds(const Structure& structure, std::size_t i) {
    const EntitySpan& span = structure.entities[i];
    if (i == 0) {
        return span.parent == EntitySpan::kNone && span.nextSibling == EntitySpan::kNone;
    }
    if (span.parent >= i) {
        return false;
    }
    const EntitySpan& parent = structure.entities[span.parent];
    if (parent.type == kEntityLeaf ||
        !ordered({parent.header.bodyBegin, span.header.begin, span.end, parent.end})) {
        return false;
    }
    if (parent.type != kEntityMultipart) {
        return span.parent == i - 1 && span.nextSibling == EntitySpan::kNone && span.end == parent.end;
    }
    if (span.nextSibling == EntitySpan::kNone) {
        return true;
    }
    const EntitySpan& next = structure.entities[span.nextSibling];
    return span.nextSibling > i && next.parent == span.parent && span.end <= next.header.begin;
}

} // namespace

std::string dumpStructure(std::string_view text, const Structure& structure) {
    constexpr std::array<const char*, 5> kKinds = {"none", "leaf", "multipart", "message", "other"};
    std::string result;
    for (std::size_t i = 0; i < structure.entities.size(); ++i) {
        const EntitySpan& span = structure.entities[i];
        result += std::string(2 * depthOf(structure, i), ' ') +
                  kKinds.at(static_cast<std::size_t>(span.type)) + " [";
        for (const FieldSpan& field : span.header.fields) {
            result += &field == &span.header.fields.front() ? "" : ", ";
            result += fieldName(text, field);
        }
        result += ']';
        if (span.type == kEntityMultipart) {
            result += dumpMultipart(text, span);
        } else if (span.type == kEntityLeaf) {
            result += ' ' + quoted(range(text, span.header.bodyBegin, span.bodyEnd));
        }
        result += span.header.readable ? "" : " unreadable";
        result += span.cut ? " cut\n" : "\n";
    }
    return result;
}

std::string brokenInvariant(std::string_view text, const Structure& structure) {
    if (structure.entities.empty()) {
        return "no root";
    }
    if (structure.entities.front().bodyEnd != text.size()) {
        return "the root does not reach to the end";
    }
    for (std::size_t i = 0; i < structure.entities.size(); ++i) {
        const EntitySpan& span = structure.entities[i];
        const char* broken = nullptr;
        if (!headerHolds(span.header) ||
            !ordered({span.header.bodyBegin, span.bodyEnd, span.end, text.size()})) {
            broken = "ranges";
        } else if (!boundariesHold(text, span)) {
            broken = "boundary lines";
        } else if (!placeHolds(structure, i)) {
            broken = "place in the tree";
        }
        if (broken != nullptr) {
            return std::string(broken) + " of entity " + std::to_string(i);
        }
    }
    return {};
}

} // namespace quzo::platform::test
