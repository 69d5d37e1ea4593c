// Names are of any language, so a column is as wide as its characters on the screen, not as their bytes.
#include "host/cli/object/object_table.h"

#include <algorithm>

#include "platform/base/column_text.h"
#include "platform/base/visible_text.h"

namespace quzo::host {
std::string shownLines(std::string_view text, std::string_view indent) {
    std::string shown;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        shown.append(line.empty() ? std::string_view() : indent)
            .append(platform::visibleText(line))
            .append("\n");
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return shown;
}

void TextTable::add(std::vector<std::string> cells) {
    widths_.resize(std::max(widths_.size(), cells.size()));
    for (std::size_t column = 0; column < cells.size(); ++column) {
        cells[column] = platform::visibleText(cells[column]);
        widths_[column] = std::max(widths_[column], platform::columnsOf(cells[column]));
    }
    rows_.push_back(std::move(cells));
}

std::string TextTable::text() const {
    constexpr std::size_t kGap = 2;
    std::string out;
    for (const std::vector<std::string>& row : rows_) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            out += row[column];
            if (column + 1 < row.size()) {
                out.append(widths_[column] - platform::columnsOf(row[column]) + kGap, ' ');
            }
        }
        out += '\n';
    }
    return out;
}

} // namespace quzo::host
