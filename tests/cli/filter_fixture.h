// quzo filter in a folder of its own, with a sendmail that keeps what it gets.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/cli/installation.h"

namespace quzo::test {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using Words = std::vector<std::string>;

// What stands behind the Subject: dots, 8 bit, a lone CR, half a line at the end.
constexpr const char* kMail =
    "Received: from a by b\nFrom: a@a\nTo: b@b\nSubject: x\n\n.\n..\xff\ra\n\nFrom b";
constexpr const char* kTag = R"({ type = "tag-subject", tag = "[T]" })";

inline std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
        text.replace(at, from.size(), to);
    }
    return text;
}

class Filter : public testing::Test {
protected:
    Filter() {
        fs::permissions(installation_.dir().write("sendmail", R"(#!/bin/sh
cat >stdin
for word; do printf '%s\n' "$word"; done >argv
printf '5.1.1 no such user\nmore\n'
[ ! -f how ] || . ./how
)"),
                        fs::perms::owner_all);
        fs::create_directory(installation_.dir().path("empty"));
    }

    // The words of the command line behind its name; the ordinary ones are put in front.
    ProgramRun filter(const Words& envelope, const std::string& mail, const Words& options = {},
                      Surroundings surroundings = {}) const {
        Words all = {"filter"};
        for (const auto& [option, file] : {std::pair("-c", "quzo.ini"), {"-p", "p.toml"}}) {
            if (std::find(options.begin(), options.end(), option) == options.end()) {
                all.insert(all.end(), {option, file});
            }
        }
        all.insert(all.end(), options.begin(), options.end());
        all.insert(all.end(), envelope.begin(), envelope.end());
        surroundings.input = mail;
        fs::remove(installation_.dir().path("argv"));
        ProgramRun run = installation_.dir().quzo(all, surroundings);
        EXPECT_THAT(run.out, IsEmpty());
        return run;
    }

    ProgramRun toSendmail(const Words& envelope, const std::string& mail) const {
        return filter(envelope, mail, {"--sendmail", "./sendmail"});
    }

    std::string made(const char* name) const { return readFile(installation_.dir().path(name)); }

    std::size_t stored() const {
        const auto files = installation_.dir().files("spool");
        return static_cast<std::size_t>(std::count_if(
            files.begin(), files.end(), [](const auto& file) { return !file.first.ends_with(".tidied"); }));
    }

    Installation installation_;
};

} // namespace quzo::test
