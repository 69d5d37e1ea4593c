// A text that comes in pieces and is given away in one.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quzo::host {

// Takes hardly more memory than it has bytes, at any time: a std::string holds three times as much while it
// grows. Throws std::bad_alloc, and is to be dropped then.
class GrowingText {
public:
    // How much is expected. Memory that nothing is written to is none.
    void reserve(std::size_t bytes) { segments_.front().reserve(bytes); }

    void append(std::string_view piece) {
        size_ += piece.size();
        for (;;) {
            std::string& last = segments_.back();
            const std::string_view part = piece.substr(0, std::max(last.capacity(), kSegment) - last.size());
            last.append(part);
            piece.remove_prefix(part.size());
            if (piece.empty()) {
                return;
            }
            segments_.emplace_back().reserve(kSegment);
        }
    }

    std::size_t size() const { return size_; }

    // Leaves nothing to be used again.
    std::string take() {
        if (segments_.size() == 1) {
            return std::move(segments_.front());
        }
        std::string whole;
        whole.reserve(size_);
        for (std::string& each : segments_) {
            const std::string segment = std::move(each); // goes as soon as it has been copied
            whole.append(segment);
        }
        return whole;
    }

private:
    static constexpr std::size_t kSegment = std::size_t{1} << 20U; // bytes

    std::vector<std::string> segments_ = std::vector<std::string>(1);
    std::size_t size_ = 0;
};

} // namespace quzo::host
