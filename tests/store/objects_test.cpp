// Objects, names, revisions, history, references and sets of changes: the same on both databases.
#include <signal.h>
#include <sys/wait.h>

#include <chrono>
#include <optional>
#include <thread>

#include "store_place.h"

namespace quzo::test {
namespace {

using platform::ObjectChange;
using platform::ObjectKind;
using platform::ObjectOutcome;
using platform::ObjectReference;
using platform::ObjectStore;
using platform::ObjectVersion;
using platform::StoreRemedy;
using platform::StoreTrouble;

constexpr auto kStamp = ObjectKind::StampArea;
constexpr auto kNotify = ObjectKind::NotifyArea;

class ObjectsTest : public StoreTest {};
QUZO_FOR_BOTH_DATABASES(ObjectsTest);

std::vector<std::string> namesOf(ObjectStore& store, unsigned tenant, std::optional<ObjectKind> kind = {}) {
    std::vector<std::string> names;
    for (const auto& object : must(store.list(tenant, kind))) {
        names.push_back(object.name);
    }
    return names;
}

TEST_P(ObjectsTest, AnObjectComesBackAsItWasStored) {
    ObjectStore store = place->open("ada");
    const auto before = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    const unsigned id = must(store.add(4294967295, kStamp, "legal", "1:2:5:Hello:1:D:")).id;
    const auto object = must(place->open().find(4294967295, kStamp, "legal"));
    EXPECT_EQ(object.id, id);
    EXPECT_EQ(object.tenant, 4294967295U);
    EXPECT_EQ(object.kind, kStamp);
    EXPECT_EQ(object.content, "1:2:5:Hello:1:D:");
    EXPECT_EQ(object.revision, 1U);
    EXPECT_EQ(object.author, "ada");
    EXPECT_GE(object.changed, before);
    EXPECT_LE(object.changed, std::chrono::system_clock::now());
    EXPECT_EQ(must(place->open("bob").modify(4294967295, id, kStamp, "rules", "new")).revision, 2U);
    const auto changed = must(store.get(4294967295, id));
    EXPECT_EQ(changed.name, "rules");
    EXPECT_EQ(changed.content, "new");
    EXPECT_EQ(changed.author, "bob");
    expectFault(store.get(1, id), StoreTrouble::NotFound, {"object with id"});
    expectFault(store.find(4294967295, kStamp, "legal"), StoreTrouble::NotFound, {"stamp 'legal'"});
}

TEST_P(ObjectsTest, NamesAreUniqueForEachTenantAndKindAndSortedByTheirBytes) {
    ObjectStore store = place->open();
    for (const char* name : {"b", "a", "Z", "\xC3\xA4", "B"}) {
        must(store.add(1, kStamp, name, "x"));
    }
    must(store.add(1, kNotify, "a", "x"));
    const unsigned other = must(store.add(2, kStamp, "a", "x")).id;
    EXPECT_EQ(namesOf(store, 1, kStamp), (std::vector<std::string>{"B", "Z", "a", "b", "\xC3\xA4"}));
    EXPECT_EQ(namesOf(store, 1), (std::vector<std::string>{"a", "B", "Z", "a", "b", "\xC3\xA4"}));
    EXPECT_EQ(namesOf(store, 2), std::vector<std::string>{"a"});
    EXPECT_EQ(namesOf(store, 3), std::vector<std::string>{});
    expectFault(store.add(1, kStamp, "a", "y"), StoreTrouble::NameTaken, {"stamp 'a'"});
    must(store.add(2, kStamp, "b", "x"));
    expectFault(store.modify(2, other, kStamp, "b", "y"), StoreTrouble::NameTaken);
    EXPECT_EQ(must(store.get(2, other)).content, "x");
    must(store.modify(2, other, kStamp, "a", "y"));
    expectFault(store.modify(2, other, kNotify, "a", "y"), StoreTrouble::NotFound, {"notify"});
    expectFault(store.modify(1, other, kStamp, "a", "y"), StoreTrouble::NotFound);
    expectFault(store.remove(1, other), StoreTrouble::NotFound);
}

TEST_P(ObjectsTest, AChangeOfSomethingChangedMeanwhileIsRefused) {
    ObjectStore ada = place->open("ada");
    ObjectStore bob = place->open("bob");
    const unsigned id = must(ada.add(1, kStamp, "legal", "first")).id;
    must(bob.modify(1, id, kStamp, "legal", "bob's", 1));
    const auto refused = ada.modify(1, id, kStamp, "legal", "ada's", 1);
    expectFault(refused, StoreTrouble::ChangedMeanwhile, {"stamp 'legal'", "by bob", "revision 2, not 1"});
    EXPECT_EQ(refused.fault().remedy(), StoreRemedy::ChangeRequest);
    expectFault(ada.remove(1, id, 1), StoreTrouble::ChangedMeanwhile);
    EXPECT_EQ(must(ada.get(1, id)).content, "bob's");
    must(ada.modify(1, id, kStamp, "legal", "ada's", 2));
    must(bob.remove(1, id, 3));
    expectFault(ada.modify(1, id, kStamp, "legal", "late", 3), StoreTrouble::NotFound);
}

TEST_P(ObjectsTest, ARestoreOfSomethingChangedMeanwhileIsRefused) {
    ObjectStore ada = place->open("ada");
    ObjectStore bob = place->open("bob");
    const unsigned id = must(ada.add(1, kStamp, "legal", "first")).id;
    must(bob.modify(1, id, kStamp, "legal", "bob's", 1));
    expectFault(ada.restore(1, id, 1, 1), StoreTrouble::ChangedMeanwhile, {"by bob", "revision 2, not 1"});
    must(bob.remove(1, id, 2));
    expectFault(ada.restore(1, id, 1, 2), StoreTrouble::NotFound, {"stamp 'legal'", "removed meanwhile"});
    expectFault(ada.get(1, id), StoreTrouble::NotFound);
    must(bob.restore(1, id, 2, 3));
    expectFault(ada.restore(1, id, 1, 3), StoreTrouble::ChangedMeanwhile, {"revision 4, not 3"});
    EXPECT_EQ(must(ada.get(1, id)).content, "bob's");
    EXPECT_EQ(must(ada.history(1, id)).size(), 4U) << "a refused restore leaves no trace";
    EXPECT_EQ(must(ada.restore(1, id, 1, 4)).revision, 5U);
}

TEST_P(ObjectsTest, EveryFormerVersionIsKeptAndCanComeBack) {
    ObjectStore store = place->open("ada");
    const unsigned id = must(store.add(1, kStamp, "legal", "one")).id;
    must(place->open("bob").modify(1, id, kStamp, "rules", "two"));
    must(store.restore(1, id, 1));
    must(store.remove(1, id));
    EXPECT_EQ(must(store.findRemoved(1, kStamp, "legal")), id);
    expectFault(store.findRemoved(2, kStamp, "legal"), StoreTrouble::NotFound, {"removed stamp"});
    must(store.restore(1, id, 2));
    expectFault(store.findRemoved(1, kStamp, "legal"), StoreTrouble::NotFound);

    const std::vector<ObjectVersion> versions = must(store.history(1, id));
    const std::vector<std::vector<std::string>> expected = {{"add", "legal", "one", "ada"},
                                                            {"modify", "rules", "two", "bob"},
                                                            {"restore", "legal", "one", "ada"},
                                                            {"remove", "legal", "one", "ada"},
                                                            {"restore", "rules", "two", "ada"}};
    ASSERT_EQ(versions.size(), expected.size());
    for (std::size_t index = 0; index < expected.size(); ++index) {
        const ObjectVersion& version = versions[index];
        EXPECT_EQ(version.revision, index + 1);
        EXPECT_EQ((std::vector<std::string>{version.change, version.name, version.content, version.author}),
                  expected[index]);
    }
    EXPECT_EQ(must(store.find(1, kStamp, "rules")).id, id);
    EXPECT_EQ(must(store.get(1, id)).revision, 5U);
    expectFault(store.restore(1, id, 9), StoreTrouble::NotFound, {"version 9"});
    expectFault(store.history(2, id), StoreTrouble::NotFound);
    must(store.add(1, kStamp, "legal", "another"));
    expectFault(store.restore(1, id, 1), StoreTrouble::NameTaken);
}

TEST_P(ObjectsTest, IdsAreNeverGivenTwice) {
    ObjectStore store = place->open();
    const unsigned first = must(store.add(1, kStamp, "a", "x")).id;
    must(store.remove(1, first));
    EXPECT_GT(must(store.add(1, kStamp, "a", "x")).id, first);
}

TEST_P(ObjectsTest, WhatAPolicyRefersToIsNotRemoved) {
    ObjectStore store = place->open();
    const unsigned used = must(store.add(1, kStamp, "used", "x")).id;
    const unsigned plain = must(store.add(1, kStamp, "plain", "x")).id;
    const unsigned foreign = must(store.add(2, kStamp, "foreign", "x")).id;
    std::vector<ObjectReference> wanted = {{10, "Outbound \x07 disclaimer", used}, {10, "doubled", used}};
    for (unsigned rule = 11; rule < 16; ++rule) {
        wanted.insert(wanted.begin(), {rule, "more", used});
    }
    EXPECT_TRUE(must(store.setReferences(1, wanted)));
    EXPECT_FALSE(must(store.setReferences(1, wanted))) << "the same list is no change";
    EXPECT_EQ(must(store.references(1)).size(), 6U);
    EXPECT_EQ(must(store.references(1, used))[0], (ObjectReference{10, "Outbound \x07 disclaimer", used}));
    EXPECT_TRUE(must(store.references(1, plain)).empty());
    expectFault(store.remove(1, used), StoreTrouble::InUse,
                {"stamp 'used'", "rule 10 'Outbound \\x07 disclaimer'", "3 more"});
    for (const auto& object : must(store.list(1))) {
        EXPECT_EQ(object.inUse, object.id == used);
    }
    expectFault(store.setReferences(1, {{20, "r", foreign}}), StoreTrouble::NotFound, {"rule 20"});
    expectFault(store.setReferences(1, {{20, std::string("a\0b", 3), used}}), StoreTrouble::BadText);
    EXPECT_EQ(must(store.references(1)).size(), 6U) << "a refused list leaves the former one";
    EXPECT_TRUE(must(store.setReferences(2, {{10, "theirs", foreign}})));
    EXPECT_TRUE(must(store.setReferences(1, {})));
    must(store.remove(1, used));
    expectFault(store.remove(2, foreign), StoreTrouble::InUse, {"theirs"});
}

TEST_P(ObjectsTest, AReadOnlyObjectStaysAsItIs) {
    ObjectStore store = place->open();
    const unsigned id = must(store.add(1, kStamp, "legal", "x")).id;
    must(store.modify(1, id, kStamp, "legal", "y"));
    expectFault(store.setReadOnly(2, id, true), StoreTrouble::NotFound);
    must(store.setReadOnly(1, id, true));
    EXPECT_TRUE(must(store.list(1))[0].readOnly);
    expectFault(store.modify(1, id, kStamp, "legal", "z"), StoreTrouble::ReadOnlyObject, {"'legal'"});
    expectFault(store.remove(1, id), StoreTrouble::ReadOnlyObject);
    expectFault(store.restore(1, id, 1), StoreTrouble::ReadOnlyObject);
    must(store.setReadOnly(1, id, false));
    must(store.remove(1, id));
}

TEST_P(ObjectsTest, ChangesAreMadeTogetherOrNotAtAll) {
    using Effect = ObjectOutcome::Effect;
    using Type = ObjectChange::Type;
    ObjectStore store = place->open();
    const unsigned old = must(store.add(1, kStamp, "old", "x")).id;
    const unsigned kept = must(store.add(1, kStamp, "kept", "x")).id;
    std::vector<ObjectChange> changes = {
        {Type::Put, kStamp, 0, {}, "kept", "x"},    {Type::Put, kStamp, 0, {}, "new", "1"},
        {Type::Put, kStamp, 0, {}, "new", "2"},     {Type::Remove, kStamp, old, 1, "", ""},
        {Type::Add, kStamp, 0, {}, "old", "again"}, {Type::Modify, kStamp, kept, 1, "moved", "z"}};
    std::vector<Effect> effects;
    for (const ObjectOutcome& outcome : must(store.apply(1, changes, true))) {
        effects.push_back(outcome.effect);
    }
    EXPECT_EQ(effects, (std::vector<Effect>{Effect::Unchanged, Effect::Added, Effect::Modified,
                                            Effect::Removed, Effect::Added, Effect::Modified}));
    EXPECT_EQ(namesOf(store, 1), (std::vector<std::string>{"kept", "old"})) << "a dry run changes nothing";

    std::size_t failedAt = 99;
    changes.push_back({Type::Modify, kStamp, kept, 1, "moved", "stale"});
    expectFault(store.apply(1, changes, false, &failedAt), StoreTrouble::ChangedMeanwhile);
    EXPECT_EQ(failedAt, 6U);
    EXPECT_EQ(namesOf(store, 1), (std::vector<std::string>{"kept", "old"}));
    EXPECT_EQ(must(store.history(1, kept)).size(), 1U);
    changes.pop_back();
    must(store.apply(1, changes, false));
    EXPECT_EQ(namesOf(store, 1), (std::vector<std::string>{"moved", "new", "old"}));
    EXPECT_NE(must(store.find(1, kStamp, "old")).id, old);
}

TEST_P(ObjectsTest, ThreadsWithSessionsOfTheirOwnLoseNothing) {
    constexpr std::size_t kThreads = 8;
    constexpr std::size_t kRounds = 5;
    ObjectStore store = place->open();
    const unsigned shared = must(store.add(1, kStamp, "counter", "+")).id;
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (std::size_t number = 0; number < kThreads; ++number) {
        threads.emplace_back([this, number, shared] {
            ObjectStore own = must(ObjectStore::open({place->connection(), "thread", 60}));
            for (std::size_t round = 0; round < kRounds; ++round) {
                const std::string name = std::to_string(number) + "." + std::to_string(round);
                EXPECT_TRUE(own.add(1, kNotify, name, "x").ok());
                for (bool done = false; !done;) {
                    const auto object = must(own.get(1, shared));
                    const auto result =
                        own.modify(1, shared, kStamp, "counter", object.content + "+", object.revision);
                    done = result.ok();
                    ASSERT_TRUE(done || result.fault().trouble == StoreTrouble::ChangedMeanwhile)
                        << result.fault().text;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(namesOf(store, 1, kNotify).size(), kThreads * kRounds);
    EXPECT_EQ(must(store.get(1, shared)).content.size(), 1 + kThreads * kRounds);
}

TEST_P(ObjectsTest, AWriterThatIsKilledLeavesNothingHalfDone) {
    unsigned pair[2];
    for (unsigned index : {0U, 1U}) {
        pair[index] = must(place->open().add(1, kStamp, std::to_string(index), "start")).id;
    }
    unsigned changes = 1;
    for (int round = 0; round < 8; ++round) {
        const pid_t child = startChild([&]() -> int {
            ObjectStore store = must(ObjectStore::open({place->connection(), "child", 60}));
            for (int count = 0;; ++count) {
                const std::string text = std::to_string(round) + "." + std::to_string(count);
                must(store.apply(1,
                                 {{ObjectChange::Type::Modify, kStamp, pair[0], {}, "0", text},
                                  {ObjectChange::Type::Modify, kStamp, pair[1], {}, "1", text}},
                                 false));
            }
        });
        ObjectStore store = must(ObjectStore::open({place->connection(), "ada", 60}));
        for (int wait = 0; wait < 3000 && must(store.get(1, pair[0])).revision == changes; ++wait) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10)); // until the writer writes
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(3 * round));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        const auto first = must(store.get(1, pair[0]));
        const auto second = must(store.get(1, pair[1]));
        EXPECT_EQ(first.content, second.content);
        EXPECT_EQ(must(store.history(1, pair[0])).size(), first.revision);
        EXPECT_EQ(must(store.history(1, pair[1])).back().content, second.content);
        ASSERT_GT(first.revision, changes) << "the writer did not write";
        changes = first.revision;
    }
}

} // namespace
} // namespace quzo::test
