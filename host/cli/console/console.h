// Where a command writes.
#pragma once

#include "host/cli/console/error_output.h"
#include "host/cli/console/standard_output.h"

namespace quzo::host {

// Used by the main thread only.
struct Console {
    StandardOutput out;
    ErrorOutput err;
};

} // namespace quzo::host
