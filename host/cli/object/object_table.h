// Tables and texts of objects for people to read.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quzo::host {

// The lines of a text, each behind `indent` and made safe by visibleText().
std::string shownLines(std::string_view text, std::string_view indent);

// Rows of cells, aligned by the columns that they take on a screen.
class TextTable {
public:
    explicit TextTable(std::vector<std::string> head) { add(std::move(head)); }

    // As many cells as the head has.
    void add(std::vector<std::string> cells);

    // Each cell made safe by visibleText(); the last one of a row has no blanks behind it.
    std::string text() const;

private:
    std::vector<std::vector<std::string>> rows_; // made safe
    std::vector<std::size_t> widths_;
};

} // namespace quzo::host
