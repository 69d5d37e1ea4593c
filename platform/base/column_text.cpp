// See column_text.h.
#include "platform/base/column_text.h"

#include "platform/base/visible_text.h"

namespace quzo::platform {

std::size_t columnsOf(std::string_view text) {
    std::size_t columns = 0;
    VisiblePieces pieces(text);
    for (VisiblePieces::Piece piece; pieces.next(piece);) {
        columns += piece.columns;
    }
    return columns;
}

std::string tableText(std::string_view text, std::size_t columns, bool fill) {
    constexpr std::string_view kMore = "...";
    std::string out;
    std::size_t used = 0;
    std::size_t cutAt = 0; // where "..." would still fit
    std::size_t cutColumns = 0;
    VisiblePieces pieces(text);
    for (VisiblePieces::Piece piece; pieces.next(piece);) {
        if (used + piece.columns > columns) {
            out.resize(cutAt);
            out += kMore.substr(0, columns - cutColumns);
            used = columns < cutColumns + kMore.size() ? columns : cutColumns + kMore.size();
            break;
        }
        out += piece.text;
        used += piece.columns;
        if (used + kMore.size() <= columns) {
            cutAt = out.size();
            cutColumns = used;
        }
    }
    return fill ? out + std::string(columns - used, ' ') : out;
}

} // namespace quzo::platform
