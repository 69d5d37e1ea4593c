// Whose turn it is to tidy a queue up: once an hour somebody's, of however many processes there are.
#pragma once

#include <cstdint>
#include <string>

#include "platform/queue/file_system.h"

namespace quzo::platform {

// A file ".tidied" in the queue's directory bears the time of the last tidying and is locked by whoever is at
// it, so a process that is killed leaves the turn to the next. Times are seconds since 1970. For one thread.
class TidyTurn {
public:
    // `files` outlives it; `queue` is the name for the log.
    TidyTurn(FileSystem& files, std::string queue, std::string directory)
        : files_(files), queue_(std::move(queue)), directory_(std::move(directory)) {}

    // Whether the queue is there and is to be tidied up now, by the caller. True as well when the file cannot
    // be had: rather too often than never.
    bool take(std::int64_t now);

    // After take(), however the work came out.
    void finish(std::int64_t now);

private:
    int openStamp(const FileHandle& root);

    FileSystem& files_;
    std::string queue_;
    std::string directory_;
    FileHandle stamp_;
    bool fresh_ = false; // never finished by anybody
};

} // namespace quzo::platform
