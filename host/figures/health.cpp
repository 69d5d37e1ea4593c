// See health.h.
#include "host/figures/health.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string_view>
#include <system_error>

#include "host/base/exit_code.h"
#include "platform/queue/file_system.h"

namespace quzo::host {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostFaults = 20;

// The directory, or the nearest above it as long as it is not there: the queue makes it when it needs it.
fs::path nearestThere(fs::path directory) {
    std::error_code unknown;
    while (fs::status(directory, unknown).type() == fs::file_type::not_found &&
           directory.has_relative_path()) {
        directory = directory.parent_path();
    }
    return directory.empty() ? "." : directory;
}

// Makes a file there and writes a block, which a full disk refuses. 0 or an errno value.
int tryToWrite(const fs::path& directory) {
    std::string name = (directory / ".writable-XXXXXX").string();
    const int made = ::mkostemp(name.data(), O_CLOEXEC);
    if (made < 0) {
        return errno;
    }
    platform::FileSystem& files = platform::FileSystem::real();
    const platform::FileHandle file(files, made);
    const int error = files.unlink(AT_FDCWD, name.c_str());
    static constexpr std::array<char, 4096> kBlock{};
    const int writeError = files.writeAll(made, std::string_view(kBlock.data(), kBlock.size()));
    return writeError != 0 ? writeError : error;
}

} // namespace

void Health::reloaded(const Faults& findings) {
    std::vector<std::string> lines;
    for (const Fault& fault : findings) {
        if (fault.isError() && lines.size() < kMostFaults) {
            lines.push_back("not loaded anew: " + fault.line());
        }
    }
    const std::scoped_lock lock(mutex_);
    reloadFaults_ = std::move(lines);
}

void Health::lookAtQueues() {
    std::set<fs::path> places;
    for (const platform::QueueKind kind : platform::kQueueKinds) {
        if (const platform::QueueStore* store = installation_.queues()->find(kind)) {
            places.insert(nearestThere(store->directory()));
        }
    }
    queueFaults_.clear();
    for (const fs::path& place : places) {
        if (const int error = tryToWrite(place)) {
            queueFaults_.push_back(
                systemFault(kExitInputOutput, place.string(), "cannot be written to", error).line());
        }
    }
}

std::vector<std::string> Health::faults() {
    const std::scoped_lock lock(mutex_);
    const auto now = std::chrono::steady_clock::now();
    if (!everLooked_ || now - looked_ >= fresh_) {
        lookAtQueues();
        everLooked_ = true;
        looked_ = now;
    }
    std::vector<std::string> all = reloadFaults_;
    all.insert(all.end(), queueFaults_.begin(), queueFaults_.end());
    if (installation_.snapshot() == nullptr) {
        all.emplace_back("there is no policy");
    }
    return all;
}

} // namespace quzo::host
