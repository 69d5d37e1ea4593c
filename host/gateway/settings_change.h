// Which changes of settings a running program cannot follow.
#pragma once

#include <string>
#include <vector>

#include "platform/config/ini_file.h"

namespace quzo::host {

// The keys, as "[section] key", that differ between the two files and are read at the start of a program
// only: all but those of a snapshot (host/gateway/snapshot.h).
std::vector<std::string> keysForRestart(const platform::IniFile& before, const platform::IniFile& after);

} // namespace quzo::host
