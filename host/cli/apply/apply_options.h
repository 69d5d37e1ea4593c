// What `quzo apply` is asked for.
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

} // namespace quzo::host
