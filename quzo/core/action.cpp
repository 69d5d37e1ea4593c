// The defaults of the action interface.
//
// They answer for a class that says nothing of its own: no tokens to publish, no named objects, and
// ids that nobody can read. Every concrete class overrides the last one, so a class that forgot it
// shows itself by answering false.
#include "quzo/core/action.h"

namespace quzo {

void QuzoAction::fillInTokenMap(TokenMap<ScanToken>& /*tokens*/,
                                const NamedObjMgrForScanner& /*namedObjects*/) {}

bool QuzoAction::hasNamedObjects() { return false; }

bool QuzoAction::getNamedObjectIds(const std::string& setting, std::vector<unsigned>& ids) {
    return getNamedObjectIds(setting.data(), static_cast<int>(setting.size()), ids);
}

bool QuzoAction::getNamedObjectIds(const char* /*setting*/, int /*length*/, std::vector<unsigned>& /*ids*/) {
    return false;
}

} // namespace quzo
