// Texts of other people made fit to be shown: in faults, in the log, in tables.
//
// There is one way: what cannot be seen for what it is becomes "\xNN" for each of its bytes, and a text that
// is quoted stands in single quotation marks. That covers control characters, line and paragraph separators,
// marks that turn the writing direction, everything else that leaves no trace on the screen, code points
// without a meaning of their own, and bytes that are not UTF-8. So nothing that somebody writes into a
// message, a file name or a setting can begin a new line, reach the terminal as a command, or look like
// something else.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quzo::platform {

// Takes a text apart into pieces that may be shown, one for each character or stray byte. The text must
// outlive the object.
class VisiblePieces {
public:
    struct Piece {
        std::string text;
        std::size_t columns = 0; // wide characters count as two, combining ones as none
    };

    explicit VisiblePieces(std::string_view text) : text_(text) {}

    // The next piece; false at the end.
    bool next(Piece& out);

private:
    bool place(std::string_view character, Piece& out);

    std::string_view text_;
    std::size_t at_ = 0;
    unsigned combining_ = 0; // on the last character
};

// The text as one line of visible characters. At most four combining characters stay on one; more would paint
// over the lines around it. Doing it twice changes nothing more.
std::string visibleText(std::string_view text);

// The same in single quotation marks; what has more than `most` bytes then ends in "...".
constexpr std::size_t kMostQuoted = 120;
std::string quotedText(std::string_view text, std::size_t most = kMostQuoted);

// Whether one UTF-8 character can be seen for what it is.
bool isVisible(std::string_view character);

} // namespace quzo::platform
