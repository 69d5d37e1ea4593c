// Why a PostgreSQL server does not take us.
#pragma once

#include "platform/store/connection_target.h"
#include "platform/store/store_fault.h"

namespace quzo::platform {

// Connects once more, for at most three seconds, and tells what stands in the way. May throw std::bad_alloc.
StoreFault diagnosePostgres(const ConnectionTarget& target);

} // namespace quzo::platform
