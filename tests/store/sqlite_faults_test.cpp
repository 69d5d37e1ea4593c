// What can be wrong with the file of an embedded store.
#include <sched.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <set>

#include "store_place.h"

namespace quzo::test {
namespace {

namespace fs = std::filesystem;
using platform::ObjectKind;
using platform::ObjectStore;
using platform::StoreRemedy;
using platform::StoreTrouble;

constexpr auto kStamp = ObjectKind::StampArea;

class SqliteFaultsTest : public ::testing::Test {
protected:
    static auto open(const fs::path& file) {
        return ObjectStore::open({"sqlite3://" + file.string(), "ada", 1});
    }

    // Runs `work` in a child that is an ordinary user; true when it returned true.
    static bool asOrdinaryUser(const std::function<bool()>& work) {
        return inChild([&] {
                   constexpr uid_t kNobody = 65534;
                   if (geteuid() == 0 && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) {
                       return 2;
                   }
                   return work() ? 0 : 1;
               }) == 0;
    }

    TemporaryFolder folder;
    const fs::path file = folder.path() / "store.db";
};

TEST_F(SqliteFaultsTest, FileNamesAreTakenLiterally) {
    const fs::path before = fs::current_path();
    fs::current_path(folder.path());
    for (const char* name :
         {"two  blanks.db", ":memory:", "file:a?mode=ro", "a=b.db", "quote\".db", "\xC3\xA4.db"}) {
        must(must(ObjectStore::open({std::string("sqlite3://") + name, "ada", 1})).add(1, kStamp, "a", "b"));
        EXPECT_TRUE(fs::is_regular_file(folder.path() / name)) << name;
        EXPECT_EQ(must(must(open(folder.path() / name)).list(1)).size(), 1U) << name;
    }
    fs::current_path(before);
}

// So are those that SQLite puts beside it, whatever the umask.
TEST_F(SqliteFaultsTest, ANewFileIsForItsOwnerAlone) {
    const mode_t mask = umask(0);
    must(open(file));
    std::set<std::string> seen;
    for (const char* statements : {"begin; create table t (a text); insert into t values ('x')",
                                   "pragma journal_mode = wal; create table t (a text)"}) {
        sqlite3* raw = nullptr;
        ASSERT_EQ(sqlite3_open(file.c_str(), &raw), SQLITE_OK);
        const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> session(raw, &sqlite3_close);
        ASSERT_EQ(sqlite3_exec(raw, statements, nullptr, nullptr, nullptr), SQLITE_OK);
        for (const auto& entry : fs::directory_iterator(folder.path())) {
            struct stat status {};
            ASSERT_EQ(stat(entry.path().c_str(), &status), 0);
            EXPECT_EQ(status.st_mode & 0777U, 0600U) << entry.path();
            seen.insert(entry.path().filename());
        }
    }
    umask(mask);
    EXPECT_EQ(seen, (std::set<std::string>{"store.db", "store.db-journal", "store.db-wal", "store.db-shm"}));
}

TEST_F(SqliteFaultsTest, NoStoreIsMadeThroughALinkThatLeadsNowhere) {
    fs::create_symlink(folder.path() / "elsewhere.db", file);
    expectFault(open(file), StoreTrouble::CannotOpen, {file.c_str(), "link"});
    EXPECT_FALSE(fs::exists(folder.path() / "elsewhere.db"));
    must(open(folder.path() / "elsewhere.db"));
    must(must(open(file)).add(1, kStamp, "a", "b")); // one that leads to a store is followed
}

TEST_F(SqliteFaultsTest, AnUnsuitablePlaceIsASettingToChange) {
    std::ofstream(folder.path() / "text") << std::string(4096, 'x');
    executeOnFile(folder.path() / "foreign.db", "create table theirs (a text)");
    const struct {
        fs::path path;
        StoreTrouble trouble;
        const char* part;
    } rows[] = {
        {folder.path() / "none/store.db", StoreTrouble::CannotOpen, "its folder does not exist"},
        {folder.path(), StoreTrouble::CannotOpen, "not a regular file"},
        {folder.path() / "text", StoreTrouble::NotAStore, "no database"},
        {folder.path() / "text/store.db", StoreTrouble::CannotOpen, "cannot be opened"},
        {folder.path() / "foreign.db", StoreTrouble::NotAStore, "something else"},
    };
    for (const auto& row : rows) {
        const auto refused = open(row.path);
        expectFault(refused, row.trouble, {row.path.c_str(), row.part});
        EXPECT_EQ(refused.fault().remedy(), StoreRemedy::Configure);
    }
    EXPECT_FALSE(fs::exists(folder.path() / "none"));
    EXPECT_EQ(executeOnFile(folder.path() / "foreign.db", "select count(*) from sqlite_master"), "1");
}

TEST_F(SqliteFaultsTest, WhatMayOnlyBeReadIsReadAndNotChanged) {
    const unsigned id = must(must(open(file)).add(1, kStamp, "legal", "x")).id;
    must(must(open(file)).setReferences(1, {{10, "rule", id}}));
    fs::permissions(file, fs::perms(0444));
    EXPECT_TRUE(asOrdinaryUser([&] {
        ObjectStore store = must(open(file));
        const auto refused = store.modify(1, id, kStamp, "legal", "y");
        return must(store.get(1, id)).content == "x" && !must(store.setReferences(1, {{10, "rule", id}})) &&
               !refused && refused.fault().trouble == StoreTrouble::ReadOnlyStore &&
               refused.fault().text.find("read-only") != std::string::npos;
    }));
    fs::permissions(file, fs::perms(0666));
    fs::permissions(folder.path(), fs::perms(0555)); // the journal has to be written beside the file
    EXPECT_TRUE(asOrdinaryUser([&] {
        ObjectStore store = must(open(file));
        const auto refused = store.modify(1, id, kStamp, "legal", "y");
        const auto created = open(folder.path() / "another.db");
        return must(store.get(1, id)).content == "x" && !refused &&
               refused.fault().trouble == StoreTrouble::ReadOnlyStore &&
               refused.fault().text.find("folder") != std::string::npos && !created &&
               created.fault().trouble == StoreTrouble::CannotOpen;
    }));
    fs::permissions(folder.path(), fs::perms(0777));
    fs::permissions(file, fs::perms(0600));
    if (geteuid() == 0) {
        EXPECT_TRUE(asOrdinaryUser([&] {
            const auto refused = open(file);
            return !refused && refused.fault().trouble == StoreTrouble::CannotOpen;
        }));
    }
    EXPECT_EQ(must(must(open(file)).history(1, id)).size(), 1U);
}

// Makes a change that does not fit below `file`, and one that does; 0 when the first changed nothing.
int overfill(const fs::path& file, const std::function<void()>& makeTight, StoreTrouble expected) {
    ObjectStore store = must(ObjectStore::open({"sqlite3://" + file.string(), "ada", 1}));
    const unsigned id = must(store.add(1, kStamp, "legal", "x")).id;
    makeTight();
    const auto refused = store.modify(1, id, kStamp, "legal", std::string(500000, 'y'));
    const bool told =
        !refused && refused.fault().trouble == expected && refused.fault().remedy() == StoreRemedy::TryAgain;
    must(store.modify(1, id, kStamp, "rules", "x"));
    return told && must(store.history(1, id)).size() == 2 && must(store.get(1, id)).content == "x" ? 0 : 1;
}

TEST_F(SqliteFaultsTest, AFullDiskChangesNothing) {
    constexpr int kCannotMount = 77;
    const int result = inChild([&] {
        const char* target = folder.path().c_str();
        if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("tmpfs", target, "tmpfs", 0, "size=400k") != 0) {
            return kCannotMount;
        }
        return overfill(
            file, [] {}, StoreTrouble::NoSpace);
    });
    if (result == kCannotMount) {
        GTEST_SKIP() << "a small file system cannot be mounted by this user";
    }
    EXPECT_EQ(result, 0);
}

TEST_F(SqliteFaultsTest, AFileThatMayNotGrowChangesNothing) {
    EXPECT_EQ(inChild([&] {
                  const auto limitFiles = [] {
                      signal(SIGXFSZ, SIG_IGN);
                      const rlimit limit{200000, 200000}; // bytes
                      setrlimit(RLIMIT_FSIZE, &limit);
                  };
                  return overfill(file, limitFiles, StoreTrouble::InputOutput);
              }),
              0);
    EXPECT_EQ(must(must(open(file)).list(1))[0].name, "rules");
}

TEST_F(SqliteFaultsTest, AFileThatGoesAwayIsMissedAndUsedAgainWhenItIsBack) {
    ObjectStore store = must(open(file));
    const unsigned id = must(store.add(1, kStamp, "legal", "x")).id;
    fs::rename(file, folder.path() / "aside.db");
    for (int attempt = 0; attempt < 2; ++attempt) {
        expectFault(store.modify(1, id, kStamp, "legal", "y"), StoreTrouble::CannotOpen, {"is gone"});
    }
    EXPECT_FALSE(fs::exists(file)) << "an empty store in its place would hide the loss";
    fs::rename(folder.path() / "aside.db", file);
    must(store.modify(1, id, kStamp, "legal", "y"));
    EXPECT_EQ(must(must(open(file)).get(1, id)).content, "y");
}

TEST_F(SqliteFaultsTest, AnOlderStoreThatMayOnlyBeReadIsNotUpgraded) {
    must(open(file));
    executeOnFile(file,
                  "alter table quzo_object drop column read_only; drop table quzo_reference;"
                  "update quzo_schema set version = 1");
    fs::permissions(file, fs::perms(0444));
    EXPECT_TRUE(asOrdinaryUser([&] {
        const auto refused = open(file);
        return !refused && refused.fault().trouble == StoreTrouble::ReadOnlyStore;
    }));
    EXPECT_EQ(executeOnFile(file, "select version from quzo_schema"), "1");
}

TEST_F(SqliteFaultsTest, AStoreThatAnotherProgramHoldsIsOpenedLater) {
    const auto place = StorePlace::make(platform::Backend::Sqlite);
    must(ObjectStore::open(place->settings()));
    std::shared_ptr<void> lock = place->lockOut();
    const auto refused = ObjectStore::open({place->connection(), "ada", 0});
    expectFault(refused, StoreTrouble::Locked, {"waited 0 s"});
    EXPECT_EQ(refused.fault().remedy(), StoreRemedy::TryAgain);
    lock.reset();
    must(ObjectStore::open({place->connection(), "ada", 0}));
}

TEST_F(SqliteFaultsTest, AChangeThatCannotBeSavedWhileOthersReadIsUndone) {
    ObjectStore store = must(open(file));
    const unsigned id = must(store.add(1, kStamp, "legal", "x")).id;
    ObjectStore other = must(ObjectStore::open({"sqlite3://" + file.string(), "bob", 0}));
    must(store.visit(1, [&](const auto&) {
        expectFault(other.modify(1, id, kStamp, "legal", "y"), StoreTrouble::Locked);
    }));
    EXPECT_EQ(must(other.get(1, id)).content, "x");
    must(other.modify(1, id, kStamp, "legal", "y", 1));
}

} // namespace
} // namespace quzo::test
