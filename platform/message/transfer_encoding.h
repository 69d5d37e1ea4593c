// Undoing the transfer encoding of a body.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quzo::platform {

// `body` decoded, at most `maxBytes` of the result. `encoding` is the value of Content-Transfer-Encoding as
// it stands; one that is not known leaves the body as it is.
std::string decodedTransfer(std::string_view body, std::string_view encoding, std::size_t maxBytes);

} // namespace quzo::platform
