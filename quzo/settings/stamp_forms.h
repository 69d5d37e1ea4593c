// The forms of a stamp: a text, and HTML for those who give it.
//
// One stored text holds both. Its lines end with the byte 0x03, as those of all stamp texts do; a line of the
// one byte 0x1C ends the text, and the HTML behind it has 0x1E between its lines. So a line limit may divide
// the stored text anywhere: a CR LF behind the 0x1C was never part of the HTML. People cannot type either
// byte, and neither is taken in what they write.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quzo {

// Where the HTML begins in a stored text. What a message brings into a stamp must not hold it.
constexpr char kStampHtmlBegins = '\x1C';

struct StampForms {
    std::string text;
    std::optional<std::string> html; // its lines end with LF; nothing: the text is all there is
};

// The stored text of both. `forms.text` has 0x03, LF or CRLF between lines, `forms.html` LF or CRLF. Throws
// std::bad_alloc.
std::string joinStampForms(const StampForms& forms);

// The forms in a stored text, or in one that was made ready to be inserted (CR LF between its lines). The
// text keeps the line ends that it has. Throws std::bad_alloc.
StampForms splitStampForms(std::string_view stored);

// Whether a text can be one of the forms: whether joining and splitting give it back.
bool canBeStampForm(std::string_view text);

} // namespace quzo
