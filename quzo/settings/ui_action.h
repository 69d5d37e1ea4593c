// The base of the administration side's action objects.
#pragma once

#include "quzo/core/action.h"

namespace quzo {

// A ui object holds the settings of one action, writes and reads its setting text, and never acts on a
// message: takeAction() returns false and touches nothing. The scanner-side action of the same type reads its
// settings through it, so the ui class is the one definition of the text.
class UiAction : public QuzoAction {
public:
    bool requiresOriginalMsg() override { return false; }
    bool takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& msgConsumed,
                    TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                    const NamedObjMgrForScanner& namedObjects) override;
};

// The same for the classes that answer, of any setting, that it refers to no named objects.
class UiActionWithoutObjects : public UiAction {
public:
    using QuzoAction::getNamedObjectIds;
    bool getNamedObjectIds(const char* setting, int length, std::vector<unsigned>& ids) override;
};

} // namespace quzo
