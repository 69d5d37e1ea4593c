// What `-o` makes durable. fsync() is this program's own, which notes what it is called for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string>

#include "host/cli/files/output_directory.h"
#include "tests/cli/program.h"

namespace quzo::test {
namespace {

std::set<std::string>& synced() {
    static std::set<std::string> paths;
    return paths;
}

} // namespace
} // namespace quzo::test

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" int fsync(int descriptor) {
    std::error_code error;
    quzo::test::synced().insert(
        std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), error).string());
    return static_cast<int>(::syscall(SYS_fsync, descriptor));
}

namespace quzo::test {
namespace {

// Every directory that leads to a message, also one that a run made that was killed before it came to that.
TEST(OutputDirectory, MakesTheWayToAMessageDurable) {
    for (const bool each : {false, true}) {
        for (const bool thereBefore : {false, true}) {
            const TemporaryDirectory dir;
            const std::string out = dir.path("nn/n2/out");
            if (thereBefore) {
                std::filesystem::create_directories(out + "/a/b");
            }
            synced().clear();
            host::OutputDirectory directory;
            ASSERT_FALSE(directory.open(out, {}, each));
            const auto message = [](const auto& sink) { sink("Subject: x\n\n"); };
            ASSERT_FALSE(directory.store({"a/b/m.eml", 0, {}}, message));
            if (!each) {
                EXPECT_THAT(synced(), testing::IsEmpty());
                ASSERT_FALSE(directory.sync());
            }
            for (const std::string& path :
                 {dir.path(), dir.path("nn"), dir.path("nn/n2"), out, out + "/a", out + "/a/b"}) {
                const std::string real = std::filesystem::canonical(path);
                EXPECT_EQ(synced().count(real), 1U) << path << (each ? ", each" : "") << thereBefore;
            }
        }
    }
}

} // namespace
} // namespace quzo::test
