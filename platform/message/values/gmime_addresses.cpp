// The bounded way into GMime's address reader. See gmime_addresses.h.
#include "platform/message/values/gmime_addresses.h"

#include <algorithm>
#include <string_view>

namespace quzo::platform {

GObjectHandle<InternetAddressList> parseAddresses(const std::string& text) {
    const auto isMark = [](char c) { return c == ':' || c == ';' || c == ',' || c == '<' || c == '('; };
    const auto marks = std::count_if(text.begin(), text.end(), isMark);
    if (text.size() > kMaxGMimeAddressBytes || static_cast<std::size_t>(marks) > kMaxGMimeAddressMarks ||
        text.find('(', std::min(text.find('['), text.size())) != std::string::npos) {
        return nullptr;
    }
    startGMime();
    return GObjectHandle<InternetAddressList>(internet_address_list_parse(nullptr, text.c_str()));
}

} // namespace quzo::platform
