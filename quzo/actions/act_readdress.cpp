// Replacing a message's recipients, and adding blind-copy recipients.
//
// The two actions meet in the token map: what a blind copy added would be lost when a later re-address
// replaces the list, so it is kept under code 10 and added again.
#include "quzo/actions/act_readdress.h"

#include "quzo/actions/recipient_list.h"
#include "quzo/core/adapter.h"
#include "quzo/core/guard.h"
#include "quzo/core/log.h"
#include "quzo/core/msgu.h"
#include "quzo/core/reprocess_mark.h"
#include "quzo/settings/setting_text.h"
#include "quzo/settings/ui_readdress.h"

namespace quzo {

bool ActReaddress::init(GlobalSetting& /*settings*/, LogMsg& /*log*/) { return true; }

bool ActBcc::init(GlobalSetting& /*settings*/, LogMsg& /*log*/) { return true; }

bool ActReaddress::construct(const char* setting, unsigned length) {
    return guarded("ActReaddress::construct", false, [&] {
        uiReaddress parsed;
        if (!parsed.construct(setting, length)) {
            const SettingText shown(setting, length < 32 ? length : 32);
            ActionLog::L1("Failed to construct Action %s with setting: '%.32s' (max 32 chars)",
                          "Readdress/Bcc", shown.begin());
            return false;
        }
        rcpts = parsed.getRcpt();
        return true;
    });
}

std::string ActReaddress::serialize() {
    return guarded("ActReaddress::serialize", std::string(), [&] {
        uiReaddress settings;
        settings.rcpt = rcpts.c_str();
        return settings.serialize();
    });
}

bool ActReaddress::takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* /*originalMsg*/,
                              bool& msgConsumed, TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                              const NamedObjMgrForScanner& /*namedObjects*/) {
    if (msg == nullptr) {
        return false;
    }
    return guarded("ActReaddress::takeAction", false, [&] {
        if (!_addRcpt(msg, rcpts, appendRcpt)) {
            ActionLog::L1("Failed to modify message session(rcpt) with '%s'.", rcpts.c_str());
            return false;
        }
        return getType() != ActionType::Readdress ? addBcc(tokens) : send(msg, msgConsumed, tokens, adapter);
    });
}

bool ActReaddress::addBcc(TokenMap<ScanToken>& tokens) const {
    ActionLog::L3("BCC to: %s", rcpts.c_str());
    if (std::string* pending = tokens.find(ScanToken::PendingBcc); pending != nullptr) {
        pending->append(";").append(rcpts);
    } else {
        tokens.set(ScanToken::PendingBcc, rcpts);
    }
    return true;
}

bool ActReaddress::send(KvMsgMailMessage* msg, bool& msgConsumed, TokenMap<ScanToken>& tokens,
                        KvIsAdapter& adapter) {
    std::string pending = tokens.valueOrEmpty(ScanToken::PendingBcc);
    if (!pending.empty()) {
        if (!_addRcpt(msg, pending, true)) {
            ActionLog::L1("Failed to modify message session(rcpt) with '%s'.", rcpts.c_str());
            return false;
        }
        tokens.RemoveToken(ScanToken::PendingBcc);
    }
    unsigned error = 0;
    int failed = 0;
    {
        const ReprocessMark mark(tokens, msgu::getRootEntity(msg), "readdress");
        if (!mark.placed()) {
            ActionLog::L3("Cannot place reprocessing information into malformed message.");
        }
        failed = adapter.sendMessage(error, msg, true);
    }
    if (failed != 0) {
        ActionLog::L1("Failed to send out readdress-ed message via adapter, error %u.", error);
        return false;
    }
    ActionLog::L3("Readdress to: %s", rcpts.c_str());
    if (!pending.empty()) {
        ActionLog::L3("BCC to: %s", pending.c_str());
    }
    msgConsumed = true;
    return true;
}

} // namespace quzo
