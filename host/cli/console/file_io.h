// File descriptors: an owner, and reading and writing that finish what they start.
#pragma once

#include <unistd.h>

#include <cstddef>
#include <string_view>
#include <utility>

namespace quzo::host {

// Owns a file descriptor; -1 is none.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int number) : number_(number) {}
    FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            close();
            number_ = std::exchange(other.number_, -1);
        }
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() { close(); }

    int get() const { return number_; }
    explicit operator bool() const { return number_ >= 0; }

    // Gives it to another owner.
    int release() { return std::exchange(number_, -1); }

    // Closes it now. Returns 0 or an errno value: some file systems report a failed write only here.
    int close();

private:
    int number_ = -1;
};

// Reads up to `room` bytes. Returns how many, 0 at the end, -1 with errno set. Interruptions are
// passed over. As soon as the descriptor `wakeUp` can be read (-1: never), nothing more is waited for or
// read: -1 with ECANCELED.
ssize_t readSome(int descriptor, char* target, std::size_t room, int wakeUp = -1);

// Writes everything. Returns 0 or an errno value; then part of it may have been written.
int writeAll(int descriptor, std::string_view bytes);

} // namespace quzo::host
