// A SQLite store of an older format is brought to the present one: whatever happens meanwhile, all that it
// held is there, and so is a copy of it as it was.
#include <sched.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <set>
#include <thread>

#include "store_place.h"

namespace quzo::test {
namespace {

namespace fs = std::filesystem;
using platform::ObjectKind;
using platform::ObjectStore;
using platform::StoreTrouble;

constexpr std::size_t kObjects = 2000;

// Everything that a store of format 1 holds, as one text.
constexpr const char* kAll =
    "select (select version from quzo_schema) || (select group_concat(id || name || content || revision)"
    " from quzo_object) || (select group_concat(object_id || change || content) from quzo_version)";

class StoreUpgradeTest : public ::testing::Test {
protected:
    // A store of format 1, with three versions of each object.
    void makeFirstVersion(const fs::path& path) const {
        must(open(path));
        executeOnFile(
            path,
            "alter table quzo_object drop column read_only; drop table quzo_reference;"
            "update quzo_schema set version = 1;"
            "with recursive n (i) as (select 1 union all select i + 1 from n where i < " +
                std::to_string(kObjects) +
                ") insert into quzo_object (tenant, kind, name, content, revision, author,"
                " changed_at) select 7, 2, 'name' || i, 'content' || i, 3, 'ada', 1700000000 from n;"
                "insert into quzo_version select id, v.column1, 7, 2, 'modify', name, content ||"
                " v.column1, 'ada', 1700000000 from quzo_object, (values (1), (2), (3)) v");
    }

    static platform::StoreResult<ObjectStore> open(const fs::path& path) {
        return ObjectStore::open({"sqlite3://" + path.string(), "ada", 5});
    }

    static void expectUpgraded(ObjectStore& store) {
        EXPECT_EQ(must(store.list(7)).size(), kObjects);
        const auto object = must(store.find(7, ObjectKind::StampArea, "name77"));
        EXPECT_EQ(object.content, "content77");
        EXPECT_EQ(must(store.history(7, object.id)).size(), 3U);
    }

    // The names beside the store.
    std::set<std::string> names() const {
        std::set<std::string> all;
        for (const auto& entry : fs::directory_iterator(folder.path())) {
            all.insert(entry.path().filename());
        }
        return all;
    }

    TemporaryFolder folder;
    const fs::path file = folder.path() / "store.db";
    const fs::path copy = folder.path() / "store.db.format-1";
};

TEST_F(StoreUpgradeTest, ACopyOfTheOlderStoreIsBesideIt) {
    makeFirstVersion(file);
    const std::string before = executeOnFile(file, kAll);
    fs::permissions(file, fs::perms(0640));
    struct stat there {};
    if (geteuid() == 0) {
        ASSERT_EQ(chown(file.c_str(), 64001, 64002), 0);
    }
    ASSERT_EQ(stat(file.c_str(), &there), 0);
    {
        ObjectStore store = must(open(file));
        EXPECT_EQ(store.format().copy, copy);
        EXPECT_TRUE(store.format().upgraded());
        expectUpgraded(store);
    }
    struct stat here {};
    ASSERT_EQ(stat(copy.c_str(), &here), 0);
    EXPECT_EQ(executeOnFile(copy, kAll), before);
    EXPECT_EQ(std::tuple(here.st_mode, here.st_uid, here.st_gid),
              std::tuple(there.st_mode, there.st_uid, there.st_gid));
    EXPECT_FALSE(must(open(file)).format().upgraded());
    EXPECT_EQ(names(), (std::set<std::string>{"store.db", "store.db.format-1"}));
}

// What was committed last is in the log of writes alone, and the name of the copy is taken.
TEST_F(StoreUpgradeTest, NothingIsOverwrittenAndNothingLeftOut) {
    makeFirstVersion(file);
    executeOnFile(copy, "create table theirs (a text)");
    sqlite3* raw = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &raw), SQLITE_OK);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> session(raw, &sqlite3_close);
    ASSERT_EQ(sqlite3_exec(raw,
                           "pragma journal_mode = wal; pragma wal_autocheckpoint = 0;"
                           "update quzo_object set content = 'late' where id = 77",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    EXPECT_EQ(must(open(file)).format().copy, copy.string() + "-2");
    EXPECT_EQ(executeOnFile(copy.string() + "-2", "select content from quzo_object where id = 77"), "late");
    EXPECT_EQ(executeOnFile(copy, "select count(*) from theirs"), "0");
}

TEST_F(StoreUpgradeTest, ProcessesThatStartTogetherMakeOneCopy) {
    makeFirstVersion(file);
    EXPECT_TRUE(inChildren(6, [&] { return must(open(file)).format().now == 2 ? 0 : 1; }));
    EXPECT_EQ(names(), (std::set<std::string>{"store.db", "store.db.format-1"}));
}

TEST_F(StoreUpgradeTest, AnUpgradeThatFailsLeavesNoCopy) {
    makeFirstVersion(file);
    executeOnFile(file, "create table quzo_reference (in_the_way bigint)");
    expectFault(open(file), StoreTrouble::Refused);
    EXPECT_EQ(names(), std::set<std::string>{"store.db"});
}

TEST_F(StoreUpgradeTest, AFullDiskLeavesTheStoreAsItWas) {
    constexpr int kCannotMount = 77;
    const int result = inChild([&] {
        const char* target = folder.path().c_str();
        if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("tmpfs", target, "tmpfs", 0, "size=16m") != 0) {
            return kCannotMount;
        }
        makeFirstVersion(file);
        const std::string before = executeOnFile(file, kAll);
        const std::string size = "size=" + std::to_string(fs::file_size(file) * 3 / 2);
        if (mount("tmpfs", target, "tmpfs", MS_REMOUNT, size.c_str()) != 0) {
            return kCannotMount;
        }
        expectFault(open(file), StoreTrouble::NoSpace, {"cannot be copied", "make room"});
        EXPECT_EQ(names(), std::set<std::string>{"store.db"});
        EXPECT_EQ(executeOnFile(file, kAll), before);
        if (mount("tmpfs", target, "tmpfs", MS_REMOUNT, "size=16m") != 0) {
            return kCannotMount;
        }
        ObjectStore store = must(open(file));
        expectUpgraded(store);
        return HasFailure() ? 1 : 0;
    });
    if (result == kCannotMount) {
        GTEST_SKIP() << "a small file system cannot be mounted by this user";
    }
    EXPECT_EQ(result, 0);
}

TEST_F(StoreUpgradeTest, WhoeverIsKilledLeavesOneWholeStore) {
    const auto upgrade = [&] { return must(open(file)).format().upgraded() ? 0 : 1; };
    makeFirstVersion(file);
    const std::string before = executeOnFile(file, kAll);
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_EQ(inChild(upgrade), 0);
    const auto whole = std::chrono::steady_clock::now() - begin;
    constexpr int kKills = 40;
    for (int kill = 0; kill < kKills; ++kill) {
        SCOPED_TRACE(kill);
        for (const std::string& name : names()) {
            fs::remove(folder.path() / name);
        }
        makeFirstVersion(file);
        const pid_t child = startChild(upgrade);
        std::this_thread::sleep_for(whole * kill / kKills);
        ::kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        if (executeOnFile(file, "select version from quzo_schema") == "1") {
            EXPECT_EQ(executeOnFile(file, kAll), before);
        }
        ObjectStore store = must(open(file));
        expectUpgraded(store);
        EXPECT_EQ(executeOnFile(copy, kAll), before);
        for (const std::string& name : names()) {
            EXPECT_EQ(name.find(".new"), std::string::npos) << name;
        }
    }
}

} // namespace
} // namespace quzo::test
