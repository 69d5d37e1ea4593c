// Edits as splices: what is to stand in place of a range of the original bytes.
//
// A message is written by copying the ranges between the splices, so bytes that no edit touched cannot
// change, and the cost of an edit is the cost of what it touches.
#pragma once

#include <cstddef>
#include <functional>
#include <string_view>
#include <vector>

namespace quzo::platform {

struct Splice {
    std::size_t offset = 0;
    std::size_t length = 0;
    std::string_view bytes; // owned by whoever made the edit; holds until the next one
};

// Splices of one text. Gather all, then sort(), then the rest. A splice that begins inside the range of
// another is swallowed by it.
class SpliceList {
public:
    void add(std::size_t offset, std::size_t length, std::string_view bytes) {
        splices_.push_back({offset, length, bytes});
    }

    // Puts them into text order. Insertions at one offset keep the order in which they were added and
    // stand before a replacement that begins there.
    void sort();

    bool empty() const { return splices_.empty(); }

    // Hands [begin, end) of `text` with the splices inside it to `sink`, piece by piece; a splice belongs to
    // the range when it begins in it, or, being an insertion, at its end. A false from the sink stops and is
    // the result.
    using Sink = std::function<bool(std::string_view piece)>;
    bool write(std::string_view text, std::size_t begin, std::size_t end, const Sink& sink) const;

private:
    std::vector<Splice> splices_;
};

} // namespace quzo::platform
