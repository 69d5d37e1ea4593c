// What all administration-side action objects have in common: they never act.
#include "quzo/settings/ui_action.h"

namespace quzo {

bool UiAction::takeAction(KvMsgMailMessage* /*msg*/, const KvMsgMailMessage* /*originalMsg*/,
                          bool& /*msgConsumed*/, TokenMap<ScanToken>& /*tokens*/, KvIsAdapter& /*adapter*/,
                          const NamedObjMgrForScanner& /*namedObjects*/) {
    return false;
}

bool UiActionWithoutObjects::getNamedObjectIds(const char* /*setting*/, int /*length*/,
                                               std::vector<unsigned>& /*ids*/) {
    return true;
}

} // namespace quzo
