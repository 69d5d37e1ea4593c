// The small subcommands; apply, object and queue have rooms of their own. Each writes to the console and
// returns an exit code; standard output is finished by the caller.
#pragma once

#include "host/cli/console/console.h"
#include "host/cli/options.h"

namespace quzo::host {

int runCheck(const CheckOptions& options, Console& console);
int runConfigShow(const ConfigShowOptions& options, Console& console);
int runTokens(const TokensOptions& options, Console& console);
int runEncode(const EncodeOptions& options, Console& console);
int runDecode(const DecodeOptions& options, Console& console);
int runVersion(Console& console);

} // namespace quzo::host
