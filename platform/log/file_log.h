// The log of the programs: one line a record, to standard error or to a file.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "quzo/core/log.h"

namespace spdlog {
class logger;
}

namespace quzo::platform {

// Lines look like "2024-05-01T12:00:00.123+02:00 [4711] error: SUBJECT: TEXT": the time with its distance
// from UTC, the process, what the thread works on (platform/log/log_subject.h) where that is known. The words
// for levels 1, 2 and 3 are error, notice and detail. Every line is flushed, since the last ones before a
// crash are the ones that count.
//
// write() may be called from any thread. It never throws, whatever happens to the file: lines that could not
// be written are counted.
class FileLog final : public LogMsg {
public:
    // `target` is "stderr" or the path of a file, which is appended to (and made with mode 0640); `maxLevel`
    // is 0 (nothing) to 3. Without `make` a file that is not there is not made, and the lines go nowhere.
    // Null when the file cannot be opened, or could not be made, with the reason in `problem`.
    static std::unique_ptr<FileLog> open(const std::string& target, int maxLevel, std::string& problem,
                                         bool make = true);

    ~FileLog() override;
    FileLog(const FileLog&) = delete;
    FileLog& operator=(const FileLog&) = delete;

    // What visibleText() would not leave alone is escaped. A line is cut at kMaxLine bytes.
    void write(int lineLevel, const char* format, ...) override __attribute__((format(printf, 3, 4)));

    // Lines that could not be written.
    std::uint64_t lost() const { return lost_.load(); }

    static constexpr unsigned kMaxLine = 8191;

private:
    explicit FileLog(std::shared_ptr<spdlog::logger> logger);
    void writeLine(int lineLevel, std::string_view line) noexcept;

    std::shared_ptr<spdlog::logger> logger_;
    std::atomic<std::uint64_t> lost_{0};
};

} // namespace quzo::platform
