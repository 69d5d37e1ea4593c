// Texts of sections and keys: quzo.ini, the localised texts, scanner.info.
//
//   # comment            (also with ';'; only at the start of a line)
//   [section]
//   key = value
//
// A value is what stands behind the first '=', without the blanks around it, and otherwise unchanged:
// backslashes, quotes, '#' and ';' inside are its own. Names are compared exactly. A section may be opened
// several times; a key may stand in it once.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/base/finding.h"

namespace quzo::platform {

// The name of a key or section for a fault: a blank and the name in quotation marks, or nothing when it has
// other characters than letters, digits, '_', '-' and '.'. What stands in a line that was not understood may
// be a piece of a connection string with its password.
std::string faultName(std::string_view name);

class IniFile {
public:
    static constexpr std::size_t kMaxBytes = std::size_t{1} << 20U;
    static constexpr std::size_t kMaxLine = 8192;    // bytes
    static constexpr std::size_t kMaxProblems = 100; // more than anybody reads

    struct Entry {
        std::string value;
        std::size_t line = 0;
    };
    using Section = std::map<std::string, Entry, std::less<>>;
    struct NamedSection {
        std::size_t line = 0; // where it is opened first
        Section entries;
    };
    using Sections = std::map<std::string, NamedSection, std::less<>>;

    // Reads the text and replaces what the object held. True when nothing is wrong with it; otherwise
    // `problems`, which is replaced, names every line at fault in order, and the object holds the rest.
    bool parse(std::string_view text, Findings& problems);

    // The same with a file.
    bool load(const std::string& path, Findings& problems);

    // The entry, or null.
    const Entry* find(std::string_view section, std::string_view key) const;

    const Sections& sections() const { return sections_; }

private:
    Sections sections_;
};

} // namespace quzo::platform
