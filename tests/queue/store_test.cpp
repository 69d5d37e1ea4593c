// One queue by itself: what it takes, what it refuses, and what it leaves alone.
#include <sys/stat.h>

#include <ctime>

#include "quzo/core/error_text.h"
#include "tests/queue/store_fixture.h"

namespace quzo::platform::test {
namespace {

TEST_F(StoreTest, StoresUnderTheNamesThatPeopleExpect) {
    ASSERT_EQ(storeNamed(store_, "AB12"), 0);
    EXPECT_EQ(content(path("A/B/AB12.DF")), messageOf("AB12"));
    QueueEntry entry;
    ASSERT_EQ(decodeEntry(content(path("A/B/AB12.json")), entry), 0);
    EXPECT_EQ(entry.size, messageOf("AB12").size());
    EXPECT_EQ(filesBelow(root_).size(), 2U);
    struct stat status {};
    ASSERT_EQ(::stat(path("A/B/AB12.DF").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    ASSERT_EQ(::stat(path("A/B").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
}

TEST_F(StoreTest, NeverOverwrites) {
    ASSERT_EQ(storeNamed(store_, "AB12"), 0);
    const auto before = filesBelow(root_);
    QueueEntry second = entryNamed("AB12");
    EXPECT_EQ(store_.store(second, writerOf(std::string_view("other"))), kErrorExists);
    QueueClaim claim;
    ASSERT_EQ(store_.claim("AB12", claim), ClaimOutcome::Taken);
    EXPECT_EQ(store_.store(second, writerOf(std::string_view("other"))), kErrorExists) << "while claimed";
    claim.release();
    EXPECT_EQ(filesBelow(root_), before);
    write("C/D/CD.json", "something else's");
    EXPECT_EQ(storeNamed(store_, "CD"), kErrorExists);
    EXPECT_EQ(content(path("C/D/CD.json")), "something else's");
    EXPECT_FALSE(std::filesystem::exists(path("C/D/CD.DF")));
}

TEST_F(StoreTest, LargeMessagesAndManyPiecesComeWhole) {
    std::string expected;
    QueueEntry entry = entryNamed("AB");
    ASSERT_EQ(
        store_.store(
            entry,
            [&](const auto& sink) {
                for (std::size_t size : {1UL, 70000UL, 0UL, 65536UL, 3UL, 65535UL, 2UL, 1000000UL, 5UL}) {
                    const std::string piece(size, static_cast<char>('a' + size % 26));
                    expected += piece;
                    if (!sink(piece)) {
                        return false;
                    }
                }
                return true;
            }),
        0);
    EXPECT_EQ(wholeEntries(store_).at("AB"), expected);
}

TEST_F(StoreTest, AWriterThatFailsOrThrowsLeavesNothing) {
    QueueEntry entry = entryNamed("AB");
    EXPECT_EQ(store_.store(entry, [](const auto& sink) { return sink("half") && false; }), kErrorInternal);
    EXPECT_THROW(store_.store(entry,
                              [](const auto& sink) -> bool {
                                  sink("half");
                                  throw std::bad_alloc();
                              }),
                 std::bad_alloc);
    EXPECT_TRUE(filesBelow(root_).empty());
}

TEST_F(StoreTest, HostileIdentifiersTouchNothing) {
    std::ofstream(root_ + "/outside.DF") << "outside";
    std::ofstream(root_ + "/outside.json") << "outside";
    const auto before = filesBelow(root_);
    for (const std::string& id :
         {std::string("../outside"), std::string("/etc/passwd"), std::string("A/B/AB"),
          std::string("AB/../../outside"), std::string(), std::string("AB\0C", 4), std::string(300, 'A'),
          std::string("ab"), std::string("AB\n")}) {
        EXPECT_EQ(storeNamed(store_, id), kErrorInvalidArgument);
        QueueEntry entry;
        QueueClaim claim;
        std::string message;
        EXPECT_EQ(store_.read(id, entry), kErrorNotFound);
        EXPECT_EQ(store_.readMessage(id, 0, message), kErrorNotFound);
        EXPECT_EQ(store_.claim(id, claim), ClaimOutcome::Missing);
        EXPECT_EQ(store_.publishHeld(id, "1-2-01234567"), kErrorNotFound);
        EXPECT_NE(store_.discardHeld(id), 0);
    }
    EXPECT_EQ(filesBelow(root_), before);
}

TEST_F(StoreTest, FollowsNoLinkInside) {
    std::filesystem::create_directories(root_ + "/outside/B");
    std::filesystem::create_directories(path(""));
    std::filesystem::create_directory_symlink(root_ + "/outside", path("A"));
    EXPECT_NE(storeNamed(store_, "AB12"), 0);
    EXPECT_TRUE(filesBelow(root_ + "/outside").empty());

    ASSERT_EQ(storeNamed(store_, "CD12"), 0);
    std::ofstream(root_ + "/secret") << messageOf("CD12");
    std::filesystem::remove(path("C/D/CD12.DF"));
    std::filesystem::create_symlink(root_ + "/secret", path("C/D/CD12.DF"));
    std::string message;
    EXPECT_EQ(store_.readMessage("CD12", messageOf("CD12").size(), message), kErrorInputOutput);
    std::filesystem::remove(path("C/D/CD12.DF"));
    ASSERT_EQ(::mkfifo(path("C/D/CD12.DF").c_str(), 0600), 0);
    EXPECT_EQ(store_.readMessage("CD12", 0, message), kErrorInputOutput) << "a FIFO must not hold us up";
    // The way to the queue may have links.
    std::filesystem::create_directories(root_ + "/elsewhere");
    std::filesystem::create_directory_symlink(root_ + "/elsewhere", root_ + "/link");
    QueueStore linked("l", root_ + "/link/deep/q", files_);
    EXPECT_EQ(storeNamed(linked, "AB12"), 0);
    EXPECT_EQ(filesBelow(root_ + "/elsewhere").size(), 2U);
}

TEST_F(StoreTest, AMessageOfAnotherSizeIsNotHandedOut) {
    ASSERT_EQ(storeNamed(store_, "AB12"), 0);
    std::ofstream(path("A/B/AB12.DF"), std::ios::app) << "x";
    std::string message;
    EXPECT_EQ(store_.readMessage("AB12", messageOf("AB12").size(), message), kErrorInputOutput);
    EXPECT_EQ(store_.readMessage("AB12", messageOf("AB12").size() + 1, message, 3), kErrorLimit);
}

TEST_F(StoreTest, ListsWhatCannotBeReadAndLeavesStrangersOut) {
    ASSERT_EQ(storeNamed(store_, "AB1"), 0);
    write("A/B/AB2.DF", "x");
    write("A/B/AB2.json", "{broken");
    write("A/B/AB3.json", content(path("A/B/AB1.json"))); // another one's, and no message
    write("A/B/AB4.DF", "only half");
    write("A/B/CD.json", "{}"); // in the wrong place
    write("A/B/README", "hello");
    write("A/B/ab5.json", "{}");
    write("A/note", "hello");
    write("lost+found/A/AA.json", "{}");
    std::map<std::string, std::pair<bool, bool>> found; // readable, with message
    EXPECT_EQ(store_.forEach([&](ListedEntry&& entry) {
        found[entry.id] = {entry.error == 0, entry.message};
        return true;
    }),
              0);
    const std::map<std::string, std::pair<bool, bool>> expected = {
        {"AB1", {true, true}}, {"AB2", {false, true}}, {"AB3", {false, false}}};
    EXPECT_EQ(found, expected);
    QueueClaim claim;
    ASSERT_EQ(store_.claim("AB2", claim), ClaimOutcome::Taken);
    EXPECT_NE(claim.error(), 0);
    EXPECT_EQ(claim.remove(), 0) << "people must be able to get rid of it";
    EXPECT_FALSE(std::filesystem::exists(path("A/B/AB2.DF")));
}

TEST_F(StoreTest, UpdateKeepsTheMessageAndTheClaim) {
    ASSERT_EQ(storeNamed(store_, "AB"), 0);
    QueueClaim claim;
    ASSERT_EQ(store_.claim("AB", claim), ClaimOutcome::Taken);
    QueueEntry entry = claim.entry();
    entry.reason = "451 try again";
    entry.attempts = 2;
    ASSERT_EQ(claim.update(entry), 0);
    QueueClaim second;
    EXPECT_EQ(store_.claim("AB", second), ClaimOutcome::Busy);
    entry.id = "AC";
    EXPECT_EQ(claim.update(entry), kErrorInvalidArgument);
    claim = QueueClaim(); // gives it back
    ASSERT_EQ(store_.claim("AB", second), ClaimOutcome::Taken);
    EXPECT_EQ(second.entry().reason, "451 try again");
    EXPECT_EQ(wholeEntries(store_).at("AB"), messageOf("AB"));
}

// What the work asks of the system, in calls and in bytes moved.
TEST_F(StoreTest, AnEntryCostsTheSameHoweverManyThereAre) {
    struct Cost {
        std::uint64_t calls;
        std::uint64_t bytes;
    };
    constexpr unsigned kFew = 200; // all in one directory, the worst case
    constexpr unsigned kMany = 20 * kFew;
    TroubleFileSystem counted;
    QueueStore store("q", root_ + "/q", counted);
    unsigned count = 0;
    const auto costOf = [&counted](const std::function<void()>& work) -> Cost {
        const Cost before{counted.calls(), counted.bytes()};
        work();
        return {counted.calls() - before.calls, counted.bytes() - before.bytes};
    };
    const auto storeOne = [&] {
        QueueEntry entry = entryNamed("AB" + std::to_string(1000000 + ++count));
        entry.aging = count % 2 == 0 ? 1 : 2;
        ASSERT_EQ(store.store(entry, writerOf(std::string_view("Subject: x\r\n\r\nx\r\n"))), 0);
    };
    const auto fill = [&](unsigned until) {
        while (count < until) {
            storeOne();
        }
    };
    const auto listAll = [&] {
        unsigned listed = 0;
        EXPECT_EQ(store.forEach([&listed](ListedEntry&& entry) {
            listed += entry.error == 0 ? 1 : 0;
            return true;
        }),
                  0);
        EXPECT_EQ(listed, count);
    };
    fill(kFew);
    const Cost storeAmongFew = costOf(storeOne);
    const Cost listFew = costOf(listAll);
    fill(kMany);
    const Cost storeAmongMany = costOf(storeOne);
    const Cost listMany = costOf(listAll);
    EXPECT_EQ(storeAmongMany.calls, storeAmongFew.calls);
    EXPECT_EQ(storeAmongMany.bytes, storeAmongFew.bytes);
    EXPECT_LE(listMany.calls, 20 * listFew.calls);
    EXPECT_LE(listMany.bytes, 40 * listFew.bytes); // while its buffer grows, a listing begins anew
    std::size_t removed = 0;
    const Cost expire = costOf([&] { EXPECT_EQ(store.expire(kNow + 30 * kHour, removed), 0); });
    EXPECT_EQ(removed, count / 2);
    EXPECT_LE(expire.calls, 4 * listMany.calls);
    EXPECT_LE(expire.bytes, 2 * listMany.bytes);
}

} // namespace
} // namespace quzo::platform::test
