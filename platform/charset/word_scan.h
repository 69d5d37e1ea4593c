// Finding encoded words in an unfolded field value.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quzo::platform {

// One encoded word: views into the value.
struct EncodedWord {
    std::string_view charset; // without the language suffix
    std::string_view text;    // still encoded
    bool base64 = false;
    std::size_t end = 0; // behind the closing "?="
};

// Reads the word that starts at `at`, where the value has "=?". False when there is none: no charset name,
// an encoding other than B and Q, a '?' inside the text, no end.
bool readEncodedWord(std::string_view value, std::size_t at, EncodedWord& word);

// Appends the bytes that the word's text stands for. What is no code in it is kept (Q) or passed over (B).
void appendWordBytes(const EncodedWord& word, std::string& out);

} // namespace quzo::platform
