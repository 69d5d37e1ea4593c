// See message_context.h.
#include "platform/message/edit/message_context.h"

#include <algorithm>

namespace quzo::platform {

const char* MessageContext::keep(std::string_view text) {
    char* copy = static_cast<char*>(arena.allocate(text.size() + 1, 1));
    std::copy(text.begin(), text.end(), copy);
    copy[text.size()] = '\0';
    return copy;
}

} // namespace quzo::platform
