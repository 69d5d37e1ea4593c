// The boundaries that are open at one place of the scan, and which line is one of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>

#include "platform/message/structure/structure.h"

namespace quzo::platform {

// A boundary line: where it stands and whose it is.
struct BoundaryLine {
    std::size_t begin = 0;
    std::size_t next = 0;    // behind its line break
    std::string_view label;  // the boundary as it stands in the line
    std::uint32_t owner = 0; // as given to open()
    bool close = false;      // the close delimiter
};

// The cost of a line does not grow with the number of open boundaries (but for the logarithm of a sorted
// map): thousands of nested multiparts must not make the scan quadratic.
class OpenBoundaries {
public:
    // Opens a boundary for a multipart; one multipart may have several until it is known which of them its
    // body uses. An empty label is one (`boundary=""`: its lines are "--" and "----"), a null view opens
    // nothing. Owners must be opened and closed like a stack.
    void open(std::string_view label, std::uint32_t owner);

    // Opens the boundary that a field names, if it is a Content-Type of a multipart.
    void openOfField(std::string_view text, const FieldSpan& field, std::uint32_t owner);

    // Closes all that belongs to `owner`, which must be the one opened last.
    void close(std::uint32_t owner);

    // Whether `owner`, which must be the one opened last if any, has a boundary open.
    bool owns(std::uint32_t owner) const { return !entries_.empty() && entries_.back().owner == owner; }

    // Whether the line at `lineBegin` is a boundary line: "--", an open boundary, perhaps "--", then nothing
    // but blanks, tabs and carriage returns. When two would do (one boundary may be the other with "--"
    // behind it, or the same), it is that of the innermost owner.
    bool match(std::string_view text, std::size_t lineBegin, std::size_t end, BoundaryLine& found) const;

    // The first boundary line at `from`, which is the start of a line, or behind it.
    bool find(std::string_view text, std::size_t from, std::size_t end, BoundaryLine& found) const;

private:
    struct Entry {
        std::string label;
        std::uint32_t owner;
        std::uint32_t shadowed; // the entry of the same label that was open before, or kNone
    };
    static constexpr std::uint32_t kNone = UINT32_MAX;

    std::uint32_t lookUp(std::string_view label) const;

    std::deque<Entry> entries_;                           // a deque, since innermost_ refers to its labels
    std::map<std::string_view, std::uint32_t> innermost_; // label to the last entry of that label
};

} // namespace quzo::platform
