// Blanks around addresses and header texts.
#pragma once

#include <string_view>

namespace quzo {

// The text without the space characters at both ends; tabs and line breaks stay.
constexpr std::string_view withoutSpaces(std::string_view text) {
    const auto first = text.find_first_not_of(' ');
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

} // namespace quzo
