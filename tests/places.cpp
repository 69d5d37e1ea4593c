// The folders as CMake knows them. See places.h.
#include "tests/places.h"

#include <cstdlib>

namespace quzo::tests {

const char* sourceDir() { return QUZO_SOURCE_DIR; }
const char* binaryDir() { return QUZO_BINARY_DIR; }

const char* corpusDir() {
    const char* given = std::getenv("QUZO_CORPUS");
    return given != nullptr && *given != '\0' ? given : QUZO_CORPUS;
}

} // namespace quzo::tests
