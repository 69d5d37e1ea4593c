// quzo apply --diff: the hunks turn what came in into what goes out.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>

#include "tests/cli/apply_fixture.h"

namespace quzo::test {
namespace {

using testing::HasSubstr;
using testing::Not;

class ApplyDiff : public ApplyFixture {};

// Applies the hunks of a diff to the lines of a text; counts and context must fit.
std::string patched(const std::string& text, const std::string& diff) {
    std::istringstream old(text);
    std::istringstream hunks(diff.substr(diff.find("@@")));
    std::string result;
    std::string line;
    std::string kept;
    std::size_t at = 1;
    while (std::getline(hunks, line)) {
        unsigned long begin = 0;
        if (std::sscanf(line.c_str(), "@@ -%lu,", &begin) == 1) { // NOLINT(cert-err34-c)
            for (; at < begin && std::getline(old, kept); ++at) {
                result += kept + "\n";
            }
            continue;
        }
        if (line[0] != '+') {
            std::getline(old, kept);
            EXPECT_EQ(kept, line.substr(1)) << "at line " << at;
            ++at;
        }
        result += line[0] != '-' ? line.substr(1) + "\n" : "";
    }
    while (std::getline(old, kept)) {
        result += kept + "\n";
    }
    return result;
}

TEST_F(ApplyDiff, ShowsAllOfAChange) {
    std::string fields;
    for (int at = 0; at < 20; ++at) {
        fields += "X-" + std::to_string(at) + ": " + std::to_string(at) + "\n";
    }
    const std::string to = "To: x@b.example\n";
    const std::string samples[] = {
        to + "Subject: a\n" + fields + "\nbody\n",
        to + fields + "Subject: a\n\tfolded =?utf-8?q?=C3=A4?=\n" + fields + "Subject: b\n\n",
        to + "\n",
        "Subject: a\n" + fields + "Subject: b\nSubject: c\n" + fields + "Subject: d\n" + to +
            "\n1\n2\n3\n4\n",
    };
    for (const std::string& sample : samples) {
        dir_.write("m.eml", sample);
        std::string diff = apply({"--diff", "m.eml"}).out;
        for (std::size_t tab = diff.find("\\x09"); tab != std::string::npos; tab = diff.find("\\x09")) {
            diff.replace(tab, 4, "\t");
        }
        EXPECT_EQ(patched(sample, diff), apply({"m.eml"}).out) << diff;
    }
}

// What mail and file names hold is shown, not obeyed.
TEST_F(ApplyDiff, EscapesControlCharacters) {
    dir_.write("in/\x1b[2J.eml",
               "X: \xff\xe2\x80\xae\r\nTo: x@b.example\r\nSubject: a\x1b[31mb\r\n\r\nx\r\n");
    const ProgramRun run = apply({"--diff", "in"});
    EXPECT_THAT(run.out, HasSubstr("in/\\x1B[2J.eml: modified"));
    EXPECT_THAT(run.out, HasSubstr(" X: \\xFF\\xE2\\x80\\xAE\n"));
    EXPECT_THAT(run.out, HasSubstr("-Subject: a\\x1B[31mb\n"));
    EXPECT_THAT(run.out + run.err, Not(HasSubstr("\x1b")));
    EXPECT_THAT(run.out, Not(HasSubstr("\\x0D")));
}

} // namespace
} // namespace quzo::test
