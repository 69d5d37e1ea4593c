// Removing attachments from a message, or the whole message when all of it is infected.
#pragma once

#include <string>

#include "quzo/actions/plain_action.h"
#include "quzo/core/settings_source.h"

namespace quzo {

class LogMsg;

// Removes the entities that the scanner has marked (token 0), or every attachment. What is done is told to
// later actions in token 52 (%VIRUSACTION%), in the installation's language, as long as a virus name (token
// 51) is there.
//
// With a virus name and token 7 beginning with '1' the message is deleted through the adapter, and
// msgConsumed set. Without a virus name the message's body is never removed; with one, a root that is listed
// is emptied.
class ActDeleteAttachment : public PlainAction {
public:
    static bool init(GlobalSetting& settings, LogMsg& log);

    // "T" for all attachments; everything else for the marked ones. True always; `setting` must not be null.
    bool construct(const char* setting, unsigned length) override;
    std::string serialize() override;
    ActionType getType() const override { return ActionType::DeleteAttachment; }
    bool takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& msgConsumed,
                    TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                    const NamedObjMgrForScanner& namedObjects) override;

    // Also set, for good, by a message with token 8 beginning with '1'.
    bool deleteAll = false;
};

} // namespace quzo
