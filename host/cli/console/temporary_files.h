// Files that must not be left behind by a run that is interrupted.
#pragma once

#include <sys/types.h>

#include <string>

#include "host/cli/console/file_io.h"

namespace quzo::host {

// Creates `path` for writing, which must not exist, and remembers it until it is renamed or removed. `mode`
// is less the umask. Returns the descriptor; none with errno set. Any thread.
FileDescriptor createTemporary(const std::string& path, mode_t mode = 0666);

// Gives a temporary file its final name, replacing what bears it. Returns 0 or an errno value, and then
// the temporary file is still there. Any thread.
int publishTemporary(const std::string& path, const std::string& finalPath);

// Removes a temporary file. Any thread.
void removeTemporary(const std::string& path);

// Removes every temporary file that there is. From then on none can be created: whoever tries waits for the
// end of the process, which must follow at once.
void removeTemporariesForGood();

} // namespace quzo::host
