// Text as HTML, and HTML as text.
#pragma once

#include <string>
#include <string_view>

namespace quzo::platform {

// A text as HTML: escaped, web and mail addresses as links, lines that an empty line divides as paragraphs.
// Both are UTF-8; lines of the result end with LF, and are broken, where nobody sees it, before they get
// longer than mail carries.
std::string htmlOfText(std::string_view text);

// UTF-8 HTML with numeric references for what is not ASCII; with a charset, which may be null, only for what
// that lacks. Still UTF-8.
std::string withReferences(std::string_view html, const char* charset);

// What somebody sees of HTML: its text without tags, comments, scripts and styles, references resolved.
// UTF-8 when `html` is.
std::string textOfHtml(std::string_view html);

} // namespace quzo::platform
