// The texts of the platform's error numbers, as they stand in log lines.
#include "quzo/core/error_text.h"

namespace quzo {

const char* KVMSGERR::I2A(int error) {
    switch (static_cast<KvMsgError>(error)) {
        case kErrorNone:
            return "no error";
        case kErrorInvalidArgument:
            return "invalid argument";
        case kErrorNoMemory:
            return "out of memory";
        case kErrorUnknownCharset:
            return "unknown charset";
        case kErrorMalformedText:
            return "text is malformed for its charset";
        case kErrorUnmappable:
            return "character is not in the target charset";
        case kErrorMalformedEntity:
            return "malformed entity";
        case kErrorNotFound:
            return "not found";
        case kErrorLimit:
            return "limit exceeded";
        case kErrorNotSupported:
            return "not supported";
        case kErrorInputOutput:
            return "input/output error";
        case kErrorNoSpace:
            return "no space left";
        case kErrorExists:
            return "already exists";
        case kErrorInternal:
            return "internal error";
    }
    return "unknown error";
}

} // namespace quzo
