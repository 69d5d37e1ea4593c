// Token values that come from outside, as `--token NAME=VALUE` gives them.
#pragma once

#include <string>
#include <string_view>

#include "host/policy/token_name.h"
#include "quzo/core/token_map.h"

namespace quzo::host {

// Splits "NAME|CODE=VALUE" at the first '=' and puts the value, made valid UTF-8, into `tokens`. Returns an
// empty text, or what is wrong and what to do.
std::string applyTokenArgument(std::string_view argument, TokenMap<ScanToken>& tokens);

} // namespace quzo::host
