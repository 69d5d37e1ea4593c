// What is visible is asked of the Unicode tables; the few characters that the tables call letters or marks
// and that show nothing all the same are listed. Plain ASCII, which is nearly everything, is copied in runs.
#include "platform/base/visible_text.h"

#include <glib.h>

#include <algorithm>
#include <iterator>

#include "platform/base/utf8.h"

namespace quzo::platform {
namespace {

constexpr std::string_view kDigits = "0123456789ABCDEF";
constexpr unsigned kMaxCombining = 4; // on one character

struct Range {
    gunichar first;
    gunichar last;
};

// Not seen, though neither control nor format characters: joiners, fillers of Korean and Khmer, selectors of
// variants but the two that emoji take, the empty pattern of Braille.
constexpr Range kUnseen[] = {{0x034F, 0x034F}, {0x115F, 0x1160}, {0x17B4, 0x17B5},
                             {0x180B, 0x180F}, {0x2800, 0x2800}, {0x3164, 0x3164},
                             {0xFE00, 0xFE0D}, {0xFFA0, 0xFFA0}, {0xE0100, 0xE01EF}};

bool isVisibleCode(gunichar character) {
    if (std::any_of(std::begin(kUnseen), std::end(kUnseen), [character](const Range& range) {
            return character >= range.first && character <= range.last;
        })) {
        return false;
    }
    switch (g_unichar_type(character)) {
        case G_UNICODE_CONTROL:
        case G_UNICODE_FORMAT:
        case G_UNICODE_UNASSIGNED:
        case G_UNICODE_PRIVATE_USE:
        case G_UNICODE_SURROGATE:
        case G_UNICODE_LINE_SEPARATOR:
        case G_UNICODE_PARAGRAPH_SEPARATOR:
            return false;
        case G_UNICODE_SPACE_SEPARATOR: // with the usual ones of French and Japanese
            return character == ' ' || character == 0x00A0 || character == 0x3000;
        default:
            return true;
    }
}

bool isPlain(char c) { return c >= 0x20 && c < 0x7F; }

// How many bytes of printable ASCII the text begins with.
std::size_t plainLength(std::string_view text) {
    return static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), isPlain) - text.begin());
}

void appendBytes(std::string& out, std::string_view bytes) {
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        out.append("\\x").push_back(kDigits[byte >> 4U]);
        out.push_back(kDigits[byte & 0xFU]);
    }
}

} // namespace

bool isVisible(std::string_view character) {
    return utf8SequenceLength(character, 0) == character.size() && !character.empty() &&
           isVisibleCode(g_utf8_get_char(character.data()));
}

bool VisiblePieces::next(Piece& out) {
    if (at_ >= text_.size()) {
        return false;
    }
    const std::size_t length = utf8SequenceLength(text_, at_);
    const std::string_view character = text_.substr(at_, std::max<std::size_t>(length, 1));
    at_ += character.size();
    out.text.clear();
    if (length == 0 || !place(character, out)) {
        appendBytes(out.text, character);
        out.columns = out.text.size();
    }
    return true;
}

bool VisiblePieces::place(std::string_view character, Piece& out) {
    const gunichar code = g_utf8_get_char(character.data());
    if (!isVisibleCode(code)) {
        return false;
    }
    const bool combines = g_unichar_iszerowidth(code) != FALSE;
    combining_ = combines ? combining_ + 1 : 0;
    if (combining_ > kMaxCombining) {
        return false;
    }
    out.text.assign(character);
    out.columns = combines ? 0 : (g_unichar_iswide(code) != FALSE ? 2 : 1);
    return true;
}

std::string visibleText(std::string_view text) {
    const std::size_t plain = plainLength(text);
    std::string out(text.substr(0, plain));
    VisiblePieces pieces(text.substr(plain));
    for (VisiblePieces::Piece piece; pieces.next(piece);) {
        out += piece.text;
    }
    return out;
}

std::string quotedText(std::string_view text, std::size_t most) {
    std::string out = "'";
    VisiblePieces pieces(text);
    for (VisiblePieces::Piece piece; pieces.next(piece);) {
        if (out.size() + piece.text.size() > most + 1) {
            return out + "...'";
        }
        out += piece.text;
    }
    return out + "'";
}

} // namespace quzo::platform
