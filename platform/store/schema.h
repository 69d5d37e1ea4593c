// The tables of the store and their versions.
#pragma once

#include "platform/store/database.h"
#include "platform/store/store_format.h"

namespace quzo::platform {

// The version that this program reads and writes.
constexpr long long kSchemaVersion = 2;

// Makes the tables where there are none and brings older ones up to this version, all in one transaction and
// in one process at a time. Before an older SQLite store is touched, a copy of it is made beside it
// (store_copy.h). Gives what was found and what was made of it. Throws StoreFailure: NewerFormat for a store
// of a later version, NotAStore for a file that holds something else.
//
// Without `make` nothing is changed: no tables are the fault Absent, and older ones stay, in which objects
// can be looked up all the same.
StoreFormat prepareSchema(Database& database, bool make);

} // namespace quzo::platform
