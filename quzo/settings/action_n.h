// The base of actions whose settings are a list of named-object ids.
#pragma once

#include <string>
#include <vector>

#include "quzo/core/action.h"

namespace quzo {

// The setting text is the count of ids and then each id, with one separator between: "3-7-12-40". An action
// without ids writes "0-0", which its own reader refuses.
class QuzoActionN : public QuzoAction {
public:
    QuzoActionN(ActionType actionType, bool needsOriginal)
        : type(actionType), requiresOriginal(needsOriginal) {}

    // Fills namedObjIds through the virtual getNamedObjectIds. A failure is logged at level 1.
    bool construct(const char* setting, unsigned length) override;
    std::string serialize() override;
    ActionType getType() const override { return type; }
    bool requiresOriginalMsg() override { return requiresOriginal; }

    // Does nothing and returns false; every derived class overrides it.
    bool takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& msgConsumed,
                    TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                    const NamedObjMgrForScanner& namedObjects) override;

    bool hasNamedObjects() override { return true; }

    using QuzoAction::getNamedObjectIds;
    // Appends the ids of an id list; stops with success as soon as the stated count has been read. False for
    // an empty text, a count of 0, or fewer ids than stated; those read so far stay appended.
    bool getNamedObjectIds(const char* setting, int length, std::vector<unsigned>& ids) override;

    // The ids in the order of the setting. Mutable because the administration side rebinds an action that it
    // is handed as a constant.
    mutable std::vector<unsigned> namedObjIds;
    ActionType type;
    bool requiresOriginal;
};

} // namespace quzo
