// Patterns with wildcards, for addresses, file names and content types.
#pragma once

#include <bitset>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quzo::host {

// '*' stands for any characters, '?' for one, '[abc]', '[a-z]' and '[!a-z]' for one of (or outside) a set.
// A '[' without its ']' stands for itself, and so does any special character inside brackets: "[*]". A
// backslash is an ordinary character. A pattern must cover the whole text. Case does not matter, of letters
// outside ASCII neither; a character is one of UTF-8, and a byte that is no UTF-8 counts as one.
//
// Matching takes time in proportion to the text and the pattern's length, whatever they hold. Immutable
// after construction; shared by threads.
class Glob {
public:
    explicit Glob(std::string_view pattern);

    bool matches(std::string_view text) const;

    // What is hardly meant as it is written: a '[' without its ']', or a range that has nothing in it. Null
    // when there is no such thing. Static storage.
    const char* fault() const { return fault_; }

    // The pattern as it was given.
    const std::string& pattern() const { return pattern_; }

private:
    struct Range {
        char32_t first;
        char32_t last;
    };
    struct Element {
        enum class Kind : std::uint8_t { Literal, AnyOne, AnyRun, Set };
        Kind kind = Kind::Literal;
        bool negated = false;
        char32_t literal = 0;         // folded
        std::uint32_t firstRange = 0; // into ranges_
        std::uint32_t rangeCount = 0;
    };

    bool parseSet(const std::vector<char32_t>& pattern, std::size_t& at);
    bool elementMatches(const Element& element, char32_t folded) const;

    std::string pattern_;
    const char* fault_ = nullptr;
    std::vector<Element> elements_;
    std::vector<Range> ranges_;
    std::string asciiSuffix_; // lower case; every text that matches ends with it
};

// Whether any of the patterns matches.
bool matchesAny(const std::vector<Glob>& globs, std::string_view text);

} // namespace quzo::host
