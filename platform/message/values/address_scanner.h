// Following a list of addresses character by character.
#pragma once

#include <cstddef>

namespace quzo::platform {

// Knows what each character stands in, so that whoever splits a list does it at marks that are marks. For one
// pass over one list.
class AddressScanner {
public:
    // To be given each character in turn. True when it is a plain one of the list, outside quotes, comments
    // and domain literals; what begins and ends those is not.
    bool plain(char c) {
        if (escaped_) {
            escaped_ = false;
            return false;
        }
        if (c == '\\' && (quoted_ || comments_ > 0)) {
            escaped_ = true;
            return false;
        }
        if (quoted_) {
            quoted_ = c != '"';
            return false;
        }
        if (comments_ > 0 || c == '(') {
            comments_ += c == '(' ? 1U : 0U;
            comments_ -= c == ')' ? 1U : 0U;
            return false;
        }
        if (literal_ || c == '[') {
            literal_ = c != ']';
            return false;
        }
        quoted_ = c == '"';
        return !quoted_;
    }

private:
    std::size_t comments_ = 0; // how deep
    bool quoted_ = false;
    bool literal_ = false;
    bool escaped_ = false;
};

} // namespace quzo::platform
