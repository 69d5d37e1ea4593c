// See queue_errors.h.
#include "platform/queue/queue_errors.h"

#include <cerrno>
#include <system_error>

#include "quzo/core/error_text.h"
#include "quzo/core/log.h"

namespace quzo::platform {

int platformError(int errnoValue) {
    switch (errnoValue) {
        case 0:
            return kErrorNone;
        case ENOSPC:
        case EDQUOT:
            return kErrorNoSpace;
        case EEXIST:
            return kErrorExists;
        case ENOENT:
            return kErrorNotFound;
        case ENOMEM:
            return kErrorNoMemory;
        case EFBIG:
            return kErrorLimit;
        default:
            return kErrorInputOutput;
    }
}

int reportError(const char* queue, const char* what, const char* id, int errnoValue) {
    if (errnoValue != 0) {
        ActionLog::L1("Queue %s: %s %s: %s.", queue, what, id,
                      std::system_category().message(errnoValue).c_str());
    }
    return platformError(errnoValue);
}

} // namespace quzo::platform
