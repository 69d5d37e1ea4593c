// The private copy from which stored settings are read.
#pragma once

#include <vector>

namespace quzo {

// Readers of settings get a pointer and a length that may come straight from a literal, a database row or
// a hostile file. They never look at that text itself: they read this copy, which is zero-padded to twice
// the length and some more, so that a length prefix inside the text, which is checked only against the
// whole length, can never lead past it.
class SettingText {
public:
    // Copies `length` bytes; a null `setting` gives an empty text. Throws std::bad_alloc.
    SettingText(const char* setting, unsigned length);

    // NUL-terminated; an embedded NUL ends it for readers that stop there.
    const char* begin() const { return bytes_.data(); }
    const char* end() const { return bytes_.data() + length_; }
    unsigned length() const { return length_; }
    bool empty() const { return length_ == 0; }

private:
    unsigned length_;
    std::vector<char> bytes_;
};

} // namespace quzo
