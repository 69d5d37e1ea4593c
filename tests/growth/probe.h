// One operation on hostile input of a given size, whose instructions growth_test.py counts.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace quzo::test {

// A piece of a text, repeated.
std::string repeated(const std::string& piece, std::size_t count);

struct Probe {
    std::string name;
    std::size_t size;                                // the smaller of the two sizes that are compared
    std::function<std::string(std::size_t)> input;   // not counted
    std::function<bool(const std::string&)> operate; // counted; false: it did not do what it should
};

std::vector<Probe> messageProbes();
std::vector<Probe> charsetProbes();
std::vector<Probe> hostProbes();

} // namespace quzo::test
