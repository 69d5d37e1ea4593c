// What is wrong with something that people wrote: a file, a field, an option.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace quzo::platform {

// One fault. Those of one text are collected and told together; an error refuses it.
struct Finding {
    enum class Severity : std::uint8_t { Error, Warning };

    Severity severity = Severity::Error;
    std::size_t line = 0; // counted from 1; 0 when the fault has no line
    std::string where;    // the rule and the key, a field's name; may be empty
    std::string problem;  // what is wrong
    std::string remedy{}; // what to do; may be empty
};

using Findings = std::vector<Finding>;

// "FILE:LINE: WHERE: PROBLEM: REMEDY" without the parts that are empty, as one visible line.
std::string describe(const Finding& finding, const std::string& file);

bool hasErrors(const Findings& findings);

} // namespace quzo::platform
