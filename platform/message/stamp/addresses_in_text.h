// Web and mail addresses in a line of text, as people write them.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace quzo::platform {

struct AddressInText {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::string_view scheme; // what a link to it needs in front: "mailto:", "https://" or nothing
};

// In order. The stop or bracket behind an address is none of it. Linear in the line.
std::vector<AddressInText> addressesIn(std::string_view line);

} // namespace quzo::platform
