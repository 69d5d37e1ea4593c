// Changing the envelope recipients of a message, for the re-address and blind-copy actions.
#pragma once

#include <string>

#include "quzo/core/message.h"

namespace quzo {

// Whether two addresses are the same: blanks (spaces) at both ends and the case of letters do not count;
// brackets, display names and quoting do.
bool _isSameEmailAddress(std::string a, std::string b);

// Drops recipients that are the same as an earlier one, and empty ones; the first spelling and the order
// stay.
bool _removeDuplicatedRcpt(KvMsgMailMessage* msg);

// Rewrites `rcpts` so that each address is trimmed and followed by ";", applies it to the envelope, adding or
// replacing, and drops duplicates. An empty list changes nothing and is a success.
bool _addRcpt(KvMsgMailMessage* msg, std::string& rcpts, bool append);

} // namespace quzo
