// A text of ours as a part of a message.
#pragma once

#include <string>
#include <string_view>

namespace quzo::platform {

struct TextPart {
    std::string_view text;         // UTF-8
    const char* charset = nullptr; // taken when it can carry the text; null, or else: UTF-8
    std::string_view fileName{};   // a file of that name, which is a token; empty: shown with the body
    bool encoded = false;          // in base64, in which no boundary can stand
};

// The whole part, text/plain, header and body, without a line break of its own at the end.
std::string textPart(const TextPart& part, std::string_view lineBreak);

} // namespace quzo::platform
