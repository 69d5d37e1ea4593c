// What the tests of the queues share: a place, entries, and a file system that gives trouble on demand.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "platform/queue/file_system.h"
#include "platform/queue/leaving_message.h"
#include "platform/queue/queue_store.h"
#include "platform/queue/queues.h"

namespace quzo::platform::test {

constexpr std::int64_t kNow = 1700000000;
constexpr std::int64_t kHour = 3600;

// Syncing costs milliseconds and shows only when a machine crashes; most tests leave it out.
class UnsyncedFileSystem : public FileSystem {
protected:
    int callSync(int /*descriptor*/) override { return 0; }
    int callSyncAll(int /*descriptor*/) override { return 0; }
};

// Counts the calls and gives trouble at the one numbered `at`, from 1.
class TroubleFileSystem final : public FileSystem {
public:
    enum class Trouble : std::uint8_t {
        Fail,              // that call fails
        Break,             // that call and all later ones
        Interrupt,         // a signal comes before that call
        Short,             // that call does half of its work, when it is one that can
        DieBefore,         // the process ends before that call
        DieAfter,          // or after it
        NoExclusiveRename, // that call fails, on a file system that has links instead
    };
    TroubleFileSystem(Trouble trouble, int errorNumber, int at)
        : trouble_(trouble), error_(errorNumber), at_(at) {}
    // Only counts.
    TroubleFileSystem() : TroubleFileSystem(Trouble::Fail, 0, std::numeric_limits<int>::max()) {}

    std::uint64_t calls() const { return static_cast<std::uint64_t>(count_); }
    // Read, written and listed.
    std::uint64_t bytes() const { return bytes_; }

    bool happened() const { return count_ >= at_; }

protected:
    int callOpen(int directory, const char* name, int flags, mode_t mode) override {
        return call<int>([&] { return FileSystem::callOpen(directory, name, flags, mode); });
    }
    int callClose(int descriptor) override {
        const int result = FileSystem::callClose(descriptor); // a failing close closes too
        return call<int>([&] { return result; });
    }
    ssize_t callWrite(int descriptor, const char* bytes, std::size_t size) override {
        const bool half = trouble_ == Trouble::Short && count_ + 1 == at_ && size > 1;
        return count(
            call<ssize_t>([&] { return FileSystem::callWrite(descriptor, bytes, half ? size / 2 : size); }));
    }
    ssize_t callRead(int descriptor, char* buffer, std::size_t size) override {
        const bool half = trouble_ == Trouble::Short && count_ + 1 == at_ && size > 1;
        return count(
            call<ssize_t>([&] { return FileSystem::callRead(descriptor, buffer, half ? size / 2 : size); }));
    }
    int callSync(int /*descriptor*/) override {
        return call<int>([] { return 0; });
    }
    int callSyncAll(int /*descriptor*/) override {
        return call<int>([] { return 0; });
    }
    int callRename(int directory, const char* from, const char* to, unsigned flags) override {
        if (trouble_ == Trouble::NoExclusiveRename && flags != 0) {
            errno = EINVAL;
            return -1;
        }
        return call<int>([&] { return FileSystem::callRename(directory, from, to, flags); });
    }
    int callLink(int directory, const char* from, const char* to) override {
        return call<int>([&] { return FileSystem::callLink(directory, from, to); });
    }
    int callUnlink(int directory, const char* name) override {
        return call<int>([&] { return FileSystem::callUnlink(directory, name); });
    }
    int callMakeDirectory(int directory, const char* name, mode_t mode) override {
        return call<int>([&] { return FileSystem::callMakeDirectory(directory, name, mode); });
    }
    int callStatAt(int directory, const char* name, struct stat* out) override {
        return call<int>([&] { return FileSystem::callStatAt(directory, name, out); });
    }
    int callStat(int descriptor, struct stat* out) override {
        return call<int>([&] { return FileSystem::callStat(descriptor, out); });
    }
    ssize_t callList(int directory, void* buffer, std::size_t size) override {
        return count(call<ssize_t>([&] { return FileSystem::callList(directory, buffer, size); }));
    }
    int callRewind(int directory) override {
        return call<int>([&] { return FileSystem::callRewind(directory); });
    }
    int callLock(int descriptor) override {
        return call<int>([&] { return FileSystem::callLock(descriptor); });
    }
    int callSetTime(int descriptor, std::int64_t seconds) override {
        return call<int>([&] { return FileSystem::callSetTime(descriptor, seconds); });
    }

private:
    ssize_t count(ssize_t moved) {
        bytes_ += moved > 0 ? static_cast<std::uint64_t>(moved) : 0;
        return moved;
    }

    template <typename Result, typename Call>
    Result call(Call&& work) {
        ++count_;
        const bool now = count_ == at_;
        if (now && trouble_ == Trouble::DieBefore) {
            ::_exit(kDied);
        }
        if (now && trouble_ == Trouble::Interrupt) {
            errno = EINTR;
            return -1;
        }
        if ((now && (trouble_ == Trouble::Fail || trouble_ == Trouble::NoExclusiveRename)) ||
            (count_ >= at_ && trouble_ == Trouble::Break)) {
            errno = error_;
            return -1;
        }
        const Result result = work();
        if (now && trouble_ == Trouble::DieAfter) {
            ::_exit(kDied);
        }
        return result;
    }

public:
    static constexpr int kDied = 9; // exit code

private:
    Trouble trouble_;
    int error_;
    int at_;
    int count_ = 0;
    std::uint64_t bytes_ = 0;
};

// A directory of its own, gone afterwards. In memory where that is possible.
class QueueTest : public testing::Test {
protected:
    QueueTest() {
        const bool memory = ::access("/dev/shm", W_OK) == 0;
        std::string name = (memory ? std::string("/dev/shm/") : testing::TempDir()) + "quzo-queue-XXXXXX";
        root_ = ::mkdtemp(name.data());
    }
    ~QueueTest() override { std::filesystem::remove_all(root_); }

    // Takes away all that a former round left.
    void clear() {
        for (const auto& entry : std::filesystem::directory_iterator(root_)) {
            std::filesystem::remove_all(entry.path());
        }
    }

    // The regular files below a directory, with their content.
    static std::map<std::string, std::string> filesBelow(const std::string& directory) {
        std::map<std::string, std::string> files;
        if (std::filesystem::exists(directory)) {
            for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
                if (entry.is_regular_file()) {
                    files[entry.path().lexically_relative(directory).string()] = content(entry.path());
                }
            }
        }
        return files;
    }

    static std::string content(const std::filesystem::path& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    std::string root_;
    UnsyncedFileSystem files_;
};

inline QueueEntry entryNamed(const std::string& id) {
    QueueEntry entry;
    entry.id = id;
    entry.sender = "from@example.com";
    entry.recipients = {"to@example.com", "too@example.com"};
    entry.stored = kNow;
    return entry;
}

// The message that goes with an identifier: other lengths and other bytes for each.
inline std::string messageOf(const std::string& id) {
    std::string text = "Subject: " + id + "\r\n\r\n";
    std::size_t seed = std::hash<std::string>()(id);
    for (std::size_t length = seed % 3000; length > 0; --length) {
        seed = seed * 6364136223846793005U + 1442695040888963407U;
        text.push_back(static_cast<char>(seed >> 56U));
    }
    return text;
}

inline int storeNamed(QueueStore& store, const std::string& id) {
    QueueEntry entry = entryNamed(id);
    const std::string message = messageOf(id);
    return store.store(entry, writerOf(std::string_view(message)));
}

// Identifiers that spread over the directories.
inline std::string identifier(unsigned number) {
    return derivedIdentifier("test", "N" + std::to_string(number));
}

// What the queue holds: each entry's message by its identifier. Fails the test for an entry that is not
// whole.
inline std::map<std::string, std::string> wholeEntries(const QueueStore& store) {
    std::map<std::string, std::string> found;
    EXPECT_EQ(store.forEach([&](ListedEntry&& listed) {
        if (listed.state == EntryState::Held) {
            return true;
        }
        std::string message;
        EXPECT_EQ(listed.error, 0) << listed.id;
        EXPECT_TRUE(listed.message) << listed.id;
        EXPECT_EQ(store.readMessage(listed.id, listed.entry.size, message), 0) << listed.id;
        EXPECT_TRUE(found.emplace(listed.id, message).second) << listed.id << " is listed twice";
        return true;
    }),
              0);
    return found;
}

// Runs the work in a process of its own and gives its exit code.
inline int inChild(const std::function<int()>& work) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(work());
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    return WEXITSTATUS(status);
}

} // namespace quzo::platform::test
