// Writing one configured header field.
#pragma once

#include <string>

#include "quzo/actions/plain_action.h"
#include "quzo/core/settings_source.h"

namespace quzo {

class LogMsg;

// Sets a field of the message's own header to a fixed value: no token is replaced, no charset converted. A
// message that cannot take the field is left as it is and takeAction() returns false (said at level 2).
class ActInsertXHeaderTag : public PlainAction {
public:
    static bool init(GlobalSetting& settings, LogMsg& log);

    // The text of uiInsertXHeaderTag. A text that it refuses is logged at level 1; an empty one is just
    // refused.
    bool construct(const char* setting, unsigned length) override;
    std::string serialize() override;
    ActionType getType() const override { return ActionType::InsertXHeaderTag; }
    bool takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& msgConsumed,
                    TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                    const NamedObjMgrForScanner& namedObjects) override;

private:
    std::string headerName;
    std::string headerValue;
};

} // namespace quzo
