// Writing iso-2022-jp.
//
// ICU reads it generously (NEC's row 13 and its copy of the IBM extensions, halfwidth katakana) and writes
// it narrowly, so a subject that was read could not be written again. This writer has every character that
// the reader can give.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quzo::platform {

class Iso2022JpWriter {
public:
    // Appends the character's bytes, with the shift sequence before them where one is needed, to `out`.
    // False, with nothing written, when iso-2022-jp has no such character.
    bool put(char32_t character, std::string& out);

    // Goes back to ASCII, in which every text has to end.
    void close(std::string& out);

    // Bytes that close() would write now.
    std::size_t closingBytes() const { return set_ == Set::Ascii ? 0 : 3; }

    // Bytes that put() writes at most.
    static constexpr std::size_t kMaxPut = 5;

private:
    enum class Set : std::uint8_t { Ascii, Roman, Katakana, Kanji };
    void select(Set set, std::string& out);

    Set set_ = Set::Ascii;
};

// Writes as many characters of `units` as fit into `maxBytes`, closing shift included, and returns how many
// units those are. Stops before a character that iso-2022-jp does not have.
std::size_t writeIso2022Jp(std::u16string_view units, std::size_t maxBytes, std::string& out);

} // namespace quzo::platform
