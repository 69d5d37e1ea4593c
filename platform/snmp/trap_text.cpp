// See trap_text.h.
#include "platform/snmp/trap_text.h"

#include <algorithm>

#include "platform/base/utf8.h"

namespace quzo::platform {

std::string trapText(std::string_view text, std::size_t most) {
    constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
    std::string out;
    while (!text.empty()) {
        const std::size_t length = utf8SequenceLength(text, 0);
        const std::string_view character = length == 0 ? kReplacement : text.substr(0, length);
        if (character.size() > most - out.size()) {
            break;
        }
        out += character;
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return out;
}

} // namespace quzo::platform
