// Whether a text shows a stamp already.
#pragma once

#include <string>
#include <string_view>

namespace quzo::platform {

// What is left of a text when it is quoted, wrapped, indented and forwarded: its characters without blanks,
// line breaks and the marks that quoting puts in front of lines.
std::string quotedForm(std::string_view utf8);

// Recognises one stamp in its forms.
class KnownStamp {
public:
    // Both are UTF-8; `html` is HTML, and may be empty.
    KnownStamp(std::string_view text, std::string_view html);

    // Whether a text shows one of the forms. The empty stamp is shown by none.
    bool shownIn(std::string_view utf8) const;

private:
    std::string text_;
    std::string html_;
};

} // namespace quzo::platform
