// Memory that runs out where a test wants it to.
//
// The test program replaces the global operator new. While an Outage is alive, what the thread allocates is
// counted and can be refused; what the recording platform allocates for itself (see InPlatform) is neither,
// because its failures are the platform's own business. Outside an Outage nothing is refused.
#pragma once

#include <cstddef>
#include <limits>

namespace quzo::test {

// One at a time in a thread.
class Outage {
public:
    enum class Kind {
        Once,  // the chosen allocation alone is refused
        Lasts, // and every later one
    };
    static constexpr std::size_t kNever = std::numeric_limits<std::size_t>::max();

    // Allocations are counted from 1.
    explicit Outage(std::size_t refused, Kind kind = Kind::Once);
    ~Outage();
    Outage(const Outage&) = delete;
    Outage& operator=(const Outage&) = delete;

    std::size_t allocations() const; // tried so far, refused ones included
    bool struck() const;             // whether one has been refused
};

// How many of the blocks that were allocated under any Outage of this thread are still there.
long liveBlocks();

} // namespace quzo::test
