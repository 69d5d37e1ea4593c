// Reading files to their end.
#pragma once

#include <cstddef>
#include <string>

#include "host/base/fault.h"

namespace quzo::host {

// Both add to `bytes` what the descriptor gives and return 0 or an errno value: ECANCELED as soon as the
// descriptor `wakeUp` can be read (-1: none), see readSome().

// Reads until `bytes` has grown to `size` or the file ends.
int readUpTo(int descriptor, std::size_t size, std::string& bytes, int wakeUp);

// Reads to the end of the file, or a little beyond `maxBytes` (0: no limit). `sizeHint` is how long it is
// likely to be.
int readRest(int descriptor, std::size_t sizeHint, std::size_t maxBytes, std::string& bytes, int wakeUp);

// The bytes of a file, or of standard input for "-". A fault when it cannot be read (66, 74) or has more than
// `maxBytes` (65).
MaybeFault readWhole(const std::string& path, std::size_t maxBytes, std::string& bytes);

} // namespace quzo::host
