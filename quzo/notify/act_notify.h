// Sending notifications.
#pragma once

#include "quzo/core/settings_source.h"
#include "quzo/settings/action_n.h"
#include "quzo/settings/ui_notify_area.h"

namespace quzo {

class LogMsg;

// Sends a notification for each template that the named-object ids name, in their order, and stops at the
// first that fails: those sent before stay sent. A message that is a notification itself, come back through
// the scanner, is left alone with success. msgConsumed is set to false.
class ActNotify : public QuzoActionN {
public:
    ActNotify() : QuzoActionN(ActionType::Notify, true) {}

    // Reads the settings of notifications; true always.
    static bool init(GlobalSetting& settings, LogMsg& log);

    ActionType getType() const override { return ActionType::Notify; }
    bool requiresOriginalMsg() override { return true; }
    bool takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& msgConsumed,
                    TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                    const NamedObjMgrForScanner& namedObjects) override;

    // Composes and sends the mail of one template, then its trap. True when both were done, or were not asked
    // for; a failure is logged. The message is as it was before.
    //
    //   msg          the scanned message; without one (null) tokens stay in the texts
    //   originalMsg  what is attached when the template asks for the message as received; may be null when it
    //                does not
    static bool _runNameObj(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& msgConsumed,
                            TokenMap<ScanToken>& tokens, KvIsAdapter& adapter, const uiNotifyArea& area);
};

} // namespace quzo
