// What goes wrong: the exit code, the line that says so, and that nothing half-written is left.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "host/cli/console/interrupt.h"
#include "host/cli/console/temporary_files.h"
#include "tests/cli/program.h"
#include "tests/places.h"

namespace quzo::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::MatchesRegex;

constexpr std::string_view kMail = "From: a@a.example\nTo: x@b.example\nSubject: one\n\nbody\n";
constexpr std::string_view kPolicy =
    "[[rule]]\nid = 1\nname = \"Tag\"\nwhen = { recipient = \"*@b.example\" }\n"
    "actions = [{ type = \"tag-subject\", tag = \"[T] \", signed = true }]\n";

struct Case {
    const char* name;
    std::vector<std::string> arguments;
    int exitCode;
    std::string says; // in standard error
};

void PrintTo(const Case& each, std::ostream* out) { *out << each.name; }

class Fault : public testing::TestWithParam<Case> {};

TEST_P(Fault, IsSaidAndLeavesNothingBehind) {
    const TemporaryDirectory dir;
    dir.write("p.toml", kPolicy);
    dir.write("in/a.eml", kMail);
    dir.write("in/b.eml", kMail);
    dir.write("other/a.eml", kMail);
    dir.write("none/notes.txt", "nothing\n");
    dir.write("file", "x");
    fs::create_directories(dir.path("empty"));
    dir.write("blocked/a.eml/x", "in the way");
    dir.write("blocked/in", "in the way");
    dir.write("bad.toml",
              "[[rule]]\nid = 1\nname = \"x\"\nwhen = { sendr = \"*\" }\n"
              "actions = [{ type = \"explode\" }]\n");
    dir.write("torn.toml", "[[rule]\n");
    dir.write("packed.eml", std::string("\x1f\x8b\x08\0packed\nmore\n", 16));
    dir.write("bad.ini", "[general]\nqueue_quarantine = /q\n[general\n");
    const auto before = dir.files("");

    const ProgramRun run = dir.quzo(GetParam().arguments);
    EXPECT_EQ(run.exitCode, GetParam().exitCode) << run.err;
    EXPECT_THAT(run.err, HasSubstr(GetParam().says));
    EXPECT_THAT(run.err, MatchesRegex("(quzo: [^\n]+\n)+"));
    for (const auto& [name, bytes] : dir.files("")) {
        if (!before.contains(name)) {
            // Whole messages may have been written before the fault.
            EXPECT_THAT(bytes, testing::EndsWith("\nbody\n")) << name;
            EXPECT_THAT(name, testing::Not(HasSubstr(".tmp")));
        }
    }
    for (const auto& [name, bytes] : before) {
        EXPECT_EQ(readFile(dir.path(name)), bytes) << name;
    }
}

std::vector<Case> cases() {
    const auto apply = [](std::vector<std::string> more) {
        std::vector<std::string> all = {"apply", "-p", "p.toml"};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    };
    return {
        {"no_command", {}, 64, "see quzo --help"},
        {"unknown_command",
         {"aply", "-p", "p.toml"},
         64,
         "quzo: there is no command 'aply': did you mean 'apply'?"},
        {"unknown_command_below",
         {"queue", "liste", "quarantine"},
         64,
         "quzo: queue: there is no command 'liste': did you mean 'list'?"},
        {"help_on_nothing", {"help", "object", "ad"}, 64, "quzo: object: there is no command 'ad': "},
        {"no_command_below", {"queue"}, 64, "see quzo queue --help"},
        {"empty_input", apply({"-"}), 65, "quzo: -: is empty: there is no message in it"},
        {"packed_input", apply({"packed.eml"}), 65,
         "quzo: packed.eml: is no mail: nothing in it looks like a header field: give the message itself"},
        {"unknown_option", apply({"--frm", "in"}), 64, "quzo: apply: "},
        {"not_in_this_build", {"milter", "--socket", "x"}, 64, "quzo: milter: is not in this build"},
        {"no_policy", {"apply", "in/a.eml"}, 64, "quzo: apply: there is no policy: name one with -p FILE"},
        {"no_path", apply({}), 64, "PATH"},
        {"jobs", apply({"-j", "999", "in"}), 64, "--jobs"},
        {"diff_json", apply({"--diff", "--json", "in"}), 64, "--diff"},
        {"bad_address", apply({"--from", "a\nb@x", "in/a.eml"}), 64,
         "quzo: --from: 'a\\x0Ab@x' is no address"},
        {"bad_token", apply({"--token", "FOO=1", "in/a.eml"}), 64, "FOO"},
        {"several_to_standard_output", apply({"in"}), 64, "add -o DIR or --json"},
        {"same_output_names", apply({"-o", "out", "in/a.eml", "other/a.eml"}), 64, "quzo: other/a.eml: "},
        {"same_as_standard_input", apply({"-o", "out", "-", "none/stdin.eml"}), 64, "same output name"},
        {"output_is_input", apply({"-o", "in", "in/a.eml"}), 64, "would be replaced by its own output"},
        {"output_in_input", apply({"-o", "in/out", "in"}), 64, "quzo: in/out: lies in the input folder in"},
        {"output_over_inputs", apply({"-o", ".", "in", "other"}), 64, "quzo: in: would be replaced"},
        {"missing_input", apply({"nowhere"}), 66,
         "quzo: nowhere: cannot be opened (No such file or directory)"},
        {"missing_input_others_go_on", apply({"-o", "out", "nowhere", "in"}), 66, "quzo: nowhere: "},
        {"no_mail", apply({"-o", "out", "none"}), 66, "quzo: none: there is no mail below this folder: "},
        {"empty_folder", apply({"-o", "out", "empty"}), 66, "quzo: empty: there is no mail"},
        {"output_is_a_file", apply({"-o", "file", "in"}), 73, "quzo: file: cannot be created"},
        {"output_below_a_file", apply({"-o", "file/out", "in"}), 73, "quzo: file/out: cannot be created"},
        {"folder_in_the_way", apply({"-o", "blocked", "in"}), 73, "quzo: blocked/a.eml: is in the way"},
        {"file_in_the_way", apply({"-o", "blocked", "in", "other/a.eml"}), 73,
         "quzo: blocked/in: is in the way"},
        {"missing_policy", {"apply", "-p", "no.toml", "in/a.eml"}, 66, "quzo: no.toml: "},
        {"missing_policy_checked", {"check", "-p", "no.toml"}, 66, "quzo: no.toml: "},
        {"torn_policy", {"apply", "-p", "torn.toml", "-o", "out", "in"}, 78, "quzo: torn.toml:1: "},
        {"bad_policy_key", {"apply", "-p", "bad.toml", "-o", "out", "in"}, 78, "quzo: bad.toml:4: "},
        {"bad_policy_action", {"check", "-p", "bad.toml"}, 78, "quzo: bad.toml:5: "},
        {"bad_settings", apply({"-c", "bad.ini", "-o", "out", "in"}), 78, "quzo: bad.ini:3: "},
        {"missing_settings", {"check", "-c", "no.ini"}, 78, "quzo: no.ini: "},
        {"nothing_to_check", {"check"}, 64, "-c"},
        {"unknown_type", {"action", "encode", "explode"}, 64, "quzo: explode: there is no such action type"},
        {"no_pair", {"action", "encode", "tag-subject", "tag"}, 64, "quzo: tag: is no field"},
        {"refused_field", {"action", "encode", "x-header", "name=X A", "value=1"}, 65, "name"},
        {"refused_setting", {"action", "decode", "x-header", "no colon"}, 65, "quzo: x-header: "},
    };
}

INSTANTIATE_TEST_SUITE_P(Table, Fault, testing::ValuesIn(cases()),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(Fault, WritesTheOthersWhenOneIsInTheWay) {
    const TemporaryDirectory dir;
    dir.write("p.toml", kPolicy);
    dir.write("in/a.eml", kMail);
    dir.write("in/b.eml", kMail);
    dir.write("out/a.eml/x", "");
    EXPECT_EQ(dir.quzo({"apply", "-p", "p.toml", "-o", "out", "-j", "2", "in"}).exitCode, 73);
    EXPECT_THAT(dir.files("out")["b.eml"], HasSubstr("Subject: [T] one"));
}

TEST(Fault, LostStandardOutputIsNoSuccess) {
    const TemporaryDirectory dir;
    dir.write("p.toml", kPolicy);
    dir.write("in/a.eml", kMail);
    const std::vector<std::vector<std::string>> commands = {
        {"apply", "-p", "p.toml", "in/a.eml"},
        {"apply", "-p", "p.toml", "--json", "-o", "out", "in"},
        {"tokens"},
        {"--help"}};
    for (const auto& command : commands) {
        for (const Surroundings& lost :
             {Surroundings{.outputFile = "/dev/full"}, Surroundings{.closeOutput = true},
              Surroundings{.brokenPipe = true}}) {
            const ProgramRun run = dir.quzo(command, lost);
            EXPECT_EQ(run.exitCode, 74);
            EXPECT_THAT(run.err, MatchesRegex("quzo: standard output: cannot be written [^\n]+\n"));
        }
    }
    const auto written = dir.files("out");
    EXPECT_THAT(written, testing::ElementsAre(testing::Pair("a.eml", HasSubstr("[T] one"))));
}

// A message that does not fit is not there; the others are.
TEST(Fault, FileSizeLimitLosesOnlyTheLargeMessage) {
    const TemporaryDirectory dir;
    dir.write("p.toml", kPolicy);
    dir.write("in/large.eml", std::string(kMail) + std::string(500'000, 'x'));
    dir.write("in/small.eml", kMail);
    const ProgramRun run = dir.quzo({"apply", "-p", "p.toml", "-o", "out", "in"}, {.maxFileBytes = 100'000});
    EXPECT_EQ(run.exitCode, 74);
    EXPECT_THAT(run.err, HasSubstr("quzo: out/large.eml: cannot be written (File too large): "));
    EXPECT_THAT(dir.files("out"), testing::ElementsAre(testing::Pair("small.eml", HasSubstr("[T] one"))));
}

// One message that memory cannot hold is its own failure, in a file of its own and in a mailbox.
TEST(Fault, AMessageThatMemoryCannotHoldStaysAndTheOthersGoOn) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer needs all of the address space";
#endif
    const TemporaryDirectory dir;
    constexpr std::uintmax_t kLarge = 400U << 20U;
    const std::string separator = "From a@x Mon Jan  1 00:00:00 2001\n";
    dir.write("p.toml", kPolicy);
    dir.write("in/large.eml", kMail);
    dir.write("in/large.mbox", separator + std::string(kMail));
    for (const char* name : {"in/large.eml", "in/large.mbox"}) {
        fs::resize_file(dir.path(name), kLarge); // a hole
    }
    std::ofstream(dir.path("in/large.mbox"), std::ios::app) << "\n\n" << separator << kMail;
    dir.write("in/small.eml", kMail);
    const ProgramRun run =
        dir.quzo({"apply", "-p", "p.toml", "--json", "-o", "out", "in"}, {.maxMemory = 300U << 20U});
    EXPECT_EQ(run.exitCode, 75);
    for (const char* name : {"in/large.eml", "in/large.mbox/000001.eml"}) {
        EXPECT_THAT(run.err,
                    HasSubstr("quzo: " + std::string(name) + ": there is not enough memory for it: "));
        EXPECT_THAT(run.out, HasSubstr("{\"file\":\"" + std::string(name) +
                                       "\",\"id\":null,\"outcome\":\"deferred\""));
    }
    EXPECT_THAT(dir.files("out"),
                testing::ElementsAre(testing::Pair("large.mbox/000002.eml", HasSubstr("[T] one")),
                                     testing::Pair("small.eml", HasSubstr("[T] one"))));
}

TEST(Fault, AFolderThatIsMountedTwiceIsOneFolder) {
    const TemporaryDirectory dir;
    dir.write("p.toml", kPolicy);
    dir.write("in/a.eml", kMail);
    dir.write("in/below/a.eml", kMail);
    for (const auto& [mounted, says] : {std::pair("in", "lies in the input folder in"),
                                        std::pair("in/below", "is a folder of the input")}) {
        fs::create_directories(dir.path("again"));
        if (::mount(dir.path(mounted).c_str(), dir.path("again").c_str(), nullptr, MS_BIND, nullptr) != 0) {
            GTEST_SKIP() << "no folder can be mounted twice here";
        }
        const ProgramRun run = dir.quzo({"apply", "-p", "p.toml", "-o", "again", "in"});
        ::umount(dir.path("again").c_str());
        EXPECT_EQ(run.exitCode, 64);
        EXPECT_THAT(run.err, HasSubstr(std::string("quzo: again: ") + says));
        EXPECT_EQ(readFile(dir.path("in/a.eml")), kMail);
        EXPECT_EQ(readFile(dir.path("in/below/a.eml")), kMail);
    }
}

TEST(Fault, FullDiskStopsTheRun) {
    const TemporaryDirectory dir;
    fs::create_directory(dir.path("out"));
    if (::mount("tmpfs", dir.path("out").c_str(), "tmpfs", 0, "size=64k") != 0) {
        GTEST_SKIP() << "no small file system can be mounted here";
    }
    dir.write("p.toml", kPolicy);
    for (const char* name : {"in/1.eml", "in/2.eml", "in/3.eml", "in/4.eml"}) {
        dir.write(name, std::string(kMail) + std::string(30'000, 'x'));
    }
    const ProgramRun run = dir.quzo({"apply", "-p", "p.toml", "--json", "-o", "out", "in"});
    const auto written = dir.files("out");
    ::umount(dir.path("out").c_str());
    EXPECT_EQ(run.exitCode, 74);
    EXPECT_THAT(run.err,
                MatchesRegex("quzo: out/.\\.eml: cannot be (written|created) \\(No space left on device\\): "
                             "make room there and run it again\n"
                             "quzo: out: stopped after . messages: the others have not been touched\n"));
    EXPECT_THAT(run.out, HasSubstr(R"("outcome":"failed","output":null,"error":{"code":11,)"));
    EXPECT_EQ(written.size(), 2U); // what fits
    for (const auto& [name, bytes] : written) {
        EXPECT_EQ(bytes.size(), kMail.size() + 4 + 30'000) << name;
    }
}

// The first signal lets the work come to its end, the second does not wait for it.
TEST(Fault, TheSecondInterruptEndsAtOnceAndLeavesNoTemporaryFile) {
    const TemporaryDirectory dir;
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        const std::string path = dir.path("half.tmp");
        const pid_t child = ::fork();
        if (child == 0) {
            const host::InterruptWatch watch;
            const host::TemporaryFile file(path);
            ::kill(::getpid(), file.error() == 0 ? number : SIGKILL);
            char none = 0;
            const bool woken = host::readSome(watch.wakeUp(), &none, 0, watch.wakeUp()) < 0;
            ::kill(::getpid(), woken && watch.signal() == number ? number : SIGKILL);
            ::pause();
            ::_exit(0);
        }
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == number);
        EXPECT_FALSE(fs::exists(path));
    }
}

// Interrupted while it waits for a message: what was done is told, whole, and the process ends by the signal.
TEST(Fault, AnInterruptedRunTellsWhatItDid) {
    const TemporaryDirectory dir;
    dir.write("p.toml", kPolicy);
    dir.write("in/a.eml", kMail);
    dir.write("in/b.eml", kMail);
    const std::string program = tests::binaryDir() + std::string("/bin/quzo");
    int input[2] = {};
    ASSERT_EQ(::pipe(input), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        const bool ready = ::chdir(dir.path().c_str()) == 0 && ::dup2(input[0], STDIN_FILENO) >= 0 &&
                           std::freopen("out.json", "w", stdout) != nullptr &&
                           std::freopen("err", "w", stderr) != nullptr;
        if (ready) {
            ::execl(program.c_str(), "quzo", "apply", "-p", "p.toml", "--json", "-o", "out", "in", "-",
                    nullptr);
        }
        ::_exit(127);
    }
    int status = 0;
    while (!fs::exists(dir.path("out/in/b.eml")) && ::waitpid(child, &status, WNOHANG) == 0) {
        ::usleep(1000);
    }
    ::kill(child, SIGTERM);
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ::close(input[0]);
    ::close(input[1]);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
    EXPECT_THAT(readFile(dir.path("out.json")),
                MatchesRegex("[^\n]*in/a.eml[^\n]*modified[^\n]*\n[^\n]*in/b.eml[^\n]*modified[^\n]*\n"));
    EXPECT_EQ(
        readFile(dir.path("err")),
        "quzo: interrupted (SIGTERM) after 2 messages: 0 unchanged, 2 modified, 0 consumed, 0 deferred, "
        "0 failed: the others have not been touched\n");
}

} // namespace
} // namespace quzo::test
