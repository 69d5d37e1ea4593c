// The file of the figures, the health, and what is said when something cannot be shown.
#include "host/figures/figures_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>

#include "tests/cli/program.h"
#include "tests/figures/figures_text.h"

namespace quzo::host::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class FiguresServiceTest : public testing::Test {
protected:
    FiguresServiceTest() {
        dir.write("quzo.ini", "[platform]\nspool = sp\n");
        EXPECT_TRUE(installation.open({.iniFile = dir.path("quzo.ini"), .policyFile = {}}));
    }

    FiguresService::Parts parts(const std::string& file) {
        return {.figures = figures,
                .health = health,
                .queues = *installation.queues(),
                .settings = {.address = {}, .file = file},
                .connections = [] { return 3; },
                .say =
                    [this](const Fault& fault) {
                        const std::scoped_lock lock(mutex);
                        said.push_back(fault.line());
                    },
                .round = 1ms};
    }

    // Within a minute, which is only there so that a test ends.
    template <typename Holds>
    static bool comes(Holds&& holds) {
        for (int i = 0; i < 6000 && !holds(); ++i) {
            std::this_thread::sleep_for(10ms);
        }
        return holds();
    }

    quzo::test::TemporaryDirectory dir;
    Installation installation;
    Figures figures{0};
    Health health{installation, 0s};
    std::mutex mutex;
    std::vector<std::string> said; // guarded by the mutex
};

TEST_F(FiguresServiceTest, TheFileIsReplacedAsAWholeAndEndsWithTheService) {
    const std::string file = dir.path("quzo.prom");
    const mode_t before = ::umask(077);
    {
        const FiguresService service(parts(file));
        ASSERT_TRUE(comes([&] { return fs::exists(file); }));
        struct stat status {};
        ASSERT_EQ(::stat(file.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, 0644U);
        const std::size_t names = FiguresText(quzo::test::readFile(file)).values.size();
        std::set<ino_t> versions;
        for (int i = 0; i < 500 || versions.size() < 2; ++i) {
            const FiguresText text(quzo::test::readFile(file));
            ASSERT_TRUE(text.sound);
            ASSERT_EQ(text.values.size(), names);
            ASSERT_EQ(text.of("quzo_connections"), 3);
            ASSERT_EQ(::stat(file.c_str(), &status), 0);
            versions.insert(status.st_ino);
        }
    }
    ::umask(before);
    EXPECT_FALSE(fs::exists(file));
    EXPECT_FALSE(fs::exists(file + ".new"));
    EXPECT_THAT(said, IsEmpty());
}

TEST_F(FiguresServiceTest, WhatCannotBeShownIsSaidOnceAndTriedAgain) {
    const auto other = FiguresServer::start({"127.0.0.1", 0}, {});
    ASSERT_TRUE(other);
    const std::string file = dir.path("folder/quzo.prom");
    FiguresService::Parts all = parts(file);
    all.settings.address = platform::LoopbackPort{"127.0.0.1", (*other)->port()};
    {
        const FiguresService service(std::move(all));
        ASSERT_TRUE(comes([&] {
            const std::scoped_lock lock(mutex);
            return said.size() == 2;
        }));
        std::this_thread::sleep_for(50ms); // many rounds, which say no more
        fs::create_directory(dir.path("folder"));
        EXPECT_TRUE(comes([&] { return fs::exists(file); }));
    }
    EXPECT_THAT(said, ElementsAre(HasSubstr("warning: the port for figures cannot be opened"),
                                  HasSubstr("quzo.prom: warning: cannot be written")));
}

TEST_F(FiguresServiceTest, HealthIsThePolicyTheReloadAndTheDisk) {
    EXPECT_THAT(health.faults(), IsEmpty()) << "before there is a spool";
    EXPECT_FALSE(fs::exists(dir.path("sp")));

    health.reloaded({Fault::warning("quzo.ini", "odd"), Fault{78, "p.toml:3", "no rule", "write one"}});
    EXPECT_THAT(health.faults(), ElementsAre("not loaded anew: quzo: p.toml:3: no rule: write one"));
    health.reloaded({Fault::warning("quzo.ini", "odd")});
    EXPECT_THAT(health.faults(), IsEmpty());

    fs::create_directories(dir.path("sp/outgoing"));
    EXPECT_THAT(health.faults(), IsEmpty());
    EXPECT_THAT(dir.files("sp"), IsEmpty()) << "what was tried is gone";
    fs::remove(dir.path("sp/outgoing"));
    dir.write("sp/outgoing", "no directory");
    EXPECT_THAT(health.faults(), ElementsAre(HasSubstr("sp/outgoing: cannot be written to")));
    fs::remove(dir.path("sp/outgoing"));
    EXPECT_THAT(health.faults(), IsEmpty());
}

} // namespace
} // namespace quzo::host::test
