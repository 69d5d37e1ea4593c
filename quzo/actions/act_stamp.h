// Inserting a stamp (a disclaimer) into a message.
#pragma once

#include <string>

#include "quzo/core/settings_source.h"
#include "quzo/settings/action_n.h"
#include "quzo/settings/ui_stamp_area.h"

namespace quzo {

class LogMsg;

// Inserts the text of the stamp area that the first named-object id names; further ids are ignored. Messages
// with TNEF content, signed and encrypted ones are left alone, with success, unless the area allows them.
// msgConsumed is never written.
class ActStamp : public QuzoActionN {
public:
    ActStamp() : QuzoActionN(ActionType::Stamp, false) {}

    // Reads the settings of stamps; true always.
    static bool init(GlobalSetting& settings, LogMsg& log);

    // Divides lines that are longer in `charset` than the line limit. See divideLongLines().
    static bool modifyIfHasLimitLine(std::string& text, const char* charset);

    ActionType getType() const override { return ActionType::Stamp; }
    bool requiresOriginalMsg() override { return false; }
    bool takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& msgConsumed,
                    TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                    const NamedObjMgrForScanner& namedObjects) override;

    // The stamping proper. Neither pointer may be null. The area keeps what is made of its text: line breaks
    // for the bytes 0x03, and blank lines in front, which are added each time that it is used.
    static bool takeAction(KvMsgMailMessage* msg, TokenMap<ScanToken>& tokens, uiStampArea* area);
};

} // namespace quzo
