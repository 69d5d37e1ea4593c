// Deleting a message: the adapter does it, and only its success makes the message gone.
#include "quzo/actions/act_delete.h"

#include "quzo/core/adapter.h"
#include "quzo/core/guard.h"
#include "quzo/core/log.h"

namespace quzo {

bool ActDelete::init(GlobalSetting& /*settings*/, LogMsg& /*log*/) { return true; }

bool ActDelete::construct(const char* /*setting*/, unsigned /*length*/) { return true; }

std::string ActDelete::serialize() { return {}; }

bool ActDelete::takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* /*originalMsg*/, bool& msgConsumed,
                           TokenMap<ScanToken>& /*tokens*/, KvIsAdapter& adapter,
                           const NamedObjMgrForScanner& /*namedObjects*/) {
    return guarded("ActDelete::takeAction", false, [&] {
        unsigned error = 0;
        adapter.deleteMessage(error, msg);
        if (error != 0) {
            ActionLog::L1("Failed to delete a message, error %u.", error);
            return false;
        }
        msgConsumed = true;
        return true;
    });
}

} // namespace quzo
