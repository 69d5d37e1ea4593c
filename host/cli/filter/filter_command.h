// quzo filter: one message from a mail server, through the policy, and on.
#pragma once

#include "host/cli/console/console.h"
#include "host/cli/filter/filter_options.h"

namespace quzo::host {

// Reads the message from standard input. Returns 0 when it has gone on, or is in a queue on the disk: the
// mail server may forget it. 65 when it is beyond a limit, or no mail, and the settings say to refuse such.
// 75 otherwise, and then the mail server still has it. What is wrong has been said on standard error; the
// first line there never begins with a status code, which a mail server would believe. Never throws.
int runFilter(const FilterOptions& options, Console& console) noexcept;

} // namespace quzo::host
