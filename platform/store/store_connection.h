// The store that the library's own functions use.
#pragma once

#include "platform/store/object_store.h"
#include "quzo/core/rdbms.h"

namespace quzo::platform {

// Sets where RdbmsInterface connects to and who makes its changes; nothing is opened yet. Without it every
// function that needs the store fails. Part of initialisation: not while other threads use the store.
void setStoreConnection(const StoreSettings& settings);

// The store behind a connection, opened at the first call. The reference lives as long as `connection`. Null
// when it cannot be opened: lastStoreFault() says why, and the next call tries again. May throw
// std::bad_alloc.
ObjectStore* storeOf(RdbmsInterface& connection);

// Why the last of QuzoNamedObj's store functions that failed in this thread did. Their results are bare
// codes, and they log nothing.
const StoreFault& lastStoreFault();

} // namespace quzo::platform
