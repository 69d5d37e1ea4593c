// Sending suspicious parts of a message to the feedback mailbox.
#pragma once

#include <string>

#include "quzo/actions/plain_action.h"
#include "quzo/core/settings_source.h"

namespace quzo {

class KvMsgEntity;
class LogMsg;

// Sends each entity that the scanner has marked as a sample (token 2) to the feedback mailbox, in a mail of
// its own whose subject tells the versions of the scan engine and its patterns. The message itself stays as
// it is and goes on; msgConsumed is never written. Has no settings: construct() accepts anything.
class ActFerrowick : public PlainAction {
public:
    // Reads "queue_notify" and "quzo_home" of "general" and, below the latter, config/scanner.info. False
    // when one of the two is missing; without the file the subject tells no versions.
    static bool init(GlobalSetting& settings, LogMsg& log);

    // The address that feedback goes to: chosen when this was built (QUZO_FEEDBACK_MAILBOX). Never null.
    static const char* feedbackMailbox();
    // Whether that is an address somebody chose: the one of a build without any is below "invalid", where no
    // mail arrives, and feedback must not be allowed then.
    static bool hasFeedbackMailbox();

    bool construct(const char* /*setting*/, unsigned /*length*/) override { return true; }
    std::string serialize() override { return {}; }
    ActionType getType() const override { return ActionType::Ferrowick; }
    bool takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& msgConsumed,
                    TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                    const NamedObjMgrForScanner& namedObjects) override;

    // Sends one entity, which must not be null and must exist. True when the mail was made, whatever the
    // adapter said of it.
    static bool _do_Corvane_Feedback(KvMsgEntity* entity, KvIsAdapter& adapter);
};

} // namespace quzo
