// Visible texts by the columns that they take on a screen, for tables.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quzo::platform {

// The visible text (platform/base/visible_text.h), cut to `columns` with "..." at its end, and filled up with
// blanks when `fill`. Wide characters count as two columns, combining ones as none. Time and result are
// bounded by `columns`, not by the text.
std::string tableText(std::string_view text, std::size_t columns, bool fill = true);

// How many columns of a screen the visible text takes.
std::size_t columnsOf(std::string_view text);

} // namespace quzo::platform
