// Inline OpenPGP: the lines at which a signed or encrypted text begins.
#pragma once

#include <cstddef>
#include <string_view>

namespace quzo::platform {

struct PgpMarks {
    bool isSigned = false;
    bool isEncrypted = false;
};

// Bytes of a line that decide.
constexpr std::size_t kLongestPgpMark = 34;

// Marks at the start of a line of text[begin, end); `begin` is the start of a line.
PgpMarks findPgpMarks(std::string_view text, std::size_t begin, std::size_t end);

inline PgpMarks findPgpMarks(std::string_view text) { return findPgpMarks(text, 0, text.size()); }

} // namespace quzo::platform
