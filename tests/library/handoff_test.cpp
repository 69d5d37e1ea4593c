// What leaves by another way than delivery: hand-off, postpone, samples for the feedback mailbox.
#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include "fake_platform.h"
#include "quzo/actions/act_ferrowick.h"
#include "quzo/actions/act_handoff.h"
#include "quzo/actions/act_postpone.h"

namespace quzo::test {
namespace {

using Strings = std::vector<std::string>;

class HandoffTest : public LibraryTest {
protected:
    bool take(QuzoAction& action, bool& consumed) {
        fake().calls.clear();
        return action.takeAction(&message, nullptr, consumed, tokens, adapter, namedObjects);
    }

    template <typename Action>
    static bool construct(Action& action, const std::string& setting) {
        return action.construct(setting.data(), static_cast<unsigned>(setting.size()));
    }
};

TEST_F(HandoffTest, HandsOverToAHostAndAPort) {
    const struct {
        const char* setting;
        unsigned error;
        Strings calls;
        const char* line;
    } rows[] = {
        {"ip=mx.example.com;port=2525;", 0, {"handoffMessage mx.example.com:2525"}, nullptr},
        {"ip=192.0.2.1;port=-1;", 0, {"handoffMessage 192.0.2.1:4294967295"}, nullptr},
        {"ip=mx.example.com;port=25;",
         26,
         {"handoffMessage mx.example.com:25"},
         "Failed to hand off a message. err=0x0000001A(26d),ip='mx.example.com',port='25'"},
        {"ip=mx.example.com;port=0;", 0, {}, nullptr},
        {"ip=;port=25;", 0, {}, nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.setting);
        ActHandoff action;
        ASSERT_TRUE(construct(action, row.setting));
        EXPECT_EQ(action.serialize(), row.setting);
        adapter.sendError = row.error;
        bool consumed = false;
        EXPECT_EQ(take(action, consumed), row.error == 0 && !row.calls.empty());
        EXPECT_EQ(consumed, !row.calls.empty());
        EXPECT_EQ(fake().calls, row.calls);
        if (row.line != nullptr) {
            expectL1(row.line);
        }
    }
    EXPECT_EQ(log.lines, Strings{});
}

TEST_F(HandoffTest, RefusedSettings) {
    ActHandoff action;
    EXPECT_FALSE(construct(action, std::string(40, 'x')));
    expectL1("Failed to construct Action Handoff with setting: '" + std::string(32, 'x') +
             "' (max 32 chars)");
    EXPECT_FALSE(action.construct(nullptr, 3));
    expectL1("Failed to construct Action Handoff with setting: '' (max 32 chars)");
    ActPostpone postpone;
    EXPECT_FALSE(construct(postpone, "hour=1;"));
    EXPECT_FALSE(postpone.construct(nullptr, 0));
    EXPECT_EQ(log.lines, Strings{});
    EXPECT_EQ(postpone.serialize(), "hour=0;min=0;");
}

TEST_F(HandoffTest, TheSwitchOfTheHostIsKept) {
    for (const auto& [value, expected] :
         std::map<std::string, bool>{{"", false}, {"0", false}, {"2", true}}) {
        settings.values.clear();
        if (!value.empty()) {
            settings.values["MessageModule/RemoveQuzoMsgID"] = value;
        }
        EXPECT_TRUE(ActHandoff::init(settings, log));
        EXPECT_EQ(ActHandoff::removesMessageId(), expected) << value;
    }
}

TEST_F(HandoffTest, OnlyTheErrorNumberOfAPostponeCounts) {
    const struct {
        const char* setting;
        int result;
        unsigned error;
        const char* call;
    } rows[] = {
        {"hour=22;min=30;", 0, 0, "postponeMessage 22:30 to 23:59"},
        {"hour=300;min=-1;", 0, 0, "postponeMessage 44:255 to 23:59"},
        {"hour=1;min=2;", 1, 0, "postponeMessage 1:2 to 23:59"},
        {"hour=1;min=2;", 0, 7, "postponeMessage 1:2 to 23:59"},
    };
    for (const auto& row : rows) {
        ActPostpone action;
        ASSERT_TRUE(construct(action, row.setting));
        EXPECT_EQ(action.serialize(), row.setting);
        adapter.postponeResult = row.result;
        adapter.sendError = row.error;
        bool consumed = false;
        EXPECT_EQ(take(action, consumed), row.error == 0);
        EXPECT_TRUE(consumed);
        EXPECT_EQ(fake().calls, Strings{row.call});
        if (row.error != 0) {
            expectL1("Failed to postpone a message, error 7.");
        }
    }
}

// Samples for the feedback mailbox.

class FeedbackTest : public HandoffTest {
protected:
    FeedbackTest() {
        settings.values = {{"general/queue_notify", "/notify"}, {"general/quzo_home", "/home/quzo"}};
        parts.resize(3);
        for (std::size_t i = 0; i < parts.size(); ++i) {
            parts[i].add("Name", "part" + std::to_string(i));
            fake().existing.insert(&parts[i]);
        }
        start();
    }

    static std::string entry(const void* entity) {
        char text[64];
        std::snprintf(text, sizeof text, "7 %" PRIxPTR, reinterpret_cast<std::uintptr_t>(entity));
        return text;
    }

    // The action's result on a list of samples.
    bool feedBack(const std::string& list) {
        tokens.set(ScanToken::SampleEntities, list);
        log.lines.clear();
        bool consumed = true;
        const bool done = take(action, consumed);
        EXPECT_TRUE(consumed); // never written
        return done;
    }

    // What was inserted into feedback mails.
    static Strings inserted() {
        Strings found;
        for (const std::string& call : fake().calls) {
            if (call.starts_with("insertChildEntity ")) {
                found.push_back(call.substr(18));
            }
        }
        return found;
    }

    std::vector<FakeEntity> parts;
    ActFerrowick action;
};

TEST_F(FeedbackTest, EachSampleIsAMailOfItsOwn) {
    const std::string mailbox = ActFerrowick::feedbackMailbox();
    EXPECT_TRUE(construct(action, "anything"));
    EXPECT_EQ(action.serialize(), "");
    EXPECT_TRUE(feedBack(entry(parts.data()) + ";" + entry(&parts[2])));
    EXPECT_EQ(inserted(), (Strings{"part0 -1", "part2 -1"}));
    EXPECT_EQ(
        Strings(fake().calls.begin(), fake().calls.begin() + 10),
        (Strings{"create message", "setRcpt '" + mailbox + "' replace", "setSender 'QUZO'",
                 "setHeader Subject 'QUZO Corvane Feedback' null",
                 "setHeader Content-Transfer-Encoding '7bit' null", "setHeader TO '" + mailbox + "' null",
                 "delete session", "insertChildEntity part0 -1", "sendComposed", "delete message"}));
    EXPECT_EQ(adapter.recipientsThen, Strings{mailbox});
    EXPECT_EQ(log.lines, Strings{});
    adapter.sendError = 5; // counts as sent
    EXPECT_TRUE(feedBack(entry(parts.data())));
    EXPECT_EQ(log.lines, Strings{});
}

TEST_F(FeedbackTest, OneBadEntryAbandonsTheList) {
    const std::string good = entry(&parts[1]);
    const std::string bad[] = {"",
                               "6 0",
                               "x 1a2b",
                               good + ";6 0",
                               "6 0;" + good,
                               good + ";;" + good,
                               good + ";5",
                               good + ";",
                               good + ";5 " + std::string(62, '0') + "1"};
    for (const std::string& list : bad) {
        SCOPED_TRACE(list);
        EXPECT_TRUE(feedBack(list));
        EXPECT_EQ(fake().calls, Strings{});
        EXPECT_EQ(log.lines, Strings{"L2 No marked MIME Entities for ferrowick."});
    }
    EXPECT_TRUE(feedBack("5 1a2b;99999999999999999999 ffffffffffffffffffff;" + good));
    EXPECT_EQ(inserted(), Strings{"part1 -1"}) << "what is no entity of the message is passed over";
    EXPECT_EQ(log.lines, Strings{});
}

TEST_F(FeedbackTest, EveryFailureIsSaidAndLeavesNoMailBehind) {
    const struct {
        const char* what;
        std::function<void(FakeMessage&)> prepare;
        bool created, recipients;
        const char* line;
    } rows[] = {
        {"no message", {}, false, true, "Failed to create Message object instance."},
        {"no root", [](FakeMessage& made) { made.hasRoot = false; }, true, true,
         "Cannot retrieve root Entity from the composing notification message."},
        {"no recipient", {}, true, false, nullptr},
        {"no session", [](FakeMessage& made) { made.hasSession = false; }, true, true,
         "Invalid session information in notification message."},
        {"no child", [](FakeMessage& made) { made.root.insertError = 8; }, true, true,
         "Insert child entity failed:8"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        fake().prepareCreated = row.prepare;
        fake().createWorks = row.created;
        fake().setRcptWorks = row.recipients;
        EXPECT_FALSE(feedBack(entry(&parts[1])));
        expectL1(row.line != nullptr
                     ? row.line
                     : "Failed to set recipient address(es) into notification message, length " +
                           std::to_string(std::strlen(ActFerrowick::feedbackMailbox())) + " byte(s).");
        const auto count = [](const char* call) {
            return std::count(fake().calls.begin(), fake().calls.end(), call);
        };
        EXPECT_EQ(count("delete message"), row.created ? 1 : 0);
        EXPECT_EQ(count("sendComposed"), 0);
    }
}

TEST_F(FeedbackTest, BehindAFailureEveryEntityIsSaidToHaveFailed) {
    int made = 0;
    fake().prepareCreated = [&made](FakeMessage& mail) { mail.root.insertError = ++made == 2 ? 8 : 0; };
    FakeEntity other; // not of this message
    EXPECT_FALSE(feedBack(entry(parts.data()) + ";" + entry(&parts[1]) + ";" + entry(&other) + ";" +
                          entry(&parts[2])));
    expectL1("Insert child entity failed:8");
    EXPECT_EQ(std::count(fake().calls.begin(), fake().calls.end(), "sendComposed"), 2);
    Strings lines;
    for (const FakeEntity* failed : {&parts[1], &parts[2]}) {
        const auto shown = static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(failed));
        char line[128];
        std::snprintf(line, sizeof line, "L2 Failed to ferrowick the MIME Entity (0x%08X, id=%u).", shown,
                      shown);
        lines.emplace_back(line);
    }
    EXPECT_EQ(log.lines, lines);
}

TEST_F(FeedbackTest, TheSubjectTellsTheVersions) {
    const std::string path = "/home/quzo/config/scanner.info";
    fake().files[path] = {{"update/virus_engine_version", "1.2"},
                          {"update/virus_pattern_version", "p"},
                          {"update/brisk_scan_agent_pattern_version", "b"},
                          {"update/ferrowick_pattern_version", "f"},
                          {"update/ferrowick_exception_version", "e"}};
    const std::string line =
        "QUZO Corvane Feedback:  skarn: 1.2, xpf$kal: p, dmor$uvq: b, rbwfix: , kvblack: f, kvwhite: e";
    EXPECT_TRUE(ActFerrowick::init(settings, log));
    EXPECT_EQ(fake().calls,
              (Strings{"getparam update/virus_engine_version", "getparam update/virus_pattern_version",
                       "getparam update/brisk_scan_agent_pattern_version",
                       "getparam update/spyware_pattern_version", "getparam update/ferrowick_pattern_version",
                       "getparam update/ferrowick_exception_version"}));
    EXPECT_EQ(log.lines, Strings{"L2 load pattern info success:" + line});
    EXPECT_TRUE(feedBack(entry(parts.data())));
    EXPECT_EQ(adapter.headerThen[0], "Subject=" + line);

    fake().files[path]["update/virus_engine_version"] = std::string(2000, 'v');
    EXPECT_TRUE(ActFerrowick::init(settings, log));
    EXPECT_TRUE(feedBack(entry(parts.data())));
    EXPECT_EQ(adapter.headerThen[0].size(), std::strlen("Subject=") + 1023);
    fake().files.clear();
    log.lines.clear();
    EXPECT_TRUE(ActFerrowick::init(settings, log));
    EXPECT_EQ(log.lines, Strings{"L2 load pattern info failed,file:" + path});
    for (const char* key : {"general/quzo_home", "general/queue_notify"}) {
        settings.values.erase(key);
        settings.reads.clear();
        EXPECT_FALSE(ActFerrowick::init(settings, log));
        EXPECT_EQ(settings.reads.back(), key);
    }
    EXPECT_TRUE(feedBack(entry(parts.data())));
    EXPECT_EQ(adapter.headerThen[0], "Subject=QUZO Corvane Feedback");
}

} // namespace
} // namespace quzo::test
