// Holding a message until a time of day.
#pragma once

#include <string>

#include "quzo/actions/plain_action.h"
#include "quzo/core/settings_source.h"

namespace quzo {

class LogMsg;

// Gives the message to the adapter, to be delivered from a configured time of day until the day's end.
// msgConsumed is set at once; the message is gone only when the result is true as well.
class ActPostpone : public PlainAction {
public:
    static bool init(GlobalSetting& settings, LogMsg& log);

    // The text of uiPostpone. A refused one is not logged.
    bool construct(const char* setting, unsigned length) override;
    std::string serialize() override;
    ActionType getType() const override { return ActionType::Postpone; }
    bool takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& msgConsumed,
                    TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                    const NamedObjMgrForScanner& namedObjects) override;

private:
    // As configured. The adapter gets their lowest eight bits and judges those.
    unsigned hour = 0;
    unsigned minute = 0;
};

} // namespace quzo
