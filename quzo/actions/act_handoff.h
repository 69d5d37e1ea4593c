// Handing a message to another mail server.
#pragma once

#include <string>

#include "quzo/actions/plain_action.h"
#include "quzo/core/settings_source.h"

namespace quzo {

class LogMsg;

// Gives the message to the adapter, to be delivered to one configured server instead of the usual way.
// Without a host or with port 0 nothing happens and the result is false. Otherwise msgConsumed is set,
// whatever the adapter says; the message is gone only when the result is true as well.
class ActHandoff : public PlainAction {
public:
    // Reads "RemoveQuzoMsgID" of "MessageModule"; true always.
    static bool init(GlobalSetting& settings, LogMsg& log);

    // What "RemoveQuzoMsgID" says, false without it. Kept for the host: no action looks at it.
    static bool removesMessageId();

    // The text of uiHandoff. A refused one is logged at level 1.
    bool construct(const char* setting, unsigned length) override;
    std::string serialize() override;
    ActionType getType() const override { return ActionType::Handoff; }
    bool takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& msgConsumed,
                    TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                    const NamedObjMgrForScanner& namedObjects) override;

private:
    std::string host; // address or name
    unsigned port = 0;
};

} // namespace quzo
