// Wildcard matching without backtracking into more than the last '*': when a literal stretch fails, only the
// most recent star takes one character more, so the work is at most text times pattern.
//
// Nearly all patterns in use are "*" and a tail ("*.exe", "*@example.com"); the tail is compared first, and a
// text that does not end so is done with after a few bytes.
#include "host/policy/glob.h"

#include <glib.h>

#include <algorithm>

namespace quzo::host {
namespace {

char32_t fold(char32_t c) {
    if (c < 0x80) {
        return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c;
    }
    if (c > 0x10ffff) {
        return c;
    }
    // The Kelvin sign and the dotted capital I would become ASCII letters, which they are not in a name.
    const char32_t lower = g_unichar_tolower(static_cast<gunichar>(c));
    return lower < 0x80 ? c : lower;
}

// Takes the character at `at`. A byte that begins no valid one becomes a value beyond Unicode, so that it
// equals only itself.
char32_t next(std::string_view text, std::size_t& at) {
    constexpr char32_t kRawByte = 0x200000;
    const auto lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80) {
        ++at;
        return lead;
    }
    const gunichar c = g_utf8_get_char_validated(text.data() + at, static_cast<gssize>(text.size() - at));
    if (c > 0x10ffff) {
        ++at;
        return kRawByte + lead;
    }
    at += static_cast<std::size_t>(g_unichar_to_utf8(c, nullptr));
    return c;
}

bool endsWith(std::string_view text, std::string_view lowerSuffix) {
    if (text.size() < lowerSuffix.size()) {
        return false;
    }
    const char* tail = text.data() + (text.size() - lowerSuffix.size());
    return std::equal(lowerSuffix.begin(), lowerSuffix.end(), tail, [](char a, char b) {
        return static_cast<char32_t>(static_cast<unsigned char>(a)) == fold(static_cast<unsigned char>(b));
    });
}

} // namespace

Glob::Glob(std::string_view pattern) : pattern_(pattern) {
    std::vector<char32_t> characters;
    for (std::size_t at = 0; at < pattern.size();) {
        characters.push_back(fold(next(pattern, at)));
    }
    for (std::size_t at = 0; at < characters.size();) {
        Element element;
        const char32_t c = characters[at];
        if (c == '[') {
            if (parseSet(characters, at)) {
                continue;
            }
            fault_ = "a '[' has no ']' behind it";
        }
        ++at;
        if (c == '*') {
            element.kind = Element::Kind::AnyRun;
            if (!elements_.empty() && elements_.back().kind == Element::Kind::AnyRun) {
                continue;
            }
        } else if (c == '?') {
            element.kind = Element::Kind::AnyOne;
        } else {
            element.literal = c;
        }
        elements_.push_back(element);
    }
    for (auto element = elements_.rbegin(); element != elements_.rend(); ++element) {
        if (element->kind != Element::Kind::Literal || element->literal >= 0x80) {
            break;
        }
        asciiSuffix_.insert(asciiSuffix_.begin(), static_cast<char>(element->literal));
    }
}

// Reads "[...]" at `at` and moves behind it; false, with nothing changed, when it is not closed.
bool Glob::parseSet(const std::vector<char32_t>& pattern, std::size_t& at) {
    std::size_t from = at + 1;
    Element element;
    element.kind = Element::Kind::Set;
    if (from < pattern.size() && pattern[from] == '!') {
        element.negated = true;
        ++from;
    }
    // A ']' that stands first belongs to the set.
    const auto close =
        from + 1 < pattern.size()
            ? std::find(pattern.begin() + static_cast<std::ptrdiff_t>(from) + 1, pattern.end(), U']')
            : pattern.end();
    if (close == pattern.end()) {
        return false;
    }
    const auto end = static_cast<std::size_t>(close - pattern.begin());
    element.firstRange = static_cast<std::uint32_t>(ranges_.size());
    while (from < end) {
        Range range{pattern[from], pattern[from]};
        if (from + 2 < end && pattern[from + 1] == '-') {
            range.last = pattern[from + 2];
            from += 2;
        }
        ++from;
        fault_ = range.last < range.first ? "a range runs from the later to the earlier character" : fault_;
        ranges_.push_back(range);
        ++element.rangeCount;
    }
    elements_.push_back(element);
    at = end + 1;
    return true;
}

bool Glob::elementMatches(const Element& element, char32_t folded) const {
    switch (element.kind) {
        case Element::Kind::Literal:
            return element.literal == folded;
        case Element::Kind::AnyOne:
            return true;
        case Element::Kind::Set: {
            const auto* first = ranges_.data() + element.firstRange;
            const bool inside = std::any_of(first, first + element.rangeCount, [&](const Range& range) {
                return folded >= range.first && folded <= range.last;
            });
            return inside != element.negated;
        }
        case Element::Kind::AnyRun:
            break;
    }
    return false;
}

bool Glob::matches(std::string_view text) const {
    if (!asciiSuffix_.empty()) {
        if (!endsWith(text, asciiSuffix_)) {
            return false;
        }
        if (elements_.size() == asciiSuffix_.size() + 1 && elements_[0].kind == Element::Kind::AnyRun) {
            return true;
        }
    }
    constexpr std::size_t kNone = static_cast<std::size_t>(-1);
    std::size_t element = 0;
    std::size_t at = 0;
    std::size_t starElement = kNone; // the element behind the last star
    std::size_t starAt = 0;          // where that star's run ends so far
    while (at < text.size()) {
        if (element < elements_.size() && elements_[element].kind == Element::Kind::AnyRun) {
            starElement = ++element;
            starAt = at;
            if (starElement == elements_.size()) {
                return true;
            }
            continue;
        }
        std::size_t behind = at;
        if (element < elements_.size() && elementMatches(elements_[element], fold(next(text, behind)))) {
            at = behind;
            ++element;
        } else if (starElement != kNone) {
            next(text, starAt);
            at = starAt;
            element = starElement;
        } else {
            return false;
        }
    }
    while (element < elements_.size() && elements_[element].kind == Element::Kind::AnyRun) {
        ++element;
    }
    return element == elements_.size();
}

bool matchesAny(const std::vector<Glob>& globs, std::string_view text) {
    return std::any_of(globs.begin(), globs.end(), [&](const Glob& glob) { return glob.matches(text); });
}

} // namespace quzo::host
