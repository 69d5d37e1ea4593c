// See bash_words.h.
#include "host/cli/complete/bash_words.h"

#include <utility>

namespace quzo::host {
namespace {

// Characters that mean nothing to bash wherever they stand behind the beginning of a word. Those beyond ASCII
// never do.
bool isPlain(char c) {
    constexpr std::string_view kSigns = "_-./:=@%+,";
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           kSigns.find(c) != std::string_view::npos || static_cast<unsigned char>(c) >= 0x80;
}

} // namespace

BashLine::BashLine(std::string_view line) {
    for (const char c : line) {
        take(c);
    }
    words_.push_back(std::move(word_));
}

void BashLine::endWord() {
    if (inWord_ && !redirection_) {
        words_.push_back(word_);
    }
    redirection_ = redirection_ && !inWord_;
    word_.clear();
    inWord_ = false;
}

void BashLine::take(char c) {
    if (escaped_) {
        if (quote_ == Quote::Double && c != '"' && c != '\\' && c != '$' && c != '`') {
            word_ += '\\';
        }
        word_ += c;
        escaped_ = false;
    } else if (c == '\\' && quote_ != Quote::Single) {
        escaped_ = inWord_ = true;
    } else if (quote_ != Quote::None) {
        if (c == static_cast<char>(quote_)) {
            quote_ = Quote::None;
        } else {
            word_ += c;
        }
    } else if (c == '\'' || c == '"') {
        quote_ = static_cast<Quote>(c);
        inWord_ = true;
    } else if (c == ' ' || c == '\t' || c == '\n') {
        endWord();
    } else if (c == '<' || c == '>') {
        if (word_.find_first_not_of("0123456789&") == std::string::npos) {
            inWord_ = false; // the number of a descriptor
        }
        endWord();
        redirection_ = true;
    } else {
        word_ += c;
        inWord_ = true;
    }
}

std::string BashLine::continued(std::string_view rest) const {
    std::string text;
    if (escaped_ && !rest.empty()) {
        text = rest.front(); // its backslash is there already
        rest.remove_prefix(1);
    }
    for (const char c : rest) {
        if (quote_ == Quote::Single) {
            text += c == '\'' ? std::string("'\\''") : std::string(1, c);
        } else if (quote_ == Quote::Double && c == '!') {
            text += "\"\\!\""; // which a backslash does not protect between quotes
        } else if (quote_ == Quote::Double) {
            text += c == '"' || c == '\\' || c == '$' || c == '`' ? std::string{'\\', c} : std::string(1, c);
        } else {
            text += isPlain(c) ? std::string(1, c) : std::string{'\\', c};
        }
    }
    return text;
}

} // namespace quzo::host
