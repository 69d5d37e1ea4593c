// Platform error numbers and their texts.
#pragma once

namespace quzo {

// The numbers that the platform's operations report. 0 is success everywhere.
enum KvMsgError : int {
    kErrorNone = 0,
    kErrorInvalidArgument = 1, // null, out of range, or a text that may not stand there
    kErrorNoMemory = 2,        //
    kErrorUnknownCharset = 3,  // no converter of that name
    kErrorMalformedText = 4,   // bytes that are no text of the charset they claim
    kErrorUnmappable = 5,      // a character that the target charset does not have
    kErrorMalformedEntity = 6, // an entity without a readable header block, or cut by a limit
    kErrorNotFound = 7,        //
    kErrorLimit = 8,           // more than a limit allows
    kErrorNotSupported = 9,    // this build cannot do it
    kErrorInputOutput = 10,    //
    kErrorNoSpace = 11,        // the disk is full
    kErrorExists = 12,         // something of that name is there already
    kErrorInternal = 13,       //
};

namespace KVMSGERR {

// The text of an error number, for log lines: never null, static storage, any number is allowed.
const char* I2A(int error);

} // namespace KVMSGERR

} // namespace quzo
