// What is wrong with a policy file.
#pragma once

#include <string>
#include <vector>

namespace quzo::host {

// One fault of a policy. A file's faults are collected and told together; any error refuses the policy.
struct Finding {
    enum class Severity { Error, Warning };

    Severity severity = Severity::Error;
    unsigned line = 0;   // counted from 1; 0 when the fault has no place in the text
    std::string where;   // the rule and the key, such as "rule 10, actions[2].tag"; may be empty
    std::string problem; // what is wrong
    std::string remedy;  // what to do; may be empty
};

using Findings = std::vector<Finding>;

// "FILE:LINE: WHERE: PROBLEM: REMEDY" without the parts that are empty, as one visible line.
std::string describe(const Finding& finding, const std::string& file);

bool hasErrors(const Findings& findings);

} // namespace quzo::host
