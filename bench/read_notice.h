// What a composed notification says, read back.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quzo::bench {

// A notification with nothing left to be worked out; its date is not part of it. Texts are UTF-8.
struct Notice {
    std::string sender; // address, and the name that is shown
    std::vector<std::string> recipients;
    std::string subject;
    std::string text;      // in lines that end in CRLF
    std::string messageId; // without the angle brackets
    std::vector<std::pair<std::string, std::string>> marks;
    std::string attached; // bytes of the message behind the text

    bool operator==(const Notice&) const = default;
};

// By GMime. Throws std::runtime_error when the mail is not a text in base64 and a message/rfc822 part.
Notice readNotice(std::string_view mail);

} // namespace quzo::bench
