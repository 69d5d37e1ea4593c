// How many notifications each recipient has had lately of each rule: counted on disk, so that all processes
// of an installation count together and a restart forgets nothing.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/mta/notice_record.h"
#include "platform/queue/queue_directories.h"

namespace quzo::platform {

// A directory of small files, one for each recipient and rule, in the directories of their names' first two
// characters as in a queue. Names are made from a digest of both. Whoever reads or changes a file has a lock
// on its directory meanwhile, which the system takes away from a process that dies.
//
// Callable from any thread and by several processes on one directory.
class NoticeLedger {
public:
    // Touches no disk. `files` outlives it. `patience`: how long to wait for a lock that somebody else has.
    explicit NoticeLedger(std::string directory, FileSystem& files = FileSystem::real(),
                          std::chrono::milliseconds patience = std::chrono::seconds(5))
        : files_(files), directories_(files, std::move(directory)), patience_(patience) {}

    const std::string& directory() const { return directories_.root(); }
    FileSystem& files() const { return files_; }

    // Counts one notification and tells whether it goes out (true) or is held back, which is then on the disk
    // for good. When counting fails it goes out, and a level-1 line says why. Never throws.
    bool count(const Notice& notice, unsigned limit, std::int64_t now) noexcept;

    // Undoes a count() that gave `went`, since the mail was not sent after all and will be tried again. Best
    // effort: what stays is one mail less in an hour, or one too many in a summary. Never throws.
    void takeBack(const Notice& notice, bool went) noexcept;

    // Has everything summed up that is due, and removes what says nothing any more. `sumUp` gets the record,
    // what was held back, and an identifier for the summary that is the same whenever this is tried again; it
    // returns 0 when the summary is on the disk for good, or a KvMsgError, and is then asked again the next
    // time. Returns 0 or the first KvMsgError; the others are seen to all the same.
    using SumUp =
        std::function<int(const NoticeRecord& record, const HeldNotices& held, const std::string& id)>;
    int sumUpDue(std::int64_t now, const SumUp& sumUp);

private:
    int lock(const FileHandle& directory) const;
    int read(int directory, const std::string& id, NoticeRecord& out, bool& found) const;
    int setAside(int directory, const std::string& id) const;
    int write(int directory, const std::string& id, const NoticeRecord& record, bool durable) const;
    int countLocked(const QueueDirectories::Way& way, const std::string& id, const Notice& notice,
                    unsigned limit, std::int64_t now, bool& goes);
    int sumUpIn(std::string_view place, std::int64_t now, const SumUp& sumUp);
    int sumUpOne(std::string_view place, const std::string& id, std::int64_t now, const SumUp& sumUp);
    int failed(const char* what, std::string_view id, int error) const;

    FileSystem& files_;
    QueueDirectories directories_;
    std::chrono::milliseconds patience_;
};

} // namespace quzo::platform
