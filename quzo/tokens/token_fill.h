// The functions that compute a token's value from the message. See TokenFill for their contract, except that
// these throw what they cannot handle.
#pragma once

#include <string>

#include "quzo/core/message.h"
#include "quzo/core/token_map.h"

namespace quzo {

bool fnSubject(TokenMap<ScanToken>& tokens, const KvMsgMailMessage& msg, std::string& value);
bool fnHeaders(TokenMap<ScanToken>& tokens, const KvMsgMailMessage& msg, std::string& value);
bool fnDateTime(TokenMap<ScanToken>& tokens, const KvMsgMailMessage& msg, std::string& value);
bool fnActions(TokenMap<ScanToken>& tokens, const KvMsgMailMessage& msg, std::string& value);
bool fnTActions(TokenMap<ScanToken>& tokens, const KvMsgMailMessage& msg, std::string& value);
bool fnQAFilePath(TokenMap<ScanToken>& tokens, const KvMsgMailMessage& msg, std::string& value);
bool fnDCharset(TokenMap<ScanToken>& tokens, const KvMsgMailMessage& msg, std::string& value);
bool fnXmailid(TokenMap<ScanToken>& tokens, const KvMsgMailMessage& msg, std::string& value);
bool fnMCharset(TokenMap<ScanToken>& tokens, const KvMsgMailMessage& msg, std::string& value);

} // namespace quzo
