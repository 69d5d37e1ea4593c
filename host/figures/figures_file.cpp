// See figures_file.h. Nothing is synced: after a power failure a new process writes new figures.
#include "host/figures/figures_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "host/base/exit_code.h"
#include "platform/queue/file_system.h"

namespace quzo::host {

MaybeFault replaceFile(const std::string& path, std::string_view text) {
    constexpr mode_t kMode = 0644; // the collector is another user
    platform::FileSystem& files = platform::FileSystem::real();
    const std::string made = path + ".new";
    platform::FileHandle file;
    files.unlink(AT_FDCWD, made.c_str()); // of a process that was killed, whoever's it was
    int error = files.openAt(AT_FDCWD, made.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, kMode, file);
    if (error == 0 && ::fchmod(file.get(), kMode) != 0) {
        error = errno;
    }
    if (error == 0) {
        error = files.writeAll(file.get(), text);
    }
    if (error == 0) {
        error = files.rename(AT_FDCWD, made.c_str(), path.c_str());
    }
    return error != 0 ? MaybeFault(systemFault(kExitCannotCreate, path, "cannot be written", error))
                      : std::nullopt;
}

} // namespace quzo::host
