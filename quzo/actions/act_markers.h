// Actions that only mark a message: the scanner sees from the action's type that later stages clean, encrypt
// or decrypt it. None of them touches the message.
#pragma once

#include <string>

#include "quzo/actions/plain_action.h"
#include "quzo/core/settings_source.h"

namespace quzo {

class LogMsg;

// An infected part is to be cleaned.
class ActVirusClean : public PlainAction {
public:
    static bool init(GlobalSetting& settings, LogMsg& log);

    bool construct(const char* setting, unsigned length) override;
    std::string serialize() override;
    ActionType getType() const override { return ActionType::VirusClean; }
    bool takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& msgConsumed,
                    TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                    const NamedObjMgrForScanner& namedObjects) override;
};

// The message is to be encrypted. Its setting text is the administration side's fixed note.
class ActIBEEncrypt : public PlainAction {
public:
    static bool init(GlobalSetting& settings, LogMsg& log);

    bool construct(const char* setting, unsigned length) override;
    std::string serialize() override;
    ActionType getType() const override { return ActionType::IBEEncrypt; }
    bool takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& msgConsumed,
                    TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                    const NamedObjMgrForScanner& namedObjects) override;
};

// The message is to be encrypted anew. In everything but the type an ActIBEEncrypt.
class ActIBEReEncrypt : public ActIBEEncrypt {
public:
    static bool init(GlobalSetting& settings, LogMsg& log);

    ActionType getType() const override { return ActionType::IBEReEncrypt; }
};

// The message is to be decrypted. Never built from stored settings: its settings operations, and init(), log
// an error. takeAction() clears msgConsumed and says whether there was a message.
class ActIBEDecrypt : public PlainAction {
public:
    static bool init(GlobalSetting& settings, LogMsg& log);

    bool construct(const char* setting, unsigned length) override;
    std::string serialize() override;
    ActionType getType() const override { return ActionType::IBEDecrypt; }
    bool takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& msgConsumed,
                    TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                    const NamedObjMgrForScanner& namedObjects) override;
};

} // namespace quzo
