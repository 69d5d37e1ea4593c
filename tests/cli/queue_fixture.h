// What the tests of `quzo queue` share.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/cli/installation.h"

namespace quzo::test {

constexpr std::int64_t kDay = 86400;

inline platform::QueueEntry entryNamed(const std::string& id) {
    platform::QueueEntry entry;
    entry.id = id;
    entry.sender = "a@a.example";
    entry.recipients = {"b@b.example", "c@c.example"};
    return entry;
}

class Queue : public testing::Test {
protected:
    // Three entries in the quarantine that differ in everything that can be asked for.
    void fillThree() {
        platform::QueueEntry entry = entryNamed("AA");
        entry.subject = "Invoice 7";
        entry.rule = 10;
        entry.ruleName = "Programs";
        entry.areaId = 3;
        entry.area = "Suspicious";
        entry.aging = 30;
        installation_.fill("quarantine", entry, std::string(5000, 'x'), 40 * kDay);
        entry = entryNamed("BB");
        entry.sender = "x@X.example";
        entry.subject = "Lottery";
        entry.rule = 20;
        entry.aging = 90;
        installation_.fill("quarantine", entry, "Subject: Lottery\n\nwin\n", 2 * kDay + 60);
        entry = entryNamed("CC");
        entry.sender = "";
        entry.recipients = {"d@d.example"};
        entry.subject = "invoice 8";
        entry.areaId = 4;
        entry.area = "Other";
        installation_.fill("quarantine", entry, "Subject: x\n\ny\n", 90);
    }

    // The identifiers that a list with these conditions shows.
    std::string listed(std::vector<std::string> conditions) {
        conditions.insert(conditions.begin(), {"list", "quarantine", "--json"});
        const ProgramRun run = installation_.queue(conditions);
        EXPECT_EQ(run.exitCode, 0) << run.err;
        std::string ids;
        for (std::size_t at = 0, end = 0; (end = run.out.find('\n', at)) != std::string::npos; at = end + 1) {
            ids += nlohmann::json::parse(run.out.substr(at, end - at)).at("id");
        }
        return ids;
    }

    std::string ids(const char* queue) {
        std::string out;
        for (const auto& [id, message] : installation_.entries(queue)) {
            out += id;
        }
        return out;
    }

    Installation installation_;
};

} // namespace quzo::test
