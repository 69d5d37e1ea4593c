// Quarantine, archive, re-address and blind copy, and the reprocessing mark they leave.
#include "fake_platform.h"
#include "quzo/actions/act_archive.h"
#include "quzo/actions/act_quarantine.h"
#include "quzo/actions/act_readdress.h"
#include "quzo/actions/recipient_list.h"
#include "quzo/core/reprocess_mark.h"
#include "quzo/settings/archive_area.h"
#include "quzo/settings/ui_quarantine_area.h"
#include "quzo/settings/ui_stamp_area.h"

namespace quzo::test {
namespace {

using Strings = std::vector<std::string>;

class QueueActionTest : public LibraryTest {
protected:
    QueueActionTest() {
        settings.values = {{"general/queue_quarantine", "/quarantine"},
                           {"general/queue_archive", "/archive"}};
        start();
        area.description = "Spam";
        area.agingDays = 30;
        area.agingEnabled = true;
        archive.description = std::string(300, 'a');
        namedObjects.objects = {{7, &area}, {8, &archive}, {9, &stamp}, {10, nullptr}};
        tokens.set(ScanToken::RuleId, "40");
    }

    bool take(QuzoAction& action, bool& consumed) {
        return action.takeAction(&message, nullptr, consumed, tokens, adapter, namedObjects);
    }

    Strings header() const {
        Strings all;
        for (const auto& field : message.root.fields) {
            all.push_back(field->name + "=" + field->value);
        }
        return all;
    }

    std::string token(ScanToken code) const {
        const std::string* value = tokens.find(code);
        return value != nullptr ? *value : "(none)";
    }

    uiQuarantineArea area;
    ArchiveArea archive;
    uiStampArea stamp;
};

TEST_F(QueueActionTest, TheMarkOnEveryPath) {
    const struct {
        const char* before; // value of the rules field, null: none
        const char* rule;
        int error;
        Strings stored, after;
    } rows[] = {
        {nullptr,
         "40",
         0,
         {"X-quzo-reprocess-rules=40", "X-quzo-reprocess-type=quarantine"},
         {"X-quzo-reprocess-type=quarantine"}},
        {"12",
         "40",
         0,
         {"X-quzo-reprocess-rules=12 40", "X-quzo-reprocess-type=quarantine"},
         {"X-quzo-reprocess-rules=12", "X-quzo-reprocess-type=quarantine"}},
        {"12",
         "40",
         5,
         {"X-quzo-reprocess-rules=12 40", "X-quzo-reprocess-type=quarantine"},
         {"X-quzo-reprocess-rules=12", "X-quzo-reprocess-type=quarantine"}},
        {"12", "", 0, {"X-quzo-reprocess-rules=12"}, {"X-quzo-reprocess-rules=12"}},
        {nullptr, "", 0, {}, {}},
    };
    for (const auto& row : rows) {
        message.root.fields.clear();
        if (row.before != nullptr) {
            message.root.add("X-QUZO-reprocess-rules", row.before).name = kReprocessRulesHeader;
        }
        tokens.set(ScanToken::RuleId, row.rule);
        adapter.storeError = row.error;
        ActQuarantine action;
        ASSERT_TRUE(action.construct("1-7", 3));
        bool consumed = false;
        EXPECT_EQ(take(action, consumed), row.error == 0);
        EXPECT_TRUE(consumed);
        EXPECT_EQ(adapter.headerThen, row.stored);
        EXPECT_EQ(header(), row.after);
        if (row.error != 0) {
            expectL1("Failed to quarantine the message. err=0x00000005(5d), path='/quarantine'");
        }
    }
}

TEST_F(QueueActionTest, QuarantineTokens) {
    ActQuarantine action;
    action.fillInTokenMap(tokens, namedObjects); // without ids it does nothing
    EXPECT_EQ(token(ScanToken::QuarantineAreaId), "(none)");
    ASSERT_TRUE(action.construct("2-7-8", 5));
    action.fillInTokenMap(tokens, namedObjects);
    EXPECT_EQ(token(ScanToken::QuarantineAreaId), "7");
    EXPECT_EQ(token(ScanToken::QuarantineArea), "Spam");
    bool consumed = false;
    EXPECT_TRUE(take(action, consumed));
    EXPECT_EQ(token(ScanToken::QuarantineAging), "30");
    EXPECT_EQ(token(ScanToken::QuarantinePath), "/stored/path");
    EXPECT_EQ(lines(3).front(), "Aging of the quarantined message is 30 day(s).");
    area.agingEnabled = false;
    EXPECT_TRUE(take(action, consumed));
    EXPECT_EQ(token(ScanToken::QuarantineAging), "");
    EXPECT_EQ(lines(2), Strings{"Aging of the quarantined message is off."});
    EXPECT_EQ(fake().calls[2], "quarantineMessage '' /quarantine");
    std::string path = "before";
    ActQuarantine::_genQuarantinePath(path, nullptr);
    EXPECT_EQ(path, "before");
    ActQuarantine::_genQuarantinePath(path, &message);
    EXPECT_EQ(path, "/quarantine/A/B/AB12.DF");
}

TEST_F(QueueActionTest, AMessageWithoutRootIsStoredAllTheSame) {
    message.hasRoot = false;
    ActQuarantine action;
    ASSERT_TRUE(action.construct("1-7", 3));
    bool consumed = false;
    EXPECT_TRUE(take(action, consumed));
    EXPECT_EQ(fake().calls, Strings{"quarantineMessage '' /quarantine"});
    EXPECT_EQ(lines(3).back(), "Cannot place reprocessing information into malformed message.");
}

TEST_F(QueueActionTest, WrongReferences) {
    const struct {
        const char* ids;
        const char* quarantineLine;
        const char* archiveLine;
    } rows[] = {
        {"1-99", "Invalid name object type reference. id=99", "Invalid name object type reference. id=99"},
        {"1-10", "Invalid name object type reference. id=10", "Invalid name object type reference. id=10"},
        {"1-9", "Incorrect name object type reference. type=2",
         "Incorrect name object type reference. type=2"},
        {"1-8", "Incorrect name object type reference. type=4", nullptr},
        {"1-7", nullptr, "Incorrect name object type reference. type=3"},
    };
    for (const auto& row : rows) {
        ActQuarantine quarantine;
        ActArchive archiving;
        ASSERT_TRUE(quarantine.construct(row.ids, static_cast<unsigned>(strlen(row.ids))));
        ASSERT_TRUE(archiving.construct(row.ids, static_cast<unsigned>(strlen(row.ids))));
        bool consumed = false;
        EXPECT_EQ(take(quarantine, consumed), row.quarantineLine == nullptr) << row.ids;
        EXPECT_TRUE(consumed);
        if (row.quarantineLine != nullptr) {
            expectL1(row.quarantineLine);
        }
        consumed = false;
        EXPECT_EQ(take(archiving, consumed), row.archiveLine == nullptr) << row.ids;
        EXPECT_FALSE(consumed);
        if (row.archiveLine != nullptr) {
            expectL1(row.archiveLine);
        }
    }
    ActQuarantine quarantine;
    ActArchive archiving;
    bool consumed = false;
    EXPECT_FALSE(take(archiving, consumed));
    EXPECT_FALSE(take(quarantine, consumed));
    EXPECT_TRUE(consumed);
    EXPECT_TRUE(archiving.requiresOriginalMsg());
}

TEST_F(QueueActionTest, Archiving) {
    ActArchive action;
    ASSERT_TRUE(action.construct("1-8", 3));
    bool consumed = false;
    EXPECT_TRUE(take(action, consumed));
    EXPECT_EQ(fake().calls, Strings{"archiveMessage '' /archive " + std::string(255, 'a')});
    EXPECT_EQ(token(ScanToken::ArchiveAreaId), "8");
    EXPECT_EQ(token(ScanToken::ArchiveArea), std::string(300, 'a'));
    EXPECT_EQ(token(ScanToken::ArchiveAging), "");
    EXPECT_EQ(log.lines, Strings{});
    adapter.storeError = 255;
    EXPECT_FALSE(take(action, consumed));
    expectL1("Failed to archive the message. err=0x000000FF(255d), path='/archive'");
}

// Re-address and blind copy.

class RecipientTest : public QueueActionTest {
protected:
    RecipientTest() { message.recipients = {"old@x"}; }

    template <typename Action>
    bool run(const std::string& list, bool& consumed) {
        Action action;
        const std::string setting = "rcpt=" + list; // the fake blob ends at the first ";"
        EXPECT_TRUE(action.construct((setting + ";").c_str(), static_cast<unsigned>(setting.size() + 1)));
        return take(action, consumed);
    }
};

TEST_F(RecipientTest, SameAddresses) {
    EXPECT_TRUE(_isSameEmailAddress(" A@X ", "a@x"));
    EXPECT_FALSE(_isSameEmailAddress("\ta@x", "a@x"));
    EXPECT_FALSE(_isSameEmailAddress("<a@x>", "a@x"));
}

TEST_F(RecipientTest, ListsAreTidiedAndDuplicatesDropped) {
    std::string list = " a@x ; B@x;;b@X ; c@x";
    EXPECT_TRUE(_addRcpt(&message, list, false));
    EXPECT_EQ(list, "a@x;B@x;;b@X;c@x;");
    EXPECT_EQ(message.recipients, (Strings{"a@x", "B@x", "c@x"}));
    std::string empty;
    fake().calls.clear();
    EXPECT_TRUE(_addRcpt(&message, empty, false));
    EXPECT_EQ(fake().calls, Strings{});
    fake().setRcptWorks = false;
    EXPECT_FALSE(_addRcpt(&message, list, true));
}

TEST_F(RecipientTest, FiftyThousandRecipients) {
    for (int i = 0; i < 50000; ++i) {
        message.recipients.push_back("user" + std::to_string(i % 25000) + "@example.com");
    }
    EXPECT_TRUE(_removeDuplicatedRcpt(&message));
    EXPECT_EQ(message.recipients.size(), 25001U);
}

TEST_F(RecipientTest, ReaddressSendsMarkedAndConsumes) {
    bool consumed = false;
    EXPECT_TRUE(run<ActReaddress>("new@x", consumed));
    EXPECT_TRUE(consumed);
    EXPECT_EQ(message.recipients, Strings{"new@x"});
    EXPECT_EQ(adapter.headerThen, (Strings{"X-quzo-reprocess-rules=40", "X-quzo-reprocess-type=readdress"}));
    EXPECT_EQ(header(), Strings{"X-quzo-reprocess-type=readdress"});
    EXPECT_EQ(lines(3).back(), "Readdress to: new@x;");
    adapter.sendError = 5;
    consumed = false;
    EXPECT_FALSE(run<ActReaddress>("new@x", consumed));
    EXPECT_FALSE(consumed);
    EXPECT_EQ(header(), Strings{"X-quzo-reprocess-type=readdress"});
    expectL1("Failed to send out readdress-ed message via adapter, error 5.");
    fake().setRcptWorks = false;
    EXPECT_FALSE(run<ActReaddress>("new@x", consumed));
    expectL1("Failed to modify message session(rcpt) with 'new@x;'.");
}

TEST_F(RecipientTest, BlindCopiesSurviveAReaddress) {
    bool consumed = false;
    EXPECT_TRUE(run<ActBcc>("b1@x", consumed));
    EXPECT_TRUE(run<ActBcc>("b2@x", consumed));
    EXPECT_FALSE(consumed);
    EXPECT_EQ(message.recipients, (Strings{"old@x", "b1@x", "b2@x"}));
    EXPECT_EQ(token(ScanToken::PendingBcc), "b1@x;;b2@x;");
    EXPECT_EQ(adapter.headerThen, Strings{});
    EXPECT_TRUE(run<ActReaddress>("new@x", consumed));
    EXPECT_TRUE(consumed);
    EXPECT_EQ(message.recipients, (Strings{"new@x", "b1@x", "b2@x"}));
    EXPECT_EQ(token(ScanToken::PendingBcc), "(none)");
    const Strings said = lines(3);
    EXPECT_EQ((Strings{said.end() - 2, said.end()}),
              (Strings{"Readdress to: new@x;", "BCC to: b1@x;;b2@x;"}));
}

TEST_F(RecipientTest, RefusedSettingsAndNoMessage) {
    ActBcc action;
    EXPECT_FALSE(action.construct("nothing", 7));
    expectL1("Failed to construct Action Readdress/Bcc with setting: 'nothing' (max 32 chars)");
    EXPECT_FALSE(action.construct(nullptr, 7));
    expectL1("Failed to construct Action Readdress/Bcc with setting: '' (max 32 chars)");
    bool consumed = false;
    EXPECT_FALSE(action.takeAction(nullptr, nullptr, consumed, tokens, adapter, namedObjects));
    EXPECT_EQ(fake().calls, Strings{});
    EXPECT_TRUE(run<ActReaddress>("", consumed)); // an empty list changes nothing; the message is sent
    EXPECT_EQ(message.recipients, Strings{"old@x"});
}

} // namespace
} // namespace quzo::test
