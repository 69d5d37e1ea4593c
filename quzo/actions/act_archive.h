// Copying a message into an archive area.
#pragma once

#include <string>

#include "quzo/core/settings_source.h"
#include "quzo/settings/action_n.h"

namespace quzo {

class LogMsg;

// Hands a copy of the message, as it now stands, to the adapter for the area that the first named-object id
// names; further ids are ignored. The message goes on: msgConsumed is not touched, and no mark is written.
// Asks for the original message by tradition, but stores the one that will be delivered.
//
// Tokens: 66 the area's id, 67 its description, 68 its aging.
class ActArchive : public QuzoActionN {
public:
    ActArchive() : QuzoActionN(ActionType::Archive, true) {}

    // Reads "queue_archive" of "general"; true when it is there.
    static bool init(GlobalSetting& settings, LogMsg& log);

    ActionType getType() const override { return ActionType::Archive; }
    bool requiresOriginalMsg() override { return true; }
    bool takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& msgConsumed,
                    TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                    const NamedObjMgrForScanner& namedObjects) override;
};

} // namespace quzo
