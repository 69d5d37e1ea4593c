// Replacing a message's recipients, and adding blind-copy recipients.
#pragma once

#include <string>

#include "quzo/actions/plain_action.h"
#include "quzo/core/settings_source.h"

namespace quzo {

class LogMsg;

// Replaces the envelope recipients by a configured list and sends the message out to them through the
// adapter, marked so that the rules that ran are skipped when it comes back. msgConsumed is set once it has
// been sent. Recipients that ActBcc added earlier in the rule (token 10) are kept. On failure the envelope
// may already have changed.
class ActReaddress : public PlainAction {
public:
    ActReaddress() = default;

    static bool init(GlobalSetting& settings, LogMsg& log);

    // The text of uiReaddress. A refused one is logged at level 1.
    bool construct(const char* setting, unsigned length) override;
    std::string serialize() override;
    ActionType getType() const override { return ActionType::Readdress; }
    bool takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& msgConsumed,
                    TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                    const NamedObjMgrForScanner& namedObjects) override;

protected:
    explicit ActReaddress(bool append) : appendRcpt(append) {}

private:
    bool addBcc(TokenMap<ScanToken>& tokens) const;
    bool send(KvMsgMailMessage* msg, bool& msgConsumed, TokenMap<ScanToken>& tokens, KvIsAdapter& adapter);

    std::string rcpts; // separated by ";"; after each use trimmed and each followed by ";"
    bool appendRcpt = false;
};

// Adds a configured list to the envelope recipients; the message goes on. Settings as ActReaddress.
class ActBcc : public ActReaddress {
public:
    ActBcc() : ActReaddress(true) {}

    static bool init(GlobalSetting& settings, LogMsg& log);

    ActionType getType() const override { return ActionType::Bcc; }
};

} // namespace quzo
