// Messages written by hand, each with the structure that the scan must see. Their lines end with LF here; the
// tests read them with CRLF as well.
#pragma once

#include <ostream>
#include <string_view>
#include <vector>

namespace quzo::platform::test {

struct StructureSample {
    const char* name;
    std::string_view text;
    std::string_view structure; // as dumpStructure writes it
};

const std::vector<StructureSample>& structureSamples();

// How a failing test names its sample.
inline void PrintTo(const StructureSample& sample, std::ostream* out) { *out << sample.name; }

} // namespace quzo::platform::test
