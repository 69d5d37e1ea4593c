// Everything that the program knows, for tools and tests: `quzo help --json`.
#pragma once

#include <string>
#include <vector>

#include "host/cli/help/command_tree.h"

namespace quzo::host {

// One JSON object in ASCII with a line feed at its end. docs/cli.md has its keys.
std::string everythingKnown(const std::vector<DescribedCommand>& commands);

} // namespace quzo::host
