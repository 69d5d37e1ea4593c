// Notifications of quzo apply: how many there are, what is told of the others, and who gets none.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/cli/installation.h"

namespace quzo::test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::UnorderedElementsAre;

class Notify : public testing::Test {
protected:
    Notify() {
        installation_.rule(R"({ type = "notify", object = "found" })");
        const ProgramRun run = installation_.dir().quzo(
            {"object", "add", "notify", "found", "-c", "quzo.ini", "--from", "pm@example.com", "--to",
             "admin@example.com", "--subject", "found: %SUBJECT%", "--body", "x", "--notify-sender"});
        EXPECT_EQ(run.exitCode, 0) << run.err;
    }

    void settings(const std::string& more) const {
        const std::string now = readFile(installation_.dir().path("quzo.ini"));
        installation_.dir().write("quzo.ini", now + more);
    }

    void mails(int count, const std::string& header) const {
        for (int i = 0; i < count; ++i) {
            installation_.dir().write(
                "in/" + std::to_string(i) + ".eml",
                "From: a@a.example\r\nTo: b@b.example\r\nSubject: =?utf-8?q?caf=C3=A9?= " +
                    std::to_string(i) + "\r\n" + header + "\r\nbody\r\n");
        }
    }

    void apply(std::vector<std::string> arguments = {"-o", "out", "in"}) {
        fs::remove_all(installation_.dir().path("out"));
        const ProgramRun run = installation_.apply(std::move(arguments));
        EXPECT_EQ(run.exitCode, 0) << run.err;
    }

    // As if the ledger had been left alone for more than an hour.
    void anHourLater() const {
        for (const auto& file : fs::recursive_directory_iterator(installation_.spool() + "/notices")) {
            if (file.path().extension() != ".json") {
                continue;
            }
            auto record = nlohmann::json::parse(readFile(file.path()));
            record["start"] = record["start"].get<std::int64_t>() - 3601;
            for (auto& held : record["held"]) {
                held["due"] = held["due"].get<std::int64_t>() - 3601;
            }
            std::ofstream(file.path()) << record;
        }
        fs::remove(installation_.spool() + "/notices/.tidied");
    }

    // The recipients of what waits to go out, of each mail.
    std::vector<std::vector<std::string>> recipients() {
        std::vector<std::vector<std::string>> out;
        for (const auto& [id, message] : installation_.entries("outgoing")) {
            platform::QueueEntry entry;
            EXPECT_EQ(installation_.queues().find("outgoing")->read(id, entry), 0);
            out.push_back(entry.recipients);
        }
        return out;
    }

    Installation installation_{true};
};

TEST_F(Notify, TheFirstGoOutAndTheOthersAreSummedUp) {
    settings(
        "notify_limit = 3\nhostname = gw.example\n[General-Notification]\nMailFrom = boss@example.com\n");
    mails(50, "Precedence: bulk\r\n");
    apply();
    auto sent = installation_.entries("outgoing");
    EXPECT_EQ(sent.size(), 3U);
    for (const auto& [id, message] : sent) {
        EXPECT_THAT(message, HasSubstr("\nAuto-Submitted: auto-generated"));
    }
    EXPECT_THAT(installation_.dir().files("out"), testing::SizeIs(50));
    apply({"-o", "out", "in/0.eml"});
    EXPECT_EQ(installation_.entries("outgoing").size(), 3U) << "the hour is not over";
    anHourLater();
    mails(0, "");
    installation_.policy("[[rule]]\nid = 1\nwhen = { always = true }\nstop = true\n");
    for (int round = 0; round < 2; ++round) {
        apply();
        auto all = installation_.entries("outgoing");
        ASSERT_EQ(all.size(), 4U);
        for (const auto& [id, message] : sent) {
            all.erase(id);
        }
        EXPECT_THAT(all.begin()->second,
                    AllOf(HasSubstr("From: <boss@example.com>\r\nTo: <admin@example.com>\r\n"
                                    "Subject: 48 notifications held back: Ten\r\n"),
                          HasSubstr("\nAuto-Submitted: auto-generated\r\n"),
                          HasSubstr("48 notifications of the rule \"Ten\" (10) were held back between 2"),
                          HasSubstr("found: caf=C3=A9 "), HasSubstr("\r\n  ... (28 others)\r\n")));
        anHourLater();
    }
}

TEST_F(Notify, TheRunnerSumsUpToo) {
    settings("notify_limit = 1\n[runner]\npoll = 1s\n");
    mails(3, "");
    apply();
    anHourLater();
    for (int round = 0; round < 2; ++round) {
        installation_.dir().quzo({"queue", "run", "-c", "quzo.ini", "outgoing"});
        EXPECT_EQ(installation_.entries("outgoing").size(), 3U)
            << "one, and a sum for each of two recipients";
    }
}

TEST_F(Notify, WithoutALimitAllGoOutAndADryRunCountsNothing) {
    settings("notify_limit = 0\nnotify_auto_submitted = no\n");
    mails(25, "");
    apply({"--dry-run", "in"});
    EXPECT_FALSE(fs::exists(installation_.spool()));
    apply();
    EXPECT_EQ(installation_.entries("outgoing").size(), 25U);
    EXPECT_THAT(installation_.entries("outgoing").begin()->second, Not(HasSubstr("Auto-Submitted")));
    EXPECT_FALSE(fs::exists(installation_.spool() + "/notices"));
}

TEST_F(Notify, SendersOfAutomaticMailGetNone) {
    struct Row {
        const char* header;
        const char* settings;
        bool sender;
    };
    for (const Row& row :
         {Row{"", "", true}, Row{"List-Id: <l.example>\r\n", "", false},
          Row{"Return-Path: <>\r\n", "[General-Notification]\nNotificationGetSenderFromMIME = 1\n", false},
          Row{"Auto-Submitted: auto-replied\r\n", "[platform]\nnotify_automatic = yes\n", true}}) {
        SCOPED_TRACE(row.header);
        fs::remove_all(installation_.spool());
        const std::string plain = readFile(installation_.dir().path("quzo.ini"));
        settings(row.settings);
        mails(1, row.header);
        apply();
        installation_.dir().write("quzo.ini", plain);
        const std::vector<std::vector<std::string>> got = recipients();
        ASSERT_EQ(got.size(), 1U);
        if (row.sender) {
            EXPECT_THAT(got[0], UnorderedElementsAre("admin@example.com", "a@a.example"));
        } else {
            EXPECT_THAT(got[0], ElementsAre("admin@example.com"));
        }
    }
}

} // namespace
} // namespace quzo::test
