// Carries out every probe at its size and at twice that size, under callgrind, which counts the instructions
// of each operation alone and leaves a file for each. growth_test.py reads them. Exit code 1: an operation
// failed.
#include <valgrind/callgrind.h>

#include <algorithm>
#include <cstdio>

#include "tests/growth/probe.h"

namespace quzo::test {

std::string repeated(const std::string& piece, std::size_t count) {
    std::string text;
    text.reserve(piece.size() * count);
    for (std::size_t i = 0; i < count; ++i) {
        text += piece;
    }
    return text;
}

namespace {

// What stands in one line of callgrind's file.
std::string printable(std::string name) {
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c < ' ' || c > '~'; }, '.');
    return name;
}

bool carryOut(const Probe& probe, std::size_t times) {
    const std::string input = probe.input(times * probe.size);
    CALLGRIND_START_INSTRUMENTATION;
    const bool done = probe.operate(input);
    CALLGRIND_STOP_INSTRUMENTATION;
    const std::string label = std::to_string(times) + " " + printable(probe.name);
    CALLGRIND_DUMP_STATS_AT(label.c_str());
    if (!done) {
        std::fprintf(stderr, "%s: failed\n", label.c_str());
    }
    return done;
}

} // namespace
} // namespace quzo::test

int main() {
    using namespace quzo::test;
    bool done = true;
    for (const auto& probes : {messageProbes(), charsetProbes(), hostProbes()}) {
        for (const Probe& probe : probes) {
            const std::string warm = probe.input(10); // what is only done once is not counted
            probe.operate(warm);
            done = carryOut(probe, 1) && done;
            done = carryOut(probe, 2) && done;
        }
    }
    return done ? 0 : 1;
}
