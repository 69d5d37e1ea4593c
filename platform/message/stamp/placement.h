// A stamp put into the text of a part: which bytes of the text make way for which.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quzo::platform {

enum class StampPosition { Before, After };

// What changes in a text. `bytes` is UTF-8, with the line break that was asked for.
struct Placement {
    std::size_t offset = 0;
    std::size_t removed = 0; // bytes behind the offset
    std::string bytes{};
};

// How a plain text asks to be read.
struct TextFormat {
    bool flowed = false; // format=flowed: a blank at the end of a line joins it to the next one
};

// `text`: the decoded body, in a charset that line breaks and blanks are ASCII in. `stamp`: UTF-8. The stamp
// gets lines of its own; nothing flows into it or out of it.
Placement placeInText(std::string_view text, std::string_view stamp, StampPosition position,
                      TextFormat format, std::string_view lineBreak);

// The same of HTML, at such a place in it; `block` is HTML without a line break at its end.
Placement placeInHtml(std::string_view html, std::size_t place, std::string_view block,
                      std::string_view lineBreak);

// The text with the placement carried out. A text that is not needed any more is changed where it is; a new
// one has kHeaderRoom.
std::string withPlacement(std::string_view text, const Placement& placement);
std::string withPlacement(std::string&& text, const Placement& placement);

} // namespace quzo::platform
