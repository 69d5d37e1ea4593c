// Deleting a message.
#pragma once

#include <string>

#include "quzo/actions/plain_action.h"
#include "quzo/core/settings_source.h"

namespace quzo {

class LogMsg;

// Removes the message from the queue through the adapter; it is not delivered. Has no settings: construct()
// accepts anything. When the adapter fails, takeAction() returns false and leaves msgConsumed alone, so the
// message goes on as if no delete had been asked for.
class ActDelete : public PlainAction {
public:
    static bool init(GlobalSetting& settings, LogMsg& log);

    bool construct(const char* setting, unsigned length) override;
    std::string serialize() override;
    ActionType getType() const override { return ActionType::Delete; }
    bool takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& msgConsumed,
                    TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                    const NamedObjMgrForScanner& namedObjects) override;
};

} // namespace quzo
