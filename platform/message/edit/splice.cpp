// Ordering and writing of splices. See splice.h.
#include "platform/message/edit/splice.h"

#include <algorithm>

namespace quzo::platform {

void SpliceList::sort() {
    const auto before = [](const Splice& a, const Splice& b) {
        if (a.offset != b.offset) {
            return a.offset < b.offset;
        }
        return a.length == 0 && b.length != 0;
    };
    if (!std::is_sorted(splices_.begin(), splices_.end(), before)) {
        std::stable_sort(splices_.begin(), splices_.end(), before);
    }
}

bool SpliceList::write(std::string_view text, std::size_t begin, std::size_t end, const Sink& sink) const {
    std::size_t at = begin;
    for (const Splice& splice : splices_) {
        const bool inside =
            splice.offset >= begin && (splice.offset < end || (splice.offset == end && splice.length == 0));
        if (!inside || splice.offset < at) { // not in the range, or what a replaced range has swallowed
            continue;
        }
        if (splice.offset > at && !sink(text.substr(at, splice.offset - at))) {
            return false;
        }
        if (!splice.bytes.empty() && !sink(splice.bytes)) {
            return false;
        }
        at = splice.offset + splice.length;
    }
    return at >= end || sink(text.substr(at, end - at));
}

} // namespace quzo::platform
