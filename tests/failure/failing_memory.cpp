// The replaced allocation functions. Each block has a header in front that tells whether it was allocated
// under an Outage, so that its release is counted wherever it happens.
#include "failing_memory.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "tests/library/in_platform.h"

namespace quzo::test {
namespace {

struct State {
    bool active = false;
    bool lasts = false;
    bool struck = false;
    std::size_t refused = Outage::kNever;
    std::size_t count = 0;
    long live = 0;
};
thread_local State t_state;

struct Header {
    void* block; // what malloc gave
    bool counted;
};

// Counts one allocation; false when it is to be refused.
bool granted() {
    State& state = t_state;
    ++state.count;
    if (state.count == state.refused || (state.lasts && state.count > state.refused)) {
        state.struck = true;
        return false;
    }
    return true;
}

void* allocate(std::size_t size, std::size_t alignment) noexcept {
    const bool counted = t_state.active && !InPlatform::here();
    if (counted && !granted()) {
        return nullptr;
    }
    const std::size_t step = std::max(alignment, alignof(std::max_align_t));
    void* const block = std::malloc(size + step + sizeof(Header)); // NOLINT(cppcoreguidelines-owning-memory)
    if (block == nullptr) {
        return nullptr;
    }
    const std::uintptr_t first = reinterpret_cast<std::uintptr_t>(block) + sizeof(Header);
    char* const given = static_cast<char*>(block) + sizeof(Header) + (step - first % step) % step;
    *(reinterpret_cast<Header*>(given) - 1) = {block, counted};
    t_state.live += counted ? 1 : 0;
    return given;
}

void* allocateOrThrow(std::size_t size, std::size_t alignment) {
    void* const given = allocate(size, alignment);
    if (given == nullptr) {
        throw std::bad_alloc();
    }
    return given;
}

void release(void* given) noexcept {
    if (given != nullptr) {
        const Header header = *(static_cast<Header*>(given) - 1);
        t_state.live -= header.counted ? 1 : 0;
        std::free(header.block); // NOLINT(cppcoreguidelines-owning-memory)
    }
}

constexpr std::size_t kPlain = alignof(std::max_align_t);

} // namespace

Outage::Outage(std::size_t refused, Kind kind) {
    State& state = t_state;
    state = {true, kind == Kind::Lasts, false, refused, 0, state.live};
}

Outage::~Outage() { t_state.active = false; }

std::size_t Outage::allocations() const { return t_state.count; }

bool Outage::struck() const { return t_state.struck; }

long liveBlocks() { return t_state.live; }

} // namespace quzo::test

using quzo::test::allocate;
using quzo::test::allocateOrThrow;
using quzo::test::kPlain;
using quzo::test::release;
using std::align_val_t;
using std::nothrow_t;
using std::size_t;

void* operator new(size_t size) { return allocateOrThrow(size, kPlain); }
void* operator new[](size_t size) { return allocateOrThrow(size, kPlain); }
void* operator new(size_t size, align_val_t to) { return allocateOrThrow(size, static_cast<size_t>(to)); }
void* operator new[](size_t size, align_val_t to) { return allocateOrThrow(size, static_cast<size_t>(to)); }
void* operator new(size_t size, const nothrow_t& /*tag*/) noexcept { return allocate(size, kPlain); }
void* operator new[](size_t size, const nothrow_t& /*tag*/) noexcept { return allocate(size, kPlain); }
void* operator new(size_t size, align_val_t to, const nothrow_t& /*tag*/) noexcept {
    return allocate(size, static_cast<size_t>(to));
}
void* operator new[](size_t size, align_val_t to, const nothrow_t& /*tag*/) noexcept {
    return allocate(size, static_cast<size_t>(to));
}
void operator delete(void* given) noexcept { release(given); }
void operator delete[](void* given) noexcept { release(given); }
void operator delete(void* given, size_t /*size*/) noexcept { release(given); }
void operator delete[](void* given, size_t /*size*/) noexcept { release(given); }
void operator delete(void* given, align_val_t /*to*/) noexcept { release(given); }
void operator delete[](void* given, align_val_t /*to*/) noexcept { release(given); }
void operator delete(void* given, size_t /*size*/, align_val_t /*to*/) noexcept { release(given); }
void operator delete[](void* given, size_t /*size*/, align_val_t /*to*/) noexcept { release(given); }
void operator delete(void* given, const nothrow_t& /*tag*/) noexcept { release(given); }
void operator delete[](void* given, const nothrow_t& /*tag*/) noexcept { release(given); }
void operator delete(void* given, align_val_t /*to*/, const nothrow_t& /*tag*/) noexcept { release(given); }
void operator delete[](void* given, align_val_t /*to*/, const nothrow_t& /*tag*/) noexcept { release(given); }
