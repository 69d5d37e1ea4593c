// Which files stand in for those that nobody named.
#include "host/gateway/standard_files.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "host/gateway/installation.h"
#include "tests/cli/program.h"

namespace quzo::host::test {
namespace {

namespace fs = std::filesystem;

TEST(StandardFiles, AreThoseThatAreThere) {
    const quzo::test::TemporaryDirectory dir;
    dir.write("both/quzo.ini", "");
    dir.write("both/policy.toml", "");
    dir.write("settings/quzo.ini", "");
    dir.write("file", "");
    fs::create_directories(dir.path("link"));
    fs::create_symlink("nowhere", dir.path("link/quzo.ini")); // somebody wanted settings
    const struct {
        const char* folder;
        bool ini;
        bool policy;
    } rows[] = {{"both", true, true},   {"settings", true, false}, {"link", true, false},
                {"none", false, false}, {"file", false, false},    {"none/below", false, false}};
    for (const auto& row : rows) {
        const StandardFiles files = standardFiles(dir.path(row.folder));
        EXPECT_EQ(files.iniFile, row.ini ? dir.path(row.folder) + "/quzo.ini" : "") << row.folder;
        EXPECT_EQ(files.policyFile, row.policy ? dir.path(row.folder) + "/policy.toml" : "") << row.folder;
    }
}

// What is there and cannot be read is an error that names it, whatever it is that is in the way.
TEST(StandardFiles, ThatCannotBeReadAreNotPassedOver) {
    const quzo::test::TemporaryDirectory dir;
    fs::create_directories(dir.path("folder/quzo.ini"));
    fs::create_directories(dir.path("link"));
    fs::create_symlink("nowhere", dir.path("link/quzo.ini"));
    fs::create_symlink("round", dir.path("round"));
    dir.write("closed/quzo.ini", "");
    fs::permissions(dir.path("closed"), fs::perms::none);
    for (const std::string folder : {"folder", "link", "round", "closed"}) {
        if (folder == "closed" && ::geteuid() == 0) {
            continue; // nothing is closed to root
        }
        Installation installation;
        EXPECT_FALSE(installation.open(
            {.iniFile = standardFiles(dir.path(folder)).iniFile, .policyFile = {}, .library = false}))
            << folder;
        ASSERT_EQ(installation.findings().size(), 1U) << folder;
        EXPECT_EQ(installation.findings()[0].where, dir.path(folder) + "/quzo.ini");
        EXPECT_EQ(exitCodeOf(installation.findings()), 78);
    }
    fs::permissions(dir.path("closed"), fs::perms::owner_all);
}

} // namespace
} // namespace quzo::host::test
