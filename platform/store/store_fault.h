// What can go wrong with the store of named objects, and what each operation of it returns.
#pragma once

#include <exception>
#include <string>
#include <utility>

#include "platform/base/result.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {

enum class StoreTrouble {
    // The request: another one may do.
    BadArgument,
    BadText,          // bytes that are no UTF-8, a NUL, a control character in a name
    TooLong,          //
    ReservedName,     // "OPP:..."
    NameTaken,        // of that tenant and kind
    NotFound,         // no such object, or no such version of it
    ChangedMeanwhile, // the object is no longer at the expected revision
    InUse,            // a rule refers to the object
    ReadOnlyObject,   //
    // The moment: the same request may do later.
    Locked,      // another program holds the database, for longer than the wait
    Unreachable, // the server does not answer, or went away
    NoSpace,     //
    InputOutput, //
    NoMemory,    //
    // The settings: somebody has to change something first.
    Absent,        // not there, and not to be made
    BadConnection, // no connection string, or one that cannot be read
    CannotOpen,    // a missing folder or database, a refused password, a file that is gone
    NotAStore,     // a database of something else, or of an unsuitable encoding
    NewerFormat,   // written by a newer program
    ReadOnlyStore, //
    NotAllowed,    // the database user lacks a right
    Damaged,       //
    Refused,       // an answer of the database that is not expected
};

// What helps; in terms of sysexits: 65 or 64, 75, 78.
enum class StoreRemedy { ChangeRequest, TryAgain, Configure };

struct StoreFault {
    StoreTrouble trouble = StoreTrouble::Refused;
    // One line for an administrator: what is wrong and, where it helps, what to do. Printable UTF-8. Holds
    // neither passwords nor SQL.
    std::string text;

    KvMsgError code() const;
    StoreRemedy remedy() const;
};

// A value, or why there is none.
template <typename T>
using StoreResult = Result<T, StoreFault>;

// The value of an operation that has none.
struct Nothing {};
using StoreDone = StoreResult<Nothing>;

// How a fault travels inside this folder.
class StoreFailure : public std::exception {
public:
    StoreFailure(StoreTrouble trouble, std::string text) : fault_{trouble, std::move(text)} {}
    explicit StoreFailure(StoreFault fault) : fault_(std::move(fault)) {}

    const char* what() const noexcept override { return fault_.text.c_str(); }
    const StoreFault& fault() const { return fault_; }

private:
    StoreFault fault_;
};

} // namespace quzo::platform
