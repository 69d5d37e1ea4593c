// The ledger's files. See notice_ledger.h.
//
// What was held back is synced before anybody hears of it. A file that only counts what went out is not: when
// the power goes it may be lost or torn, and one mail more than the limit goes out.
#include "platform/mta/notice_ledger.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <thread>

#include "platform/base/ascii.h"
#include "platform/mta/notice_names.h"
#include "platform/queue/queue_errors.h"
#include "platform/queue/queue_names.h"
#include "platform/queue/temporary_file.h"
#include "quzo/core/error_text.h"
#include "quzo/core/log.h"

namespace quzo::platform {
namespace {

constexpr const char* kName = "notices"; // in the log
constexpr std::chrono::milliseconds kPause{2};
constexpr int kReadFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK;

int readText(FileSystem& files, int directory, const std::string& name, std::string& out) {
    FileHandle file;
    int error = files.openAt(directory, name.c_str(), kReadFlags, 0, file);
    out.resize(kMaxNoticeText + 1);
    std::size_t filled = 0;
    for (std::size_t count = 1; error == 0 && count > 0 && filled < out.size(); filled += count) {
        count = 0;
        error = files.read(file.get(), out.data() + filled, out.size() - filled, count);
    }
    out.resize(filled);
    return error;
}

std::string_view placeOf(const std::string& id) { return std::string_view(id).substr(0, 2); }

} // namespace

int NoticeLedger::failed(const char* what, std::string_view id, int error) const {
    return reportError(kName, what, std::string(id).c_str(), error);
}

int NoticeLedger::lock(const FileHandle& directory) const {
    const auto end = std::chrono::steady_clock::now() + patience_;
    int error = files_.tryLock(directory.get());
    while (error == EWOULDBLOCK && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(kPause);
        error = files_.tryLock(directory.get());
    }
    return error;
}

// A file that nobody can make sense of is put out of the way, for people to look at.
int NoticeLedger::setAside(int directory, const std::string& id) const {
    ActionLog::L1("Queue %s: %s cannot be understood: it is set aside as %s.", kName, id.c_str(),
                  noticeAsideName(id).c_str());
    return files_.rename(directory, waitingName(id).c_str(), noticeAsideName(id).c_str());
}

int NoticeLedger::read(int directory, const std::string& id, NoticeRecord& out, bool& found) const {
    std::string text;
    int error = readText(files_, directory, waitingName(id), text);
    found = error == 0 && decodeNotices(text, out) && noticeIdentifier(out.recipient, out.rule) == id;
    if (error == 0 && !found) {
        error = setAside(directory, id);
    }
    return error == ENOENT ? 0 : error;
}

int NoticeLedger::write(int directory, const std::string& id, const NoticeRecord& record,
                        bool durable) const {
    TemporaryFile file(files_, directory, temporaryName(id, ".json"));
    int error = file.write(encodeNotices(record));
    error = error == 0 && durable ? file.sync() : error;
    error = error == 0 ? file.replace(waitingName(id)) : error;
    return error == 0 && durable ? files_.sync(directory) : error;
}

int NoticeLedger::countLocked(const QueueDirectories::Way& way, const std::string& id, const Notice& notice,
                              unsigned limit, std::int64_t now, bool& goes) {
    const int directory = way.inner.get();
    NoticeRecord record;
    bool found = false;
    int error = lock(way.inner);
    error = error == 0 ? read(directory, id, record, found) : error;
    error = error == 0 ? directories_.settle(placeOf(id), way) : error;
    if (error != 0) {
        return error;
    }
    if (!found) {
        record = recordFor(notice);
    }
    const bool admitted = record.count(notice, limit, now);
    error = write(directory, id, record, !record.held.empty());
    goes = admitted || error != 0;
    return error;
}

bool NoticeLedger::count(const Notice& notice, unsigned limit, std::int64_t now) noexcept {
    bool goes = true;
    try {
        const std::string id = noticeIdentifier(notice.recipient, notice.rule);
        QueueDirectories::Way way;
        int error = directories_.make(placeOf(id), way);
        error = error == 0 ? countLocked(way, id, notice, limit, now, goes) : error;
        if (error != 0) {
            failed("sends a notification uncounted: cannot count", id, error);
        }
    } catch (const std::exception&) { // memory ran out, before anything was written
        ActionLog::L1("Queue %s: sends a notification uncounted: out of memory.", kName);
    }
    return goes;
}

void NoticeLedger::takeBack(const Notice& notice, bool went) noexcept {
    try {
        const std::string id = noticeIdentifier(notice.recipient, notice.rule);
        FileHandle directory;
        NoticeRecord record;
        bool found = false;
        int error = directories_.open(placeOf(id), directory);
        error = error == 0 ? lock(directory) : error;
        error = error == 0 ? read(directory.get(), id, record, found) : error;
        if (error == 0 && found) {
            const bool durable = !record.held.empty();
            record.takeBack(went);
            error = write(directory.get(), id, record, durable);
        }
        failed("cannot take back the count of", id, error);
    } catch (const std::exception&) { // memory ran out
        ActionLog::L1("Queue %s: cannot take back a count: out of memory.", kName);
    }
}

int NoticeLedger::sumUpOne(std::string_view place, const std::string& id, std::int64_t now,
                           const SumUp& sumUp) {
    FileHandle directory;
    NoticeRecord record;
    bool found = false;
    int error = directories_.open(place, directory);
    error = error == 0 ? lock(directory) : error;
    error = error == 0 ? read(directory.get(), id, record, found) : error;
    if (error != 0 || !found) {
        return failed("cannot look at", id, error);
    }
    int summing = kErrorNone;
    const std::size_t before = record.held.size();
    while (summing == kErrorNone && !record.held.empty() && record.held.front().isDue(now)) {
        summing = sumUp(record, record.held.front(), noticeSummaryIdentifier(id, record.held.front()));
        if (summing == kErrorNone) {
            record.held.erase(record.held.begin());
        }
    }
    const bool changed = record.held.size() != before;
    if (record.held.empty() && record.windowPassed(now)) {
        error = files_.unlink(directory.get(), waitingName(id).c_str());
        error = error == 0 && changed ? files_.sync(directory.get()) : error;
    } else if (changed) {
        error = write(directory.get(), id, record, true);
    }
    failed("cannot change", id, error);
    return summing != kErrorNone ? summing : platformError(error);
}

// One file at a time, so that nobody waits long for the lock.
int NoticeLedger::sumUpIn(std::string_view place, std::int64_t now, const SumUp& sumUp) {
    FileHandle directory;
    std::vector<std::string> names;
    int error = directories_.open(place, directory);
    error = error == 0 ? lock(directory) : error;
    error = error == 0 ? files_.list(directory.get(), names) : error;
    if (error != 0) {
        return failed("cannot list", place, error);
    }
    const DirectoryNames sorted = sortNames(names, place);
    for (const TemporaryName& left : sorted.temporaries) {
        files_.unlink(directory.get(), left.name.c_str()); // its writer had the lock and is gone
    }
    directory.reset();
    int firstError = kErrorNone;
    for (const auto& [id, entry] : sorted.entries) {
        const int one = entry.state == EntryState::Waiting ? sumUpOne(place, id, now, sumUp) : kErrorNone;
        firstError = firstError != kErrorNone ? firstError : one;
    }
    return firstError;
}

int NoticeLedger::sumUpDue(std::int64_t now, const SumUp& sumUp) {
    std::vector<std::string> places;
    const int walk = directories_.forEach([&places](std::string_view place, const FileHandle&) {
        places.emplace_back(place);
        return true;
    });
    int firstError = failed("cannot list", "all", walk);
    for (const std::string& place : places) {
        const int error = sumUpIn(place, now, sumUp);
        firstError = firstError != kErrorNone ? firstError : error;
    }
    return firstError;
}

} // namespace quzo::platform
