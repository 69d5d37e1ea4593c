// What goes wrong: the exit code, the line that says so, and that nothing half-written is left.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/cli/program.h"

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

// A folder with the policy and a message.
class Faults : public testing::Test {
protected:
    Faults() {
        dir_.write("p.toml", kPolicy);
        dir_.write("in/a.eml", kMail);
    }

    ProgramRun apply(std::vector<std::string> arguments, const Surroundings& surroundings = {}) const {
        arguments.insert(arguments.begin(), {"apply", "-p", "p.toml"});
        return dir_.quzo(arguments, surroundings);
    }

    TemporaryDirectory dir_;
};

class Fault : public Faults, public testing::WithParamInterface<Case> {};

TEST_P(Fault, IsSaidAndLeavesNothingBehind) {
    dir_.write("in/b.eml", kMail);
    dir_.write("other/a.eml", kMail);
    dir_.write("none/notes.txt", "nothing\n");
    dir_.write("file", "x");
    fs::create_directories(dir_.path("empty"));
    dir_.write("blocked/a.eml/x", "in the way");
    dir_.write("blocked/in", "in the way");
    dir_.write("bad.toml",
               "[[rule]]\nid = 1\nname = \"x\"\nwhen = { sendr = \"*\" }\n"
               "actions = [{ type = \"explode\" }]\n");
    dir_.write("torn.toml", "[[rule]\n");
    dir_.write("packed.eml", std::string("\x1f\x8b\x08\0packed\nmore\n", 16));
    dir_.write("bad.ini", "[general]\nqueue_quarantine = /q\n[general\n");
    const auto before = dir_.files("");

    const ProgramRun run = dir_.quzo(GetParam().arguments);
    EXPECT_EQ(run.exitCode, GetParam().exitCode) << run.err;
    EXPECT_THAT(run.err, HasSubstr(GetParam().says));
    EXPECT_THAT(run.err, MatchesRegex("(quzo: [^\n]+\n)+"));
    for (const auto& [name, bytes] : dir_.files("")) {
        if (!before.contains(name)) {
            // Whole messages may have been written before the fault.
            EXPECT_THAT(bytes, testing::EndsWith("\nbody\n")) << name;
            EXPECT_THAT(name, testing::Not(HasSubstr(".tmp")));
        }
    }
    for (const auto& [name, bytes] : before) {
        EXPECT_EQ(readFile(dir_.path(name)), bytes) << name;
    }
}

std::vector<Case> cases() {
    const auto apply = [](std::vector<std::string> more) {
        more.insert(more.begin(), {"apply", "-p", "p.toml"});
        return more;
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
        {"no_socket", {"milter", "-p", "p.toml", "--socket", "x"}, 64, "quzo: --socket: it is no socket: "},
        {"no_policy",
         {"apply", "-p", "", "in/a.eml"},
         64,
         "quzo: apply: there is no policy: name one with -p FILE"},
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

TEST_F(Faults, WritesTheOthersWhenOneIsInTheWay) {
    dir_.write("in/b.eml", kMail);
    dir_.write("out/a.eml/x", "");
    EXPECT_EQ(apply({"-o", "out", "-j", "2", "in"}).exitCode, 73);
    EXPECT_THAT(dir_.files("out")["b.eml"], HasSubstr("Subject: [T] one"));
}

TEST_F(Faults, LostStandardOutputIsNoSuccess) {
    const std::vector<std::vector<std::string>> commands = {
        {"apply", "-p", "p.toml", "in/a.eml"},
        {"apply", "-p", "p.toml", "--json", "-o", "out", "in"},
        {"tokens"},
        {"--help"}};
    for (const auto& command : commands) {
        for (const Surroundings& lost :
             {Surroundings{.outputFile = "/dev/full"}, Surroundings{.closeOutput = true},
              Surroundings{.brokenPipe = true}}) {
            const ProgramRun run = dir_.quzo(command, lost);
            EXPECT_EQ(run.exitCode, 74);
            EXPECT_THAT(run.err, MatchesRegex("quzo: standard output: cannot be written [^\n]+\n"));
        }
    }
    const auto written = dir_.files("out");
    EXPECT_THAT(written, testing::ElementsAre(testing::Pair("a.eml", HasSubstr("[T] one"))));
}

// A message that does not fit is not there; the others are.
TEST_F(Faults, FileSizeLimitLosesOnlyTheLargeMessage) {
    dir_.write("in/large.eml", std::string(kMail) + std::string(500'000, 'x'));
    const ProgramRun run = apply({"-o", "out", "in"}, {.maxFileBytes = 100'000});
    EXPECT_EQ(run.exitCode, 74);
    EXPECT_THAT(run.err, HasSubstr("quzo: out/large.eml: cannot be written (File too large): "));
    EXPECT_THAT(dir_.files("out"), testing::ElementsAre(testing::Pair("a.eml", HasSubstr("[T] one"))));
}

// One message that memory cannot hold is its own failure, in a file of its own and in a mailbox.
TEST_F(Faults, AMessageThatMemoryCannotHoldStaysAndTheOthersGoOn) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer needs all of the address space";
#endif
    constexpr std::uintmax_t kLarge = 400U << 20U;
    const std::string separator = "From a@x Mon Jan  1 00:00:00 2001\n";
    dir_.write("in/large.eml", kMail);
    dir_.write("in/large.mbox", separator + std::string(kMail));
    for (const char* name : {"in/large.eml", "in/large.mbox"}) {
        fs::resize_file(dir_.path(name), kLarge); // a hole
    }
    std::ofstream(dir_.path("in/large.mbox"), std::ios::app) << "\n\n" << separator << kMail;
    const ProgramRun run = apply({"--json", "-o", "out", "in"}, {.maxMemory = 300U << 20U});
    EXPECT_EQ(run.exitCode, 75);
    for (const char* name : {"in/large.eml", "in/large.mbox/000001.eml"}) {
        EXPECT_THAT(run.err,
                    HasSubstr("quzo: " + std::string(name) + ": there is not enough memory for it: "));
        EXPECT_THAT(run.out, HasSubstr("{\"file\":\"" + std::string(name) +
                                       "\",\"id\":null,\"outcome\":\"deferred\""));
    }
    EXPECT_THAT(dir_.files("out"),
                testing::ElementsAre(testing::Pair("a.eml", HasSubstr("[T] one")),
                                     testing::Pair("large.mbox/000002.eml", HasSubstr("[T] one"))));
}

TEST_F(Faults, AFolderThatIsMountedTwiceIsOneFolder) {
    dir_.write("in/below/a.eml", kMail);
    for (const auto& [mounted, says] : {std::pair("in", "lies in the input folder in"),
                                        std::pair("in/below", "is a folder of the input")}) {
        fs::create_directories(dir_.path("again"));
        if (::mount(dir_.path(mounted).c_str(), dir_.path("again").c_str(), nullptr, MS_BIND, nullptr) != 0) {
            GTEST_SKIP() << "no folder can be mounted twice here";
        }
        const ProgramRun run = apply({"-o", "again", "in"});
        ::umount(dir_.path("again").c_str());
        EXPECT_EQ(run.exitCode, 64);
        EXPECT_THAT(run.err, HasSubstr(std::string("quzo: again: ") + says));
        EXPECT_EQ(readFile(dir_.path("in/a.eml")), kMail);
        EXPECT_EQ(readFile(dir_.path("in/below/a.eml")), kMail);
    }
}

TEST_F(Faults, FullDiskStopsTheRun) {
    fs::create_directory(dir_.path("out"));
    if (::mount("tmpfs", dir_.path("out").c_str(), "tmpfs", 0, "size=64k") != 0) {
        GTEST_SKIP() << "no small file system can be mounted here";
    }
    for (const char* name : {"full/1.eml", "full/2.eml", "full/3.eml", "full/4.eml"}) {
        dir_.write(name, std::string(kMail) + std::string(30'000, 'x'));
    }
    const ProgramRun run = apply({"--json", "-o", "out", "full"});
    const auto written = dir_.files("out");
    ::umount(dir_.path("out").c_str());
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

} // namespace
} // namespace quzo::test
