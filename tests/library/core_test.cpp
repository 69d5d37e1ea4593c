// The log functions, the start-up order, the quarantine path, the version.
#include <algorithm>
#include <map>
#include <utility>

#include "fake_platform.h"
#include "quzo/actions/act_delete.h"
#include "quzo/actions/act_insert_xheader_tag.h"
#include "quzo/actions/act_markers.h"
#include "quzo/core/create_action.h"
#include "quzo/core/init_action_lib.h"
#include "quzo/core/quarantine_path.h"
#include "quzo/core/version.h"
#include "quzo/tokens/action_utils.h"

namespace quzo::test {
namespace {

using Strings = std::vector<std::string>;

class LogTest : public LibraryTest {};

TEST_F(LogTest, LinesAreCutAndNeverFormattedTwice) {
    ActionUtils::L2("%s", std::string(3000, 'x').c_str());
    ActionUtils::L3("%s", "100% %s %n");
    EXPECT_EQ(log.lines, (Strings{"L2 " + std::string(2047, 'x'), "L3 100% %s %n"}));
}

TEST_F(LogTest, ALineAboveTheLevelIsDropped) {
    for (int level = 0; level <= 3; ++level) {
        log.level = level;
        log.lines.clear();
        ActionUtils::L1("one");
        ActionUtils::L2("two");
        ActionUtils::L3("three");
        Strings expected{"L1 one", "L2 two", "L3 three"};
        expected.resize(static_cast<std::size_t>(level));
        EXPECT_EQ(log.lines, expected);
    }
    log.lines.clear();
}

class StartTest : public LibraryTest {};

TEST_F(StartTest, ReadsTheSettingsInOrderAndSucceedsWithoutAny) {
    EXPECT_TRUE(InitActionLib(settings, log));
    EXPECT_EQ(settings.reads, (Strings{"General-Notification/PreferredCharset",
                                       "MessageModule/DefaultSourceCharset",
                                       "MessageModule/UseMailCharsetAsDestinationCharset",
                                       "MessageModule/UseUTF8AsPreferCharsetForStamp",
                                       "general/locale",
                                       "general/queue_archive",
                                       "general/queue_quarantine",
                                       "MessageModule/TagNotEncoding",
                                       "MessageModule/TagDirectly",
                                       "MessageModule/IgnoreInsertError",
                                       "MessageModule/DisclaimerLineLimit",
                                       "general/NumOfBlankLineBeforeStampMessage",
                                       "MessageModule/InsertStampAsAttachment",
                                       "MessageModule/PreferCharsetAsUTF8",
                                       "MessageModule/IgnoreSnmpError",
                                       "General-Notification/SNMPServer",
                                       "General-Notification/Community",
                                       "General-Notification/MailFrom",
                                       "General-Notification/NotificationSkipScan",
                                       "General-Notification/NotificationHideRecipients",
                                       "General-Notification/NotificationGetSenderFromMIME",
                                       "quzo_manager/scanner_id",
                                       "MessageModule/RemoveQuzoMsgID",
                                       "general/queue_notify"}));
    EXPECT_EQ(fake().calls, Strings{"bundle resources IDG_QUZO_UTIL ''"});
}

TEST_F(StartTest, LogsTheTokensLastAndTwiceTheSame) {
    const std::string line =
        "L3 Supporting tokens: SENDER,RCPTS,HEADER_RCPTS,SUBJECT,HEADERS,DATE&TIME,"
        "ORIGINALMAILID,MAILID,PROTOCOL,RULENAME,RULETYPE,DETECTED,ENTITY,FILENAME,FILETYPE,"
        "MSG_SIZE,ATTACH_SIZE,ATTACH_COUNT,ACTION,TACTION,VIRUSACTION,QUARANTINE_PATH,"
        "QUARANTINE_AREA,VIRUSNAME,HOSTNAME,DEF_CHARSET,XMAILID,MAILCHARSET,SUSPICIOUS_URL";
    for (int round = 0; round < 2; ++round) {
        log.lines.clear();
        InitActionLib(settings, log);
        EXPECT_EQ(log.lines.back(), line);
        EXPECT_EQ(std::count(log.lines.begin(), log.lines.end(), line), 1);
    }
}

TEST(QuarantinePathTest, Table) {
    const struct {
        std::string queue, identifier, path;
    } rows[] = {
        {"/q", "AB12", "/q/A/B/AB12.DF"},
        {"/q", "A", "/q/A//A.DF"},
        {"/q", "", "/q///.DF"},
        {"/q", std::string(40, 'Z'), "/q/Z/Z/" + std::string(36, 'Z') + ".DF"},
        {std::string(600, 'd'), "AB", std::string(519, 'd')},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(quarantinePath(row.queue, row.identifier), row.path);
    }
}

TEST(VersionTest, BannerAndNumberAgree) {
    const unsigned version = GetQuzoVersion();
    const std::string banner = GetQuzoVersionStr();
    EXPECT_EQ(
        banner.find("quzo " + std::to_string(version >> 24U) + "." + std::to_string(version >> 16U & 0xFFU)),
        0U);
    EXPECT_NE(banner.find("(build " + std::to_string(version & 0xFFFFU) + ", 2"), std::string::npos);
}

// The actions that do nothing to a message, and the delete.

class SimpleActionTest : public LibraryTest {
protected:
    bool take(QuzoAction& action, KvMsgMailMessage* msg, bool& consumed) {
        return action.takeAction(msg, msg, consumed, tokens, adapter, namedObjects);
    }
};

TEST_F(SimpleActionTest, DeleteIsConsumedOnlyWhenTheAdapterSucceeds) {
    ActDelete action;
    EXPECT_TRUE(action.construct("anything", 8));
    EXPECT_EQ(action.serialize(), "");
    bool consumed = false;
    adapter.deleteError = 5;
    EXPECT_FALSE(take(action, &message, consumed));
    EXPECT_FALSE(consumed);
    expectL1("Failed to delete a message, error 5.");
    adapter.deleteError = 0;
    EXPECT_TRUE(take(action, &message, consumed));
    EXPECT_TRUE(consumed);
    EXPECT_EQ(fake().calls, (Strings{"deleteMessage", "deleteMessage"}));
}

TEST_F(SimpleActionTest, MarkersTouchNothing) {
    ActVirusClean clean;
    ActIBEEncrypt encrypt;
    ActIBEReEncrypt reEncrypt;
    for (QuzoAction* action : std::initializer_list<QuzoAction*>{&clean, &encrypt, &reEncrypt}) {
        bool consumed = true;
        EXPECT_TRUE(action->construct("", 0));
        EXPECT_TRUE(take(*action, nullptr, consumed));
        EXPECT_TRUE(consumed);
        EXPECT_TRUE(action->construct(action->serialize().c_str(), 0));
    }
    EXPECT_EQ(clean.serialize(), "");
    EXPECT_EQ(encrypt.serialize().size(), 23U);
    EXPECT_EQ(encrypt.serialize(), reEncrypt.serialize());
    EXPECT_EQ(fake().calls, Strings{});
}

TEST_F(SimpleActionTest, DecryptionMarkerComplainsAboutSettings) {
    ActIBEDecrypt action;
    EXPECT_TRUE(ActIBEDecrypt::init(settings, log));
    expectL1("ERROR: Should't enter function ActIBEDecrypt::init");
    EXPECT_TRUE(action.construct("", 0));
    expectL1("ERROR: Should't enter function ActIBEDecrypt::construct");
    EXPECT_EQ(action.serialize(), "");
    expectL1("ERROR: Should't enter function ActIBEDecrypt::serialize");
    for (KvMsgMailMessage* msg :
         {static_cast<KvMsgMailMessage*>(&message), static_cast<KvMsgMailMessage*>(nullptr)}) {
        bool consumed = true;
        EXPECT_EQ(take(action, msg, consumed), msg != nullptr);
        EXPECT_FALSE(consumed);
    }
}

TEST_F(SimpleActionTest, XHeaderWritesTheValueAsItStands) {
    ActInsertXHeaderTag action;
    const std::string setting = " X-A :  %SENDER% two ";
    ASSERT_TRUE(action.construct(setting.data(), static_cast<unsigned>(setting.size())));
    EXPECT_EQ(action.serialize(), "X-A:%SENDER% two");
    bool consumed = true;
    EXPECT_TRUE(take(action, &message, consumed));
    EXPECT_FALSE(consumed);
    fake().setHeaderWorks = false;
    EXPECT_FALSE(take(action, &message, consumed));
    EXPECT_EQ(fake().calls,
              (Strings{"setHeader X-A '%SENDER% two' null", "setHeader X-A '%SENDER% two' null"}));
    EXPECT_EQ(log.lines, Strings{"L2 Failed to set header 'X-A'."});
    message.hasRoot = false;
    EXPECT_FALSE(take(action, &message, consumed));
    EXPECT_FALSE(take(action, nullptr, consumed));
}

TEST_F(SimpleActionTest, XHeaderRefusesBadSettings) {
    ActInsertXHeaderTag action;
    EXPECT_FALSE(action.construct(nullptr, 0));
    EXPECT_FALSE(action.construct("", 0));
    EXPECT_EQ(log.lines, Strings{});
    EXPECT_FALSE(action.construct("no colon", 8));
    expectL1("Failed to construct Action InsertXHeaderTag with setting: '' (max 32 chars)");
    bool consumed = false;
    EXPECT_FALSE(take(action, &message, consumed));
}

TEST_F(SimpleActionTest, EachCodeGivesItsClass) {
    // Whether it requires the message as received, and whether it has named objects.
    const std::map<unsigned, std::pair<bool, bool>> known = {
        {0, {true, true}},    {1, {false, false}},  {2, {false, true}},   {3, {false, false}},
        {4, {false, false}},  {5, {false, false}},  {7, {false, false}},  {8, {false, true}},
        {9, {false, false}},  {10, {true, true}},   {11, {false, false}}, {12, {false, false}},
        {16, {false, false}}, {18, {false, false}}, {20, {false, false}}, {21, {false, false}},
        {22, {false, false}},
    };
    for (unsigned code = 0; code < 300; ++code) {
        const auto type = static_cast<QuzoAction::ActionType>(code);
        const std::unique_ptr<QuzoAction> action = createAction(type);
        const auto row = known.find(code);
        ASSERT_EQ(action != nullptr, row != known.end()) << code;
        EXPECT_EQ(hasAction(type), action != nullptr) << code;
        if (action != nullptr) {
            EXPECT_EQ(action->getType(), type);
            EXPECT_EQ(action->requiresOriginalMsg(), row->second.first) << code;
            EXPECT_EQ(action->hasNamedObjects(), row->second.second) << code;
            EXPECT_NE(createAction(type), action) << "each is a new one";
            std::vector<unsigned> ids{1};
            EXPECT_TRUE(action->getNamedObjectIds(std::string("3-7-12-40"), ids)) << code;
            EXPECT_EQ(ids.size(), row->second.second ? 4U : 1U) << code;
        }
    }
}

} // namespace
} // namespace quzo::test
