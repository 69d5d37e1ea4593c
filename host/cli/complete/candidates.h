// What can stand at the end of a line.
#pragma once

#include <string>
#include <vector>

#include "host/cli/complete/typed_line.h"

namespace quzo::host {

struct Candidate {
    std::string text;        // the whole word; one that ends in '=' goes on
    std::string description; // one line that may be shown; may be empty
};

struct Candidates {
    std::vector<Candidate> words;
    bool files = false;   // names of files, which the shell knows best
    bool folders = false; // likewise

    void add(std::string text, std::string description = {}) {
        words.push_back({std::move(text), std::move(description)});
    }
};

// Those that go on with what is typed. Only settings, store, queues and policy that the line, or else the
// standard folder, names are read, and what cannot be read has nothing to offer. Nothing is made or changed.
Candidates candidatesFor(const std::vector<DescribedCommand>& commands, const TypedLine& line);

} // namespace quzo::host
