// A file that is prepared under a name of its own and gets its real one when it is whole.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/queue/file_system.h"

namespace quzo::platform {

// Results are 0 or an errno value. Removed when it goes without having been published. The directory outlives
// it. For one thread.
class TemporaryFile {
public:
    TemporaryFile(FileSystem& files, int directory, std::string name)
        : files_(files), directory_(directory), name_(std::move(name)) {}
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile();

    int create();
    // Small pieces are collected. After a failure every further call gives the same error.
    int append(std::string_view piece);
    int flush();
    // The three at once.
    int write(std::string_view content);
    // Makes the content survive a crash. flush() comes first.
    int sync();
    std::uint64_t size() const { return size_; }

    // Gives it its name: EEXIST when that is taken, or in place of what has it.
    int publish(const std::string& name);
    int replace(const std::string& name);

private:
    FileSystem& files_;
    int directory_;
    std::string name_; // empty when there is nothing to remove
    FileHandle file_;
    std::string buffer_;
    std::uint64_t size_ = 0;
    int error_ = 0;
};

} // namespace quzo::platform
