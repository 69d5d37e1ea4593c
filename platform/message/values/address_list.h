// Address lists as header fields show them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quzo::platform {

// The entries of a list separated by ';' outside quotes, comments, domain literals and groups. A group
// ("name: a, b;") is one entry and keeps its ';'. Blanks around entries are dropped, empty entries left out.
std::vector<std::string_view> splitAddressList(std::string_view list);

// Such a list as a field value by RFC 5322: entries joined by ", ", lines folded at blanks before 76 columns
// where there are any, and before 998 bytes anywhere, `firstColumn` of the first line being taken. With a
// charset, in which `list` then is, display names that are not ASCII become encoded words; without one (null
// or empty) their bytes stay. What is no address, such as a name of more than 4096 bytes, stays as it is, in
// UTF-8. Time in proportion to the list. Returns 0 or a KvMsgError.
int writtenAddressList(std::string_view list, const char* charset, std::size_t firstColumn,
                       std::string_view lineBreak, std::string& out);

} // namespace quzo::platform
