// What the command line asks for, free of how it was written.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace quzo::host {

struct ApplyOptions {
    std::string iniFile; // empty: the built-in settings
    std::string policyFile;
    std::optional<std::string> from; // set and empty: the null sender
    std::vector<std::string> to;
    std::vector<std::string> tokens; // "NAME=VALUE"
    std::string outputDir;           // empty: none
    unsigned jobs = 1;               // threads; 0: one for each processor
    bool json = false;
    bool syncEach = false;
    bool dryRun = false;
    bool diff = false;
    bool verbose = false;
    std::vector<std::string> paths;
};

struct CheckOptions {
    std::string iniFile;
    std::string policyFile;
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
