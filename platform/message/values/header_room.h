// The room that a large text is made with, so that the header of its part can be put in front of it without a
// second copy.
#pragma once

#include <cstddef>

namespace quzo::platform {

constexpr std::size_t kHeaderRoom = 4096; // bytes; a larger header costs the copy

} // namespace quzo::platform
