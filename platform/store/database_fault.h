// From a database's error to a line for an administrator.
#pragma once

#include <exception>

#include "platform/store/connection_target.h"
#include "platform/store/store_fault.h"

namespace soci {
class session;
}

namespace quzo::platform {

struct FailureContext {
    const ConnectionTarget& target;
    soci::session* session; // null: the failure was to get one
    unsigned waitSeconds;
    bool lost;       // the session is dead
    bool committing; // a commit was on its way
};

// For what SOCI throws. May throw std::bad_alloc.
StoreFault explainFailure(const FailureContext& context, const std::exception_ptr& problem);

} // namespace quzo::platform
