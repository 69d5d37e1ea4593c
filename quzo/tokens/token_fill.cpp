// Token values that come from the message itself. The date has a file of its own.
#include "quzo/tokens/token_fill.h"

#include "quzo/core/action.h"
#include "quzo/core/msgu.h"
#include "quzo/core/quarantine_path.h"
#include "quzo/tokens/action_utils.h"
#include "quzo/tokens/token_lookup.h"

namespace quzo {

bool fnSubject(TokenMap<ScanToken>& tokens, const KvMsgMailMessage& msg, std::string& value) {
    const char* mailCharset = nullptr;
    if (ActionUtils::getUseMailCharsetFlag()) {
        mailCharset = tokenValue(tokens, "%MAILCHARSET%", msg);
    }
    return msgu::getSubject(&msg, ActionUtils::getLocalCharset(), mailCharset, value);
}

bool fnHeaders(TokenMap<ScanToken>& /*tokens*/, const KvMsgMailMessage& msg, std::string& value) {
    msgu::getHeaders(&msg, value);
    return true;
}

bool fnActions(TokenMap<ScanToken>& tokens, const KvMsgMailMessage& /*msg*/, std::string& value) {
    return QuzoAction::CreateActionTokenString(tokens.valueOrEmpty(ScanToken::ActionCodes).c_str(), value);
}

bool fnTActions(TokenMap<ScanToken>& tokens, const KvMsgMailMessage& /*msg*/, std::string& value) {
    return QuzoAction::CreateActionTokenString(tokens.valueOrEmpty(ScanToken::RuleActionCodes).c_str(),
                                               value);
}

bool fnQAFilePath(TokenMap<ScanToken>& tokens, const KvMsgMailMessage& msg, std::string& value) {
    value.clear();
    if (!tokens.valueOrEmpty(ScanToken::QuarantineArea).empty()) {
        value = quarantinePath(quarantineQueueDir(), msg.getIdentifier());
    }
    return true;
}

bool fnDCharset(TokenMap<ScanToken>& /*tokens*/, const KvMsgMailMessage& /*msg*/, std::string& value) {
    value = ActionUtils::getDefaultDstCharset();
    return true;
}

bool fnXmailid(TokenMap<ScanToken>& /*tokens*/, const KvMsgMailMessage& msg, std::string& value) {
    const char* id = msgu::getXMailId(&msg);
    if (id == nullptr) {
        return false;
    }
    value = id;
    return true;
}

bool fnMCharset(TokenMap<ScanToken>& /*tokens*/, const KvMsgMailMessage& msg, std::string& value) {
    const char* charset = msgu::getCharset(&msg);
    value = charset != nullptr ? charset : "";
    return true;
}

} // namespace quzo
