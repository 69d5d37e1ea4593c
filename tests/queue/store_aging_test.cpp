// What time takes out of a queue: leftovers, and entries whose days are over.
#include <ctime>

#include "quzo/core/error_text.h"
#include "tests/queue/store_fixture.h"

namespace quzo::platform::test {
namespace {

TEST_F(StoreTest, CleanUpTakesOldLeftoversOnly) {
    ASSERT_EQ(storeNamed(store_, "AB1"), 0);
    age("A/B/AB1.DF", 5000);
    age("A/B/AB1.json", 5000);
    ASSERT_EQ(storeNamed(store_, "AB2"), 0);
    age("A/B/AB2.DF", 5000);
    QueueClaim claim;
    ASSERT_EQ(store_.claim("AB2", claim), ClaimOutcome::Taken);
    const std::string dead = "999999999-1-01234567";
    for (const std::string name : {"AB3.DF", "AB4.DF", "README", ".AB5.DF.tmp"}) {
        write("A/B/" + name, "x");
        age("A/B/" + name, name == "AB4.DF" ? 0 : 2);
    }
    write("A/B/.AB6.DF." + dead + "-0.tmp", "x");
    write("A/B/.AB7.json." + dead + "-1.tmp", "x");
    age("A/B/.AB7.json." + dead + "-1.tmp", 2);
    const std::string alive = "A/B/" + temporaryName("AB8", ".DF"); // still being written, however slowly
    write(alive, "x");
    age(alive, 3);
    const auto before = filesBelow(root_);
    CleanUpCounts counts;
    EXPECT_EQ(store_.cleanUp(std::time(nullptr), counts), 0);
    EXPECT_EQ(counts.orphans, 1U);
    EXPECT_EQ(counts.temporaries, 1U);
    auto expected = before;
    expected.erase("q/A/B/AB3.DF");
    expected.erase("q/A/B/.AB7.json." + dead + "-1.tmp");
    EXPECT_EQ(filesBelow(root_), expected);
}

TEST_F(StoreTest, ExpiresByDaysSinceStored) {
    struct Row {
        const char* id;
        std::optional<std::uint32_t> aging;
        std::int64_t age; // seconds
        bool gone;
    };
    const Row rows[] = {
        {"AA", std::nullopt, 100000000, false}, {"AB", 30, 720 * kHour - 1, false},
        {"AC", 30, 720 * kHour, true},          {"AD", 0, 0, true},
        {"AE", 4294967295U, 1000000000, false}, {"AF", 1, -kHour, false}, // stored by a clock that is ahead
    };
    for (const Row& row : rows) {
        QueueEntry entry = entryNamed(row.id);
        entry.aging = row.aging;
        entry.stored = kNow - row.age;
        ASSERT_EQ(store_.store(entry, writerOf(std::string_view("x"))), 0);
    }
    QueueEntry held = entryNamed("A0"); // on its way in, and met first
    held.aging = 0;
    ASSERT_EQ(store_.storeHeld(held, writerOf(std::string_view("x"))), 0);
    std::size_t removed = 0;
    EXPECT_EQ(store_.expire(kNow, removed), 0);
    EXPECT_EQ(removed, 2U);
    EXPECT_TRUE(filesBelow(root_).contains("q/A/0/A0.DF"));
    const auto left = wholeEntries(store_);
    for (const Row& row : rows) {
        EXPECT_EQ(left.contains(row.id), !row.gone) << row.id;
    }
}

TEST_F(StoreTest, ExpireLeavesWhatSomebodyWorksOn) {
    QueueEntry entry = entryNamed("AB");
    entry.aging = 0;
    ASSERT_EQ(store_.store(entry, writerOf(std::string_view("x"))), 0);
    QueueClaim claim;
    ASSERT_EQ(store_.claim("AB", claim), ClaimOutcome::Taken);
    std::size_t removed = 0;
    EXPECT_EQ(store_.expire(kNow, removed), 0);
    EXPECT_EQ(removed, 0U);
    EXPECT_TRUE(claim) << "still ours";
    claim.release();
    EXPECT_EQ(store_.expire(kNow, removed), 0);
    EXPECT_EQ(removed, 1U);
    EXPECT_TRUE(filesBelow(root_).empty());
}

} // namespace
} // namespace quzo::platform::test
