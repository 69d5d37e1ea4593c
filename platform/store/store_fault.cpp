// From troubles to the platform's error numbers and to remedies.
#include "platform/store/store_fault.h"

namespace quzo::platform {

KvMsgError StoreFault::code() const {
    switch (trouble) {
        case StoreTrouble::BadArgument:
        case StoreTrouble::ReservedName:
        case StoreTrouble::BadConnection:
            return kErrorInvalidArgument;
        case StoreTrouble::BadText:
            return kErrorMalformedText;
        case StoreTrouble::TooLong:
            return kErrorLimit;
        case StoreTrouble::NameTaken:
        case StoreTrouble::ChangedMeanwhile:
        case StoreTrouble::InUse:
            return kErrorExists;
        case StoreTrouble::NotFound:
        case StoreTrouble::Absent:
            return kErrorNotFound;
        case StoreTrouble::ReadOnlyObject:
        case StoreTrouble::NotAStore:
        case StoreTrouble::NewerFormat:
            return kErrorNotSupported;
        case StoreTrouble::Locked:
        case StoreTrouble::Unreachable:
        case StoreTrouble::InputOutput:
        case StoreTrouble::CannotOpen:
        case StoreTrouble::ReadOnlyStore:
        case StoreTrouble::NotAllowed:
        case StoreTrouble::Damaged:
            return kErrorInputOutput;
        case StoreTrouble::NoSpace:
            return kErrorNoSpace;
        case StoreTrouble::NoMemory:
            return kErrorNoMemory;
        case StoreTrouble::Refused:
            return kErrorInternal;
    }
    return kErrorInternal;
}

StoreRemedy StoreFault::remedy() const {
    if (trouble <= StoreTrouble::ReadOnlyObject) {
        return StoreRemedy::ChangeRequest;
    }
    return trouble <= StoreTrouble::NoMemory ? StoreRemedy::TryAgain : StoreRemedy::Configure;
}

} // namespace quzo::platform
