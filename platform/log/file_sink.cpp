// See file_sink.h.
#include "platform/log/file_sink.h"

#include <fcntl.h>
#include <spdlog/sinks/base_sink.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <utility>

#include "platform/base/owner_of_new_file.h"

namespace quzo::platform {
namespace {

constexpr mode_t kMode = 0640; // subjects and addresses are nobody else's business
constexpr int kFlags = O_WRONLY | O_APPEND | O_CLOEXEC | O_NOCTTY;

// A link in somebody else's folder leads the superuser only where that somebody may write himself.
int openThere(const char* path) {
    const int descriptor = ::open(path, kFlags | (::geteuid() == 0 ? O_NOFOLLOW : 0));
    return descriptor < 0 && errno == ELOOP ? openAsOwner(AT_FDCWD, path, kFlags, 0) : descriptor;
}

class FileSink final : public spdlog::sinks::base_sink<std::mutex> {
public:
    FileSink(std::string path, bool make) : path_(std::move(path)), make_(make), descriptor_(open()) {
        error_ = descriptor_ < 0 ? errno : 0;
    }
    ~FileSink() override {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }

    // 0 or an errno value.
    int error() const { return error_; }

protected:
    void sink_it_(const spdlog::details::log_msg& message) override;
    void flush_() override {}

private:
    int open() const;
    bool movedAway() const;

    std::string path_;
    bool make_;
    int descriptor_;
    int error_ = 0;
};

// A descriptor, or -1 with errno.
int FileSink::open() const {
    const int descriptor = openThere(path_.c_str());
    return descriptor < 0 && errno == ENOENT && make_
               ? openAsOwner(AT_FDCWD, path_.c_str(), kFlags | O_CREAT, kMode)
               : descriptor;
}

bool FileSink::movedAway() const {
    struct stat here {};
    struct stat there {};
    return ::stat(path_.c_str(), &there) != 0 || ::fstat(descriptor_, &here) != 0 ||
           there.st_dev != here.st_dev || there.st_ino != here.st_ino;
}

void FileSink::sink_it_(const spdlog::details::log_msg& message) {
    if (movedAway()) {
        if (const int descriptor = open(); descriptor >= 0) {
            ::close(std::exchange(descriptor_, descriptor));
        }
    }
    spdlog::memory_buf_t line;
    formatter_->format(message, line);
    for (std::size_t done = 0; done < line.size();) {
        const ssize_t count = ::write(descriptor_, line.data() + done, line.size() - done);
        if (count < 0 && errno != EINTR) {
            throw spdlog::spdlog_ex("cannot write", errno);
        }
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

} // namespace

std::shared_ptr<spdlog::sinks::sink> makeFileSink(const std::string& path, bool make, int& error) {
    auto sink = std::make_shared<FileSink>(path, make);
    error = sink->error();
    return error == 0 ? sink : nullptr;
}

} // namespace quzo::platform
