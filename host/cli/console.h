// Where a command writes.
#pragma once

#include "host/cli/error_output.h"
#include "host/cli/standard_output.h"

namespace quzo::host {

// Used by the main thread only.
struct Console {
    StandardOutput out;
    ErrorOutput err;
};

} // namespace quzo::host
