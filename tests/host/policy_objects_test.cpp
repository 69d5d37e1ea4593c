// References of a policy to named objects: resolved by name or id, checked, and told to the store.
#include "host/policy/policy_objects.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string>

#include "host/policy/policy.h"
#include "platform/store/object_store.h"
#include "scan_support.h"

namespace quzo::host {
namespace {

using platform::ObjectKind;
using testing::HasSubstr;

// A store with a quarantine area, two archive areas and a quarantine area that cannot be read.
class PolicyObjects : public testing::Test {
protected:
    void SetUp() override {
        test::startLibrary();
        std::filesystem::remove(file_);
        auto store = platform::ObjectStore::open({"sqlite3://" + file_, "tester"});
        ASSERT_TRUE(store) << store.fault().text;
        quarantine_ = add(*store, ObjectKind::QuarantineArea, "held", "30:4:Held:");
        archive_ = add(*store, ObjectKind::ArchiveArea, "held", "0:4:Copy:");
        second_ = add(*store, ObjectKind::ArchiveArea, "7", "0:1:S:");
        add(*store, ObjectKind::QuarantineArea, "torn", "30:9:Q:");
        auto objects = platform::StoredNamedObjects::load(*store, 5);
        ASSERT_TRUE(objects) << objects.fault().text;
        objects_ = std::move(*objects);
    }
    void TearDown() override { std::filesystem::remove(file_); }

    static unsigned add(platform::ObjectStore& store, ObjectKind kind, const char* name, const char* text) {
        const auto added = store.add(5, kind, name, text);
        EXPECT_TRUE(added);
        return added ? added->id : 0;
    }

    LoadedPolicy load(const std::string& actions) const {
        return loadPolicy(
            "[[rule]]\nid = 10\nname = 'Hold'\nwhen = { always = true }\nactions = [" + actions + "]\n",
            objects_.get());
    }

    std::string fault(const std::string& action) const {
        const LoadedPolicy loaded = load(action);
        EXPECT_EQ(loaded.policy, nullptr) << action;
        return loaded.findings.empty() ? "" : describe(loaded.findings.front(), "p");
    }

    std::string file_ = testing::TempDir() + "policy_objects." + std::to_string(::getpid()) + ".db";
    std::unique_ptr<platform::StoredNamedObjects> objects_;
    unsigned quarantine_ = 0;
    unsigned archive_ = 0;
    unsigned second_ = 0;
};

TEST_F(PolicyObjects, AreFoundByNameAndById) {
    const LoadedPolicy loaded =
        load("{ type = 'quarantine', object = 'held' }, { type = 'archive', objects = ['7', " +
             std::to_string(archive_) +
             "] }, { type = 'archive', object = 'held' },"
             "{ type = 'archive', setting = '1-" +
             std::to_string(second_) + "' }");
    ASSERT_NE(loaded.policy, nullptr);
    const std::vector<RuleAction>& actions = loaded.policy->rules[0].actions;
    EXPECT_EQ(actions[0].setting, "1-" + std::to_string(quarantine_));
    EXPECT_EQ(actions[1].setting, "2-" + std::to_string(second_) + "-" + std::to_string(archive_));
    EXPECT_EQ(actions[2].setting, "1-" + std::to_string(archive_));
    // Each object of a rule once, in the order of the rule.
    const std::vector<platform::ObjectReference> expected{
        {10, "Hold", quarantine_}, {10, "Hold", second_}, {10, "Hold", archive_}};
    EXPECT_EQ(objectReferences(*loaded.policy), expected);
}

TEST_F(PolicyObjects, WhatDanglesIsTold) {
    const struct {
        std::string action;
        std::string part;
    } kCases[] = {
        {"{ type = 'quarantine', object = 'nowhere' }",
         "p:5: rule 10: actions[0].object: there is no quarantine object 'nowhere'"},
        {"{ type = 'quarantine', object = '7' }", "there is no quarantine object '7'"},
        {"{ type = 'archive', objects = ['held', 'Held'] }",
         "actions[0].objects: there is no archive object"},
        {"{ type = 'quarantine', object = 999 }", "there is no quarantine object with id 999"},
        {"{ type = 'quarantine', object = " + std::to_string(archive_) + " }", "is of the kind archive"},
        {"{ type = 'quarantine', object = 4294967296 }", "a number from 1 to 4294967295"},
        {"{ type = 'quarantine', object = true }", "it is a flag"},
        {"{ type = 'quarantine', objects = [] }", "the list is empty"},
        {"{ type = 'quarantine', object = 'torn' }", "cannot be read"},
        {"{ type = 'quarantine' }", "actions[0].object: it is missing"},
        {"{ type = 'quarantine', object = 'held', objects = 'held' }", "objects is given as well"},
        {"{ type = 'archive', setting = '2-" + std::to_string(archive_) + "-999' }",
         "actions[0].setting: there is no archive object with id 999"},
    };
    for (const auto& [action, part] : kCases) {
        EXPECT_THAT(fault(action), HasSubstr(part)) << action;
    }
}

TEST_F(PolicyObjects, NeedAStore) {
    objects_ = nullptr;
    EXPECT_THAT(fault("{ type = 'archive', object = 'held' }"), HasSubstr("there is no store"));
    EXPECT_THAT(fault("{ type = 'archive', setting = '1-1' }"), HasSubstr("there is no store"));
}

} // namespace
} // namespace quzo::host
