// Knows of the language only strings, comments, and what a key is made of; whatever is no TOML is left to the
// parser.
#include "host/policy/toml_depth.h"

#include <algorithm>
#include <cstddef>
#include <string>

namespace quzo::host {
namespace {

bool isKeyCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
}

// Steps over strings and comments, and counts the dots between the parts of a key.
class DepthScan {
public:
    explicit DepthScan(std::string_view text) : text_(text) {}

    unsigned lineDeeperThan(unsigned maxDepth) {
        unsigned dots = 0;
        while (at_ < text_.size()) {
            const char c = text_[at_];
            if (c == '"' || c == '\'') {
                skipString(c);
                continue;
            }
            if (c == '#') {
                at_ = std::min(text_.find('\n', at_), text_.size());
                continue;
            }
            if (c == '.') {
                if (++dots >= maxDepth) {
                    return line_;
                }
            } else if (!isKeyCharacter(c) && c != ' ' && c != '\t') {
                dots = 0;
            }
            line_ += c == '\n' ? 1 : 0;
            ++at_;
        }
        return 0;
    }

private:
    void skipString(char quote) {
        const bool severalLines = text_.substr(at_).starts_with(std::string(3, quote));
        const std::size_t width = severalLines ? 3 : 1;
        const std::string end(width, quote);
        at_ += width;
        while (at_ < text_.size() && text_.compare(at_, width, end) != 0) {
            if (text_[at_] == '\n') {
                if (!severalLines) {
                    return; // a string without end: the parser refuses it
                }
                ++line_;
            }
            at_ += quote == '"' && text_[at_] == '\\' && at_ + 1 < text_.size() && text_[at_ + 1] != '\n' ? 2
                                                                                                          : 1;
        }
        at_ = std::min(at_ + width, text_.size());
    }

    std::string_view text_;
    std::size_t at_ = 0;
    unsigned line_ = 1;
};

} // namespace

unsigned tooDeepLine(std::string_view text, unsigned maxDepth) {
    return DepthScan(text).lineDeeperThan(maxDepth);
}

} // namespace quzo::host
