// Where a block goes in an HTML text, and what the text says of itself.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quzo::platform {

struct HtmlPlaces {
    // Behind the opening body tag; without one, behind what belongs to the head.
    std::size_t front = 0;
    // Before the last closing body tag; without one before the closing html tag or at the end, in any case
    // before a tag, a comment or a script that is never closed.
    std::size_t back = 0;
    // Nothing but frames: whatever stands beside them is not shown.
    bool onlyFrames = false;
    // The charset that the text claims for itself; empty when it does not.
    std::string charset{};
};

// Tags count where clients see them: not in comments, attributes, scripts and styles.
HtmlPlaces findHtmlPlaces(std::string_view html);

} // namespace quzo::platform
