// What the command line asks the small commands for, free of how it was written.
#pragma once

#include <string>
#include <vector>

namespace quzo::host {

struct CheckOptions {
    std::string iniFile;    // empty: none
    std::string policyFile; // empty: none
};

struct ConfigShowOptions {
    std::string iniFile; // empty: none
    bool json = false;
};

struct TokensOptions {
    bool json = false;
};

struct EncodeOptions {
    std::string type;
    std::vector<std::string> pairs; // "KEY=VALUE"
};

struct DecodeOptions {
    std::string type;
    std::string setting;
};

} // namespace quzo::host
