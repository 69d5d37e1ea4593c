// See temporary_file.h.
#include "platform/queue/temporary_file.h"

#include <fcntl.h>

namespace quzo::platform {
namespace {

constexpr std::size_t kBuffer = std::size_t{64} << 10U;
constexpr mode_t kMode = 0600;

} // namespace

TemporaryFile::~TemporaryFile() {
    if (file_ && !name_.empty()) {
        files_.unlink(directory_, name_.c_str());
    }
}

int TemporaryFile::create() {
    return error_ = files_.openAt(directory_, name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, kMode,
                                  file_);
}

int TemporaryFile::append(std::string_view piece) {
    size_ += piece.size();
    if (buffer_.size() + piece.size() <= kBuffer) {
        buffer_.append(piece);
        return error_;
    }
    flush();
    if (error_ == 0 && piece.size() > kBuffer) {
        error_ = files_.writeAll(file_.get(), piece);
    } else {
        buffer_.append(piece);
    }
    return error_;
}

int TemporaryFile::flush() {
    if (error_ == 0) {
        error_ = files_.writeAll(file_.get(), buffer_);
    }
    buffer_.clear();
    return error_;
}

int TemporaryFile::write(std::string_view content) {
    if (create() == 0) {
        append(content);
        flush();
    }
    return error_;
}

// Never tried again: after a failure the system forgets which pages were not written.
int TemporaryFile::sync() {
    if (error_ == 0) {
        error_ = files_.sync(file_.get());
    }
    return error_;
}

int TemporaryFile::publish(const std::string& name) {
    const int error = files_.renameNew(directory_, name_.c_str(), name.c_str());
    if (error == 0) {
        name_.clear();
    }
    return error;
}

int TemporaryFile::replace(const std::string& name) {
    const int error = files_.rename(directory_, name_.c_str(), name.c_str());
    if (error == 0) {
        name_.clear();
    }
    return error;
}

} // namespace quzo::platform
