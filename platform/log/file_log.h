// The log of the programs: one line a record, to standard error, a file, the system log or the journal.
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
// The system log (syslog(3), facility mail, identity quzo) and the journal have time and process themselves:
// there lines begin with the word. Levels 1, 2 and 3 have the priorities err, info and debug; for the journal
// they stand before the line on standard error as "<3>", "<6>" and "<7>", as systemd reads them of a service.
//
// write() may be called from any thread. It never throws, whatever happens to the file: lines that could not
// be written are counted.
class FileLog final : public LogMsg {
public:
    // `target` is "stderr", "syslog", "journal" or the path of a file, which is appended to, made with
    // mode 0640 (platform/log/file_sink.h); `maxLevel` is 0 (nothing) to 3. Without `make` a file that is not
    // there is not made, and the lines go nowhere. Null when the file cannot be opened, or could not be made,
    // with the reason in `problem`.
    static std::unique_ptr<FileLog> open(const std::string& target, int maxLevel, std::string& problem,
                                         bool make = true);

    ~FileLog() override;
    FileLog(const FileLog&) = delete;
    FileLog& operator=(const FileLog&) = delete;

    // What visibleText() would not leave alone is escaped. A line is cut at kMaxLine bytes.
    void write(int lineLevel, const char* format, ...) override __attribute__((format(printf, 3, 4)));

    // A line of its own kind, "message: LINE", whatever the level is, and not cut. It tells itself what it is
    // about. With priority info.
    void tell(std::string_view line) noexcept;

    // Whether the target is one of the words above and no path.
    static bool isWord(std::string_view target);

    // Lines that could not be written.
    std::uint64_t lost() const { return lost_.load(); }

    static constexpr unsigned kMaxLine = 8191;

private:
    FileLog(std::shared_ptr<spdlog::logger> logger, bool priorities);
    void writeLine(int lineLevel, std::string_view line) noexcept;

    std::shared_ptr<spdlog::logger> logger_;
    bool priorities_; // each line begins with its own
    std::atomic<std::uint64_t> lost_{0};
};

} // namespace quzo::platform
