// The log: one line a record whatever is in it, from any number of threads, and never an exception.
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/log/file_log.h"
#include "platform/log/log_subject.h"

namespace {

// What the system log was given, in the place of the real one.
struct SystemLog {
    std::string identity;
    int facility = 0;
    std::vector<std::pair<int, std::string>> lines; // with their priorities
};

SystemLog& systemLog() {
    static SystemLog log;
    return log;
}

void addToSystemLog(int priority, const char* format, std::va_list arguments) {
    char line[1024];
    std::vsnprintf(line, sizeof line, format, arguments);
    systemLog().lines.emplace_back(priority, line);
}

} // namespace

// The C library's functions, as far as the log calls them; the second one with checked formats.
extern "C" {
void openlog(const char* identity, int /*options*/, int facility) {
    systemLog().identity = identity;
    systemLog().facility = facility;
}

void syslog(int priority, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    addToSystemLog(priority, format, arguments);
    va_end(arguments);
}

void __syslog_chk(int priority, int /*flag*/, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    addToSystemLog(priority, format, arguments);
    va_end(arguments);
}
}

namespace {

using quzo::platform::FileLog;
using quzo::platform::LogSubject;

class LogFile : public testing::Test {
protected:
    void SetUp() override { std::filesystem::remove(path_); }
    void TearDown() override { std::filesystem::remove(path_); }

    std::vector<std::string> lines() const {
        std::ifstream stream(path_);
        std::vector<std::string> out;
        for (std::string line; std::getline(stream, line);) {
            out.push_back(line);
        }
        return out;
    }

    // Tests run side by side, each in a process of its own.
    std::filesystem::path path_ =
        std::filesystem::path(testing::TempDir()) / ("quzo-log-" + std::to_string(::getpid()));
};

TEST_F(LogFile, WritesALineARecord) {
    std::string problem;
    const auto log = FileLog::open(path_.string(), 2, problem);
    ASSERT_NE(log, nullptr) << problem;
    EXPECT_EQ(log->level, 2);
    log->write(1, "%s", "Subject: x\n2024-01-01 00:00:00.000 [1] error: forged {} %s");
    log->write(2, "%d of %s", 3, "four");
    log->write(3, "%s", "too much detail");
    const std::string longText(20000, 'y');
    log->write(1, "%s", longText.c_str());
    const auto written = lines();
    ASSERT_EQ(written.size(), 3U);
    for (const std::string& line : written) {
        EXPECT_THAT(line.substr(0, 60),
                    testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}"
                                          "[+-][0-9]{2}:[0-9]{2} "
                                          "\\[[0-9]+\\] (error|notice): .*"));
    }
    EXPECT_THAT(written[0],
                testing::EndsWith("error: Subject: x\\x0A2024-01-01 00:00:00.000 [1] error: forged {} %s"));
    EXPECT_THAT(written[1], testing::EndsWith("notice: 3 of four"));
    EXPECT_THAT(written[2], testing::EndsWith("error: " + std::string(FileLog::kMaxLine, 'y')));
    struct stat status {};
    ASSERT_EQ(stat(path_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0007U, 0U);
}

TEST_F(LogFile, AppendsFromManyThreads) {
    std::ofstream(path_) << "before\n";
    std::string problem;
    const auto log = FileLog::open(path_.string(), 3, problem);
    ASSERT_NE(log, nullptr) << problem;
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&log, t] {
            for (int i = 0; i < 500; ++i) {
                log->write(1 + i % 3, "thread %d line %d\n", t, i);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const auto written = lines();
    ASSERT_EQ(written.size(), 2001U);
    for (std::size_t i = 1; i < written.size(); ++i) {
        ASSERT_THAT(written[i], testing::EndsWith("\\x0A"));
    }
    EXPECT_EQ(log->lost(), 0U);
}

TEST_F(LogFile, GoesOnInANewFileWhenTheFormerIsMovedAway) {
    const std::filesystem::path moved = path_.string() + ".1";
    std::string problem;
    const auto log = FileLog::open(path_.string(), 1, problem);
    ASSERT_NE(log, nullptr) << problem;
    log->write(1, "first");
    std::filesystem::rename(path_, moved);
    log->write(1, "second");
    EXPECT_THAT(lines(), testing::ElementsAre(testing::EndsWith("second")));
    std::filesystem::rename(moved, path_); // another one has its name: that is appended to
    log->write(1, "third");
    EXPECT_THAT(lines(), testing::ElementsAre(testing::EndsWith("first"), testing::EndsWith("third")));
    std::filesystem::resize_file(path_, 0);
    log->write(1, "fourth");
    EXPECT_THAT(lines(), testing::ElementsAre(testing::EndsWith("fourth")));
}

TEST_F(LogFile, LinesNameWhatTheirThreadWorksOn) {
    std::string problem;
    const auto log = FileLog::open(path_.string(), 1, problem);
    ASSERT_NE(log, nullptr) << problem;
    {
        LogSubject outer("in/a\n.eml");
        outer.add("7K2");
        log->write(1, "first");
        {
            const LogSubject inner("b.eml");
            std::thread([&log] { log->write(1, "elsewhere"); }).join();
            log->write(1, "second");
        }
        log->write(1, "third");
    }
    log->write(1, "last");
    const char* const expected[] = {"] error: in/a\\x0A.eml 7K2: first", "] error: elsewhere",
                                    "] error: b.eml: second", "] error: in/a\\x0A.eml 7K2: third",
                                    "] error: last"};
    const auto written = lines();
    ASSERT_EQ(written.size(), std::size(expected));
    for (std::size_t line = 0; line < written.size(); ++line) {
        EXPECT_THAT(written[line], testing::EndsWith(expected[line]));
    }
}

TEST_F(LogFile, MakesNoFileWhenThatIsLeftOut) {
    std::string problem;
    const auto log = FileLog::open(path_.string(), 1, problem, false);
    ASSERT_NE(log, nullptr) << problem;
    log->write(1, "x");
    EXPECT_FALSE(std::filesystem::exists(path_));
    EXPECT_EQ(FileLog::open("/nonexistent/quzo.log", 1, problem, false), nullptr);
    EXPECT_NE(problem, "");
    std::ofstream(path_) << "before\n";
    FileLog::open(path_.string(), 1, problem, false)->write(1, "x");
    EXPECT_EQ(lines().size(), 2U);
}

TEST_F(LogFile, SaysWhyItCannotBeOpened) {
    for (const char* target : {"/nonexistent/quzo.log", "", "/"}) {
        std::string problem;
        EXPECT_EQ(FileLog::open(target, 1, problem), nullptr);
        EXPECT_NE(problem, "");
    }
}

// Time and process are the journal's and the system log's own.
TEST(Log, HasPrioritiesOfTheSystem) {
    const char* const expected[] = {"error: a/b: one\\x0Atwo", "notice: a/b: x", "detail: a/b: y",
                                    "message: id=1"};
    const int numbers[] = {LOG_ERR, LOG_INFO, LOG_DEBUG, LOG_INFO};
    const auto writeAll = [](const char* target) {
        std::string problem;
        const auto log = FileLog::open(target, 3, problem);
        ASSERT_NE(log, nullptr) << problem;
        const LogSubject subject("a/b");
        log->write(1, "one\ntwo");
        log->write(2, "x");
        log->write(3, "y");
        log->tell("id=1");
        EXPECT_EQ(log->lost(), 0U);
    };
    std::string journal;
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        journal += "<" + std::to_string(numbers[i]) + ">" + expected[i] + "\n";
    }
    testing::internal::CaptureStderr();
    writeAll("journal");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), journal);

    writeAll("syslog");
    EXPECT_EQ(systemLog().identity, "quzo");
    EXPECT_EQ(systemLog().facility, LOG_MAIL);
    ASSERT_EQ(systemLog().lines.size(), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(systemLog().lines[i], std::pair(numbers[i], std::string(expected[i])));
    }
    EXPECT_FALSE(std::filesystem::exists("syslog") || std::filesystem::exists("journal"));
}

TEST_F(LogFile, ClampsItsLevelAndWritesNothingAtNought) {
    std::string problem;
    const auto log = FileLog::open(path_.string(), -5, problem);
    ASSERT_NE(log, nullptr);
    EXPECT_EQ(log->level, 0);
    log->write(1, "%s", "x");
    EXPECT_TRUE(lines().empty());
    EXPECT_EQ(FileLog::open(path_.string(), 99, problem)->level, 3);
}

// The disk is full: the line is lost, the program is not.
TEST(Log, OutlivesAFailingFile) {
    if (!std::filesystem::exists("/dev/full")) {
        GTEST_SKIP() << "there is no /dev/full";
    }
    std::string problem;
    const auto log = FileLog::open("/dev/full", 3, problem);
    ASSERT_NE(log, nullptr) << problem;
    for (int i = 0; i < 100; ++i) {
        log->write(1, "%s", std::string(4000, 'x').c_str());
    }
    EXPECT_GT(log->lost(), 0U);
}

} // namespace
