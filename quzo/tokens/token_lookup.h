// The lookup behind ActionUtils::getTokenValue, for this room.
#pragma once

#include <string_view>

#include "quzo/core/message.h"
#include "quzo/core/token_map.h"

namespace quzo {

// As ActionUtils::getTokenValue, but throws what it cannot handle, so that a caller that builds a text can
// tell a value that is empty from one that could not be had.
const char* tokenValue(TokenMap<ScanToken>& tokens, std::string_view name, const KvMsgMailMessage& msg);

} // namespace quzo
