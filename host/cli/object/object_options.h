// What `quzo object` is asked for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quzo::host {

// A field as the command line gives it.
struct FieldArgument {
    std::string field;
    std::string value;   // the value, or the path of a file with it
    bool isFile = false; // "-" is standard input
};

// Of all its subcommands; each uses what it offers.
struct ObjectOptions {
    std::string iniFile;    // empty: none
    std::string policyFile; // empty: none
    std::optional<std::uint32_t> tenant;
    std::string kind; // empty, where it may be left out: every kind
    std::string name; // empty, where it may be left out: every name
    std::optional<std::uint32_t> revision;
    bool json = false;
    bool raw = false;
    bool history = false;
    bool dryRun = false;
    std::vector<FieldArgument> fields;
    std::string file; // read or written; empty: standard output
    std::string message;
    std::optional<std::string> from; // set and empty: the null sender
    std::vector<std::string> to;
    std::vector<std::string> tokens; // "NAME=VALUE"
};

} // namespace quzo::host
