// How values without encoded words are given to the library.
#pragma once

#include <cstdint>

namespace quzo::platform {

enum class RawValues : std::uint8_t {
    // 8-bit text comes with the name of a charset that reads it. What a caller writes back is then encoded,
    // and
    // nothing that a sender puts into a field makes it unreadable.
    WithCharset,
    // No value without encoded words has a charset; its bytes are written back as they came.
    AsTheyCame,
};

} // namespace quzo::platform
