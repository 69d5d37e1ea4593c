// Tokens by the names that people write.
#pragma once

#include <optional>
#include <string_view>

#include "quzo/core/token_map.h"

namespace quzo::host {

// The code of a token given by name, with or without percent signs and in any case, or by its number.
// Nothing for a name that the token table does not have and for numbers of more than 9 digits.
std::optional<ScanToken> findToken(std::string_view nameOrCode);

// The name of a code with its percent signs; null for codes without a name. Static storage.
const char* tokenName(ScanToken code);

} // namespace quzo::host
