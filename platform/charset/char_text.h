// A text cut into the characters of its charset.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/charset/charset.h"

namespace quzo::platform {

// The text's bytes belong to the caller and must outlive the object.
class CharText {
public:
    // Zero, or kErrorMalformedText when the bytes are no text of the charset.
    int read(std::string_view bytes, Charset& charset);

    // Characters are counted from 0.
    std::size_t size() const { return characters_.size(); }

    // The character if it is printable ASCII, a blank or a tab, else NUL.
    char plain(std::size_t index) const { return characters_[index].plain; }
    bool isBlank(std::size_t index) const { return plain(index) == ' ' || plain(index) == '\t'; }

    // The bytes and the UTF-16 units of the characters [begin, end). There are no units for a text that is
    // ASCII all over.
    std::string_view bytes(std::size_t begin, std::size_t end) const;
    std::u16string_view units(std::size_t begin, std::size_t end) const;

private:
    struct Character {
        std::uint32_t begin; // its first byte
        std::uint32_t unit;  // its first unit
        char plain;
    };

    void add(std::size_t begin, std::size_t unitIndex, char16_t unit);
    std::size_t byteAt(std::size_t index) const;
    std::size_t unitAt(std::size_t index) const;

    std::string_view bytes_;
    std::u16string units_;
    std::vector<Character> characters_;
};

} // namespace quzo::platform
