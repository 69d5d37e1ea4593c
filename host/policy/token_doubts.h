// Words in a text that look like tokens and are none.
#pragma once

#include <string_view>

#include "platform/base/finding.h"

namespace quzo::host {

// A warning for each of them, without a place. They stay in the text as they are.
platform::Findings doubtsOfTokens(std::string_view text);

} // namespace quzo::host
