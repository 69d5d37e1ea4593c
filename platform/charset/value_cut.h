// Cutting a field value into its encoded words and the text between them, and telling which words can be
// read.
//
// A word is readable when its charset is known and its bytes are text in it, by themselves or together with
// the words of the same charset that stand next to it: real mailers cut characters in two. Time is linear in
// the value.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quzo::platform {

// A raw value on one line, without the blanks around it.
std::string unfolded(std::string_view rawValue);

// Words that have to be read together, or text between words.
struct ValuePiece {
    std::string charset; // of words, lower case; empty for text
    std::string bytes;
    bool isWords() const { return !charset.empty(); }
};

enum class CutWords : bool {
    Readable, // words that cannot be read are text, as they are written
    All,      // neighbours of one charset are one piece
};

// The pieces of an unfolded value, in order; none when there is no word that is wanted. Blanks between two
// words are no text.
std::vector<ValuePiece> cutValue(std::string_view value, CutWords wanted);

// A word that cannot be read.
struct UnreadableWord {
    std::size_t begin = 0;
    std::size_t end = 0;
};

// All of the value, in order.
std::vector<UnreadableWord> unreadableWords(std::string_view value);

// Whether the bytes are text in that charset.
bool isReadable(std::string_view bytes, const std::string& charset);

} // namespace quzo::platform
