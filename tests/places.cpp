// The folders as CMake knows them. See places.h.
#include "tests/places.h"

namespace quzo::tests {

const char* sourceDir() { return QUZO_SOURCE_DIR; }
const char* binaryDir() { return QUZO_BINARY_DIR; }
const char* corpusDir() { return QUZO_CORPUS; }

} // namespace quzo::tests
