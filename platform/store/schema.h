// The tables of the store and their versions.
#pragma once

#include "platform/store/database.h"

namespace quzo::platform {

// The version that this program reads and writes.
constexpr long long kSchemaVersion = 2;

// Makes the tables where there are none and brings older ones up to this version, all in one transaction and
// in one process at a time. Throws StoreFailure: NewerFormat for a store of a later version, NotAStore for a
// file that holds something else.
//
// Without `make` nothing is changed: no tables are the fault Absent, and older ones stay, in which objects
// can be looked up all the same.
void prepareSchema(Database& database, bool make);

} // namespace quzo::platform
