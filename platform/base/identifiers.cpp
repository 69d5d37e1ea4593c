// Identifiers: a counter that a one-to-one mixing function spreads, started at a random place in each
// process, and behind it the time. Within a process no value comes twice; between processes two would
// have to meet in 64 random bits within the same microsecond.
#include "platform/base/identifiers.h"

#include <sys/random.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <random>

namespace quzo::platform {
namespace {

std::uint64_t randomStart() {
    std::uint64_t value = 0;
    if (getrandom(&value, sizeof value, 0) != static_cast<ssize_t>(sizeof value)) {
        std::random_device device;
        value = (std::uint64_t{device()} << 32U) | device();
    }
    return value;
}

// One-to-one on 64 bits (the finaliser of a well-known generator): neighbours come out unrelated.
std::uint64_t mixed(std::uint64_t value) {
    value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27U)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31U);
}

// The lowest digits first: they are the evenly spread ones.
void appendBase36(std::string& out, std::uint64_t value, int digits) {
    for (; digits > 0; --digits) {
        out.push_back("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"[value % 36]);
        value /= 36;
    }
}

} // namespace

std::string newIdentifier() {
    static const std::uint64_t start = randomStart();
    static std::atomic<std::uint64_t> counter{0};
    // The process id keeps a forked child apart, which shares start and counter with its parent.
    const std::uint64_t place = start + counter.fetch_add(1, std::memory_order_relaxed);
    const std::uint64_t process = static_cast<std::uint64_t>(getpid()) << 32U;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto time =
        static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
    std::string out;
    out.reserve(24);
    appendBase36(out, mixed(place ^ process), 13);
    appendBase36(out, time, 11);
    return out;
}

} // namespace quzo::platform
