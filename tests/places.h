// Where things lie that tests need: sources, programs, real messages. In one translation unit, so that what a
// test is compiled from does not depend on the folder of the checkout, and compiler caches can share it.
#pragma once

namespace quzo::tests {

const char* sourceDir(); // the root of the checkout
const char* binaryDir(); // the build folder; programs are in its bin/

// Real messages, in mail/*.eml: the folder that the environment variable QUZO_CORPUS tells, else the CMake
// one. It need not be there: tests that want it skip then.
const char* corpusDir();

} // namespace quzo::tests
