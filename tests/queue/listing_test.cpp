// Listings that take several reads while somebody renames what is listed.
#include <fcntl.h>

#include <set>

#include "platform/queue/process_identity.h"
#include "platform/queue/queue_admin.h"
#include "platform/queue/queue_transfer.h"
#include "quzo/core/error_text.h"
#include "tests/queue/memory_file_system.h"
#include "tests/queue/queue_support.h"

namespace quzo::platform::test {
namespace {

const std::string kId = "AB12";
const std::string kPlace = "/spool/quarantine/A/B";

class ListingTest : public testing::Test {
protected:
    ListingTest() { EXPECT_EQ(storeNamed(quarantine(), kId), 0); }

    QueueStore& quarantine() { return *queues_.find(QueueKind::Quarantine); }

    // Puts an empty file of that name into the place.
    void put(const std::string& name) {
        FileHandle place;
        FileHandle file;
        ASSERT_EQ(files_.openAt(AT_FDCWD, kPlace.c_str(), O_DIRECTORY, 0, place), 0);
        ASSERT_EQ(files_.openAt(place.get(), name.c_str(), O_CREAT | O_EXCL, 0600, file), 0);
    }

    MemoryFileSystem files_{Disk()};
    Queues queues_{{"/spool", "", ""}, files_};
};

// The entry is claimed before, and given back while, the listing stands between its two names, so the listing
// has neither. So it goes three times.
class MissedListingTest : public ListingTest {
protected:
    MissedListingTest() {
        const std::string between = waitingName(kId) + "-stranger";
        put(between);
        files_.listed = 1;
        files_.goingOn = [this, between](const std::string& last) {
            if (missed_ < 3 && last == messageName(kId)) {
                claimed(true);
            } else if (missed_ < 3 && last == between) {
                claimed(false);
                ++missed_;
            }
        };
    }
    ~MissedListingTest() override { EXPECT_EQ(missed_, 3) << "the test has tried nothing"; }

    void claimed(bool wanted) {
        const std::string names[] = {waitingName(kId), claimedName(kId, processIdentity())};
        if (wanted != claimed_) {
            files_.rename(kPlace, names[claimed_ ? 1 : 0], names[wanted ? 1 : 0]);
            claimed_ = wanted;
        }
    }

    bool claimed_ = false;
    int missed_ = 0;
};

TEST_F(MissedListingTest, ItIsShown) {
    ListedEntry listed;
    EXPECT_EQ(QueueAdmin(queues_, "gw").look(QueueKind::Quarantine, kId, listed), 0);
    EXPECT_EQ(listed.id, kId);
}

TEST_F(MissedListingTest, ItIsReadAndClaimed) {
    claimed(true); // both look under its plain name first
    QueueEntry entry;
    EXPECT_EQ(quarantine().read(kId, entry), 0);
    missed_ = 0;
    claimed(true);
    QueueClaim claim;
    EXPECT_EQ(quarantine().claim(kId, claim), ClaimOutcome::Taken);
}

TEST_F(MissedListingTest, WhatIsMadeOfItIsNotPublished) {
    QueueEntry entry = entryNamed(derivedIdentifier("quarantine", kId));
    entry.origin = QueueOrigin{"quarantine", kId};
    missed_ = 3;
    ASSERT_EQ(queues_.find("outgoing")->storeHeld(entry, writerOf(std::string_view("x"))), 0);
    missed_ = 0;
    ListedEntry held;
    held.id = entry.id;
    held.process = processIdentity();
    held.entry = entry;
    settleHeld(queues_, *queues_.find("outgoing"), held, kNow);
    EXPECT_TRUE(wholeEntries(*queues_.find("outgoing")).empty());
}

TEST_F(MissedListingTest, TidyingUpLeavesItsMessage) {
    CleanUpCounts counts;
    EXPECT_EQ(quarantine().cleanUp(kNow, counts), 0); // the message is from 1970
    EXPECT_EQ(counts.orphans, 0U);
    files_.goingOn = nullptr;
    EXPECT_EQ(wholeEntries(quarantine()).at(kId), messageOf(kId));
}

// However often it is renamed: the buffer grows until one read has all names.
TEST_F(ListingTest, ALargeDirectoryIsListedAtOnce) {
    std::set<std::string> expected = {messageName(kId), waitingName(kId)};
    for (unsigned i = 0; i < 3000; ++i) {
        const std::string name = "stranger" + std::to_string(i);
        put(name);
        expected.insert(name);
    }
    FileHandle place;
    ASSERT_EQ(files_.openAt(AT_FDCWD, kPlace.c_str(), O_DIRECTORY, 0, place), 0);
    files_.goingOn = [this](const std::string&) { files_.rename(kPlace, "stranger2999", "AAA"); };
    std::vector<std::string> names;
    bool atOnce = false;
    ASSERT_EQ(files_.list(place.get(), names, &atOnce), 0);
    EXPECT_TRUE(atOnce);
    EXPECT_EQ(names.size(), expected.size()) << "and none twice";
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()), expected);
    files_.goingOn = nullptr;
    files_.listed = 100;
    FileHandle again;
    ASSERT_EQ(files_.openAt(AT_FDCWD, kPlace.c_str(), O_DIRECTORY, 0, again), 0);
    ASSERT_EQ(files_.list(again.get(), names, &atOnce), 0);
    EXPECT_FALSE(atOnce);
    EXPECT_EQ(names.size(), expected.size());
}

TEST_F(ListingTest, TheSystemGivesALargeDirectoryByOneRead) {
    std::string root = testing::TempDir() + "quzo-list-XXXXXX";
    ASSERT_NE(::mkdtemp(root.data()), nullptr);
    for (unsigned i = 0; i < 5000; ++i) {
        std::ofstream(root + "/" + std::string(60, 'n') + std::to_string(i));
    }
    FileHandle place;
    std::vector<std::string> names;
    bool atOnce = false;
    EXPECT_EQ(FileSystem::real().openAt(AT_FDCWD, root.c_str(), O_RDONLY | O_DIRECTORY, 0, place), 0);
    EXPECT_EQ(FileSystem::real().list(place.get(), names, &atOnce), 0);
    EXPECT_EQ(names.size(), 5000U);
    EXPECT_TRUE(atOnce);
    std::filesystem::remove_all(root);
}

} // namespace
} // namespace quzo::platform::test
