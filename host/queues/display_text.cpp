// See display_text.h. What is visible is asked of the Unicode tables: the class of format characters has the
// direction marks and all that joins, separates or hides without being seen.
#include "host/queues/display_text.h"

#include <glib.h>

#include "platform/charset/utf8.h"

namespace quzo::host {
namespace {

constexpr std::string_view kDigits = "0123456789ABCDEF";
constexpr unsigned kMaxCombining = 4; // on one character; more of them paint over the lines around it

bool isVisible(gunichar character) {
    switch (g_unichar_type(character)) {
        case G_UNICODE_CONTROL:
        case G_UNICODE_FORMAT:
        case G_UNICODE_UNASSIGNED:
        case G_UNICODE_PRIVATE_USE:
        case G_UNICODE_SURROGATE:
        case G_UNICODE_LINE_SEPARATOR:
        case G_UNICODE_PARAGRAPH_SEPARATOR:
            return false;
        case G_UNICODE_SPACE_SEPARATOR:
            return character == ' ';
        default:
            return true;
    }
}

struct Piece {
    std::string text;
    std::size_t columns = 0;
};

// Takes one character, or one byte that is none, off the text.
class Pieces {
public:
    explicit Pieces(std::string_view text) : text_(text) {}

    bool next(Piece& out) {
        if (at_ >= text_.size()) {
            return false;
        }
        const std::size_t length = utf8SequenceLength();
        const std::string_view bytes = text_.substr(at_, length == 0 ? 1 : length);
        at_ += bytes.size();
        out.text.clear();
        out.columns = 0;
        if (length != 0 && place(bytes, out)) {
            return true;
        }
        for (const char c : bytes) {
            const auto byte = static_cast<unsigned char>(c);
            out.text.append("\\x").push_back(kDigits[byte >> 4U]);
            out.text.push_back(kDigits[byte & 0xFU]);
        }
        out.columns = out.text.size();
        return true;
    }

private:
    std::size_t utf8SequenceLength() const { return platform::utf8SequenceLength(text_, at_); }

    bool place(std::string_view bytes, Piece& out) {
        const gunichar character = g_utf8_get_char(bytes.data());
        if (!isVisible(character)) {
            return false;
        }
        const bool combines = g_unichar_iszerowidth(character) != FALSE;
        combining_ = combines ? combining_ + 1 : 0;
        if (combining_ > kMaxCombining) {
            return false;
        }
        out.text.assign(bytes);
        out.columns = combines ? 0 : (g_unichar_iswide(character) != FALSE ? 2 : 1);
        return true;
    }

    std::string_view text_;
    std::size_t at_ = 0;
    unsigned combining_ = 0;
};

} // namespace

std::string visibleText(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    Pieces pieces(text);
    for (Piece piece; pieces.next(piece);) {
        out += piece.text;
    }
    return out;
}

std::size_t columnsOf(std::string_view text) {
    std::size_t columns = 0;
    Pieces pieces(text);
    for (Piece piece; pieces.next(piece);) {
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
    Pieces pieces(text);
    for (Piece piece; pieces.next(piece);) {
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

} // namespace quzo::host
