// Addresses through GMime, as far as that is safe.
#pragma once

#include <gmime/gmime.h>

#include <cstddef>
#include <string>

#include "platform/message/values/gmime_objects.h"

namespace quzo::platform {

// GMime's reader calls itself for each ':' that may begin a group, and looks to the end of the text again at
// many a comma: a few hundred kilobytes of either overflow the stack, or take minutes. So it gets no text
// that is longer than these bytes, or has more of the characters that it looks at twice. Nor one with a
// comment behind a domain literal: when that is not closed, GMime loses memory each time.
constexpr std::size_t kMaxGMimeAddressBytes = 4096;
constexpr std::size_t kMaxGMimeAddressMarks = 32;

// What GMime reads in `text`; null when there is nothing, or when the text is beyond these bounds.
GObjectHandle<InternetAddressList> parseAddresses(const std::string& text);

} // namespace quzo::platform
