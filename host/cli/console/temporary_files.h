// Files that must not be left behind by a run that is interrupted.
#pragma once

#include <sys/types.h>

#include <string>

#include "host/cli/console/file_io.h"

namespace quzo::host {

// A file that gets its name when it is whole, and is gone without a trace otherwise, also when the run is
// interrupted. Any thread, one at a time.
class TemporaryFile {
public:
    // Creates `path`, which must not exist, for writing. `mode` is less the umask. error() tells how that
    // went.
    explicit TemporaryFile(std::string path, mode_t mode = 0666);
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile();

    // 0, or the errno value for which there is no file.
    int error() const { return error_; }
    int descriptor() const { return file_.get(); }

    // Closes it and gives it its name, replacing what bears it; with `sync` its content is on the disk
    // before. Returns 0 or an errno value. Once.
    int publish(const std::string& finalPath, bool sync);

private:
    std::string path_; // empty when there is nothing to remove
    FileDescriptor file_;
    int error_ = 0;
};

// Removes every temporary file that there is. From then on none can be created: whoever tries waits for the
// end of the process, which must follow at once.
void removeTemporariesForGood();

} // namespace quzo::host
