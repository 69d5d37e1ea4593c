// What `quzo filter` is asked for.
#pragma once

#include <string>
#include <vector>

namespace quzo::host {

struct FilterOptions {
    std::string iniFile;    // empty: the built-in settings
    std::string policyFile; // required
    std::string sendmail;   // a program that takes the message; empty: the outgoing queue does
    std::string sender;     // of the envelope; empty or "<>": the null sender
    std::vector<std::string> recipients;
};

} // namespace quzo::host
