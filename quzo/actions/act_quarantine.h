// Putting a message into a quarantine area.
#pragma once

#include <string>

#include "quzo/core/settings_source.h"
#include "quzo/settings/action_n.h"

namespace quzo {

class LogMsg;

// Hands the message to the adapter for the area that the first named-object id names; further ids are
// ignored. The stored message carries the reprocessing mark, the one that stays with the caller has its rules
// field back as it was. msgConsumed is set at once, whatever follows; the message is gone only when the
// result is true as well.
//
// Tokens: 3 aging, 48 %QUARANTINE_PATH% after success; by fillInTokenMap 49 %QUARANTINE_AREA% and 50, the
// area's id.
class ActQuarantine : public QuzoActionN {
public:
    ActQuarantine() : QuzoActionN(ActionType::Quarantine, false) {}

    // Reads "queue_quarantine" of "general"; true when it is there.
    static bool init(GlobalSetting& settings, LogMsg& log);

    // The path that a message has, or would have, in the quarantine. A null message leaves `path` as it is.
    static void _genQuarantinePath(std::string& path, const KvMsgMailMessage* msg);

    ActionType getType() const override { return ActionType::Quarantine; }
    bool requiresOriginalMsg() override { return false; }
    void fillInTokenMap(TokenMap<ScanToken>& tokens, const NamedObjMgrForScanner& namedObjects) override;
    bool takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& msgConsumed,
                    TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                    const NamedObjMgrForScanner& namedObjects) override;
};

} // namespace quzo
