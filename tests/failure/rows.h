// Rows of the tables "what happens when memory runs out".
//
// A row is one operation on objects made for it. It is run once to see how many allocations it makes, and
// then anew, on fresh objects, with each of them in turn refused: once the chosen one alone and once it and
// all that follow. Each time no exception may come out, the operation must say that it failed, and so must a
// level-1 line, what the row promises must hold, nothing may be lost, and the same objects must do their work
// when memory is back.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>

#include "failing_memory.h"

namespace quzo::test {

// `Stage` is what operations of one kind need. It is made anew for each run, allocates what it likes, and has
//   said()       whether there is a level-1 line
//   forget()     drops the lines, and what else was recorded
//   fault        a const char*, set by an operation that did what it must never do; allocates nothing
template <typename Stage>
struct Row {
    using Step = std::function<void(Stage&)>;

    std::string name; // letters and digits
    Step prepare;
    // The operation; true when it did all its work. Allocates nothing itself.
    std::function<bool(Stage&)> act;
    Step afterFailure = [](Stage&) {};
    bool mayWork = false;  // an operation that was struck may have worked all the same, with a line
    bool allocates = true; // false: there is nothing that can fail
    bool silent = false;   // reports by an error number, not with a line

    friend void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }
};

struct Run {
    bool worked = false;
    bool struck = false;
    bool escaped = false;
    std::size_t allocations = 0;
};

template <typename Stage>
Run runOnce(const Row<Stage>& row, Stage& stage, std::size_t refused, Outage::Kind kind) {
    Run result;
    const Outage outage(refused, kind);
    try {
        result.worked = row.act(stage);
    } catch (...) {
        result.escaped = true;
    }
    result.struck = outage.struck();
    result.allocations = outage.allocations();
    return result;
}

template <typename Stage>
void strike(const Row<Stage>& row, std::size_t refused, Outage::Kind kind) {
    Stage stage;
    row.prepare(stage);
    stage.forget();
    const Run failed = runOnce(row, stage, refused, kind);
    EXPECT_FALSE(failed.escaped) << "an exception came out";
    ASSERT_TRUE(failed.struck) << "the operation allocates less than before";
    if (!row.mayWork) {
        EXPECT_FALSE(failed.worked) << "called a success";
    }
    EXPECT_TRUE(row.silent || stage.said()) << "nothing was said";
    if (!failed.worked) {
        row.afterFailure(stage);
    }
    EXPECT_STREQ(stage.fault, nullptr);
    stage.fault = nullptr;
    stage.forget();
    const Run again = runOnce(row, stage, Outage::kNever, Outage::Kind::Once);
    EXPECT_TRUE(again.worked) << "does not work when memory is back";
    EXPECT_STREQ(stage.fault, nullptr);
}

template <typename Stage>
void runRow(const Row<Stage>& row) {
    std::size_t allocations = 0;
    for (int i = 0; i < 2; ++i) { // what is kept from the first use on is not counted
        Stage stage;
        row.prepare(stage);
        const Run whole = runOnce(row, stage, Outage::kNever, Outage::Kind::Once);
        EXPECT_TRUE(whole.worked);
        EXPECT_STREQ(stage.fault, nullptr);
        allocations = whole.allocations;
    }
    EXPECT_EQ(allocations != 0, row.allocates) << allocations << " allocations";
    const auto liveAtRest = [] {
        const Stage fresh; // what a start makes anew is not counted, whoever made it last
        return liveBlocks();
    };
    const long before = liveAtRest();
    for (std::size_t refused = 1; refused <= allocations; ++refused) {
        for (const Outage::Kind kind : {Outage::Kind::Once, Outage::Kind::Lasts}) {
            SCOPED_TRACE("allocation " + std::to_string(refused) + " of " + std::to_string(allocations) +
                         (kind == Outage::Kind::Once ? " refused" : " and all after it refused"));
            strike(row, refused, kind);
            EXPECT_EQ(liveAtRest(), before) << "something is lost";
        }
    }
}

} // namespace quzo::test
