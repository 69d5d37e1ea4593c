// Words as bash has them on its line. Bash gives a completion the line as it was typed, and puts into it what
// the completion answers, as it is: so what is typed is read here, and what is answered is quoted here.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quzo::host {

class BashLine {
public:
    // `line`: from the command's name to the cursor. Nothing in it is expanded or run.
    explicit BashLine(std::string_view line);

    // Without their quotes, redirections left out; the last one is unfinished, and may be empty.
    const std::vector<std::string>& words() const { return words_; }

    // The unfinished word is the file of a redirection.
    bool isRedirection() const { return redirection_; }

    // What is to stand behind the typed text so that the unfinished word goes on with `rest`: quoted as the
    // typed text asks for, so that bash takes every character as it is. `rest` has no control characters.
    std::string continued(std::string_view rest) const;

private:
    enum class Quote : char { None = 0, Single = '\'', Double = '"' };

    void endWord();
    void take(char c);

    std::vector<std::string> words_;
    std::string word_;
    bool inWord_ = false;
    bool redirection_ = false;
    bool escaped_ = false; // the next character is taken as it is
    Quote quote_ = Quote::None;
};

} // namespace quzo::host
