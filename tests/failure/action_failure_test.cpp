// Memory runs out while actions work on a message. What must never happen then: that a message is stored or
// sent and the action says that it failed, for the host would deliver it or try again; or the other way
// round.
#include "library_stage.h"
#include "quzo/actions/act_archive.h"
#include "quzo/actions/act_delete.h"
#include "quzo/actions/act_ferrowick.h"
#include "quzo/actions/act_handoff.h"
#include "quzo/actions/act_insert_xheader_tag.h"
#include "quzo/actions/act_postpone.h"
#include "quzo/actions/act_quarantine.h"
#include "quzo/actions/act_readdress.h"
#include "quzo/actions/act_tag_subject.h"
#include "quzo/actions/recipient_list.h"
#include "quzo/core/quarantine_path.h"
#include "quzo/core/reprocess_mark.h"
#include "quzo/notify/act_notify.h"
#include "quzo/settings/archive_area.h"

namespace quzo::test {
namespace {

const char* const kFormer = "1000000000 2000000000 3000000000";

uiQuarantineArea& quarantineArea() {
    static uiQuarantineArea area = [] {
        uiQuarantineArea made;
        made.description = kLong;
        made.agingDays = 30;
        made.agingEnabled = true;
        return made;
    }();
    return area;
}

ArchiveArea& archiveArea() {
    static ArchiveArea area = [] {
        ArchiveArea made;
        made.description = kLong;
        return made;
    }();
    return area;
}

uiNotifyArea& notifyArea() {
    static uiNotifyArea area = [] {
        uiNotifyArea made;
        made.description = made.subject = made.message = made.snmpMessage = kLong + " %RULENAME%";
        made.sender = "the.gateway.with.a.long.name@example.com";
        made.recipients = "an.administrator.with.a.long.name@example.com";
        made.notifySender = made.notifyRecipients = made.sendSnmpTrap = true;
        return made;
    }();
    return area;
}

template <typename Action>
void prepare(LibraryStage& stage, const char* setting) {
    EXPECT_TRUE(stage.make<Action>().construct(setting, static_cast<unsigned>(std::strlen(setting))));
    stage.namedObjects.objects = {{7, &quarantineArea()}, {8, &archiveArea()}, {9, &notifyArea()}};
    stage.tokens.set(ScanToken::RuleId, "40");
    stage.message.recipients = {"old.recipient.of.the.message@example.com"};
    fake().calls.clear();
}

// `effect` is the platform's operation that must have been called exactly when the result is true; null when
// there is none.
template <typename Action>
bool take(LibraryStage& stage, const char* effect, bool consumes) {
    stage.consumed = false;
    const bool ok = stage.object<Action>().takeAction(&stage.message, nullptr, stage.consumed, stage.tokens,
                                                      stage.adapter, stage.namedObjects);
    if (effect != nullptr && stage.called(effect) != ok) {
        stage.fault = ok ? "success without its effect" : "failed after its effect";
    }
    if (ok && stage.consumed != consumes) {
        stage.fault = "wrong consumed flag";
    }
    return ok;
}

template <typename Action>
LibraryRow actionRow(const char* name, const char* setting, const char* effect, bool consumes) {
    return {name, [setting](LibraryStage& stage) { prepare<Action>(stage, setting); },
            [=](LibraryStage& stage) { return take<Action>(stage, effect, consumes); }};
}

void addQueueActions(std::vector<LibraryRow>& rows) {
    LibraryRow archive = actionRow<ActArchive>("Archive", "1-8", "archiveMessage", false);
    rows.push_back(archive);

    LibraryRow quarantine = actionRow<ActQuarantine>("Quarantine", "1-7", "quarantineMessage", true);
    const LibraryRow::Step plain = quarantine.prepare;
    quarantine.prepare = [plain](LibraryStage& stage) {
        plain(stage);
        stage.message.root.add(kReprocessRulesHeader, kFormer);
    };
    quarantine.afterFailure = [](LibraryStage& stage) {
        EXPECT_TRUE(stage.consumed); // said at once; only the result counts
        EXPECT_EQ(stage.header(), std::string(kReprocessRulesHeader) + "=" + kFormer);
    };
    quarantine.mayWork = true; // stored, but without the token of the path
    rows.push_back(quarantine);

    rows.push_back({"QuarantineTokens", [](LibraryStage& stage) { prepare<ActQuarantine>(stage, "1-7"); },
                    [](LibraryStage& stage) {
                        stage.object<ActQuarantine>().fillInTokenMap(stage.tokens, stage.namedObjects);
                        return stage.tokens.valueOrEmpty(ScanToken::QuarantineAreaId) == "7" &&
                               stage.tokens.valueOrEmpty(ScanToken::QuarantineArea) == kLong;
                    }});
    LibraryRow path{"QuarantinePath", [](LibraryStage& stage) { stage.text = "before"; },
                    [](LibraryStage& stage) {
                        ActQuarantine::_genQuarantinePath(stage.text, &stage.message);
                        return stage.text == "/a/directory/of/the/quarantine/A/B/AB12.DF";
                    }};
    path.afterFailure = [](LibraryStage& stage) { EXPECT_EQ(stage.text, "before"); };
    rows.push_back(path);
}

void addRecipientActions(std::vector<LibraryRow>& rows) {
    static const char* const kSetting = "rcpt=new.recipient.with.a.long.name@example.com;";
    LibraryRow readdress = actionRow<ActReaddress>("Readdress", kSetting, "sendMessage", true);
    const LibraryRow::Step plain = readdress.prepare;
    readdress.prepare = [plain](LibraryStage& stage) {
        plain(stage);
        stage.tokens.set(ScanToken::PendingBcc, "pending.blind.copy.with.a.long.name@example.com");
        stage.message.root.add(kReprocessRulesHeader, kFormer);
    };
    readdress.afterFailure = [](LibraryStage& stage) {
        EXPECT_FALSE(stage.consumed);
        EXPECT_EQ(stage.header(), std::string(kReprocessRulesHeader) + "=" + kFormer);
        EXPECT_FALSE(stage.message.recipients.empty());
    };
    rows.push_back(readdress);

    for (const bool pending : {false, true}) {
        LibraryRow bcc = actionRow<ActBcc>(pending ? "BccAfterAnother" : "Bcc", kSetting, nullptr, false);
        const LibraryRow::Step alone = bcc.prepare;
        bcc.prepare = [alone, pending](LibraryStage& stage) {
            alone(stage);
            if (pending) {
                stage.tokens.set(ScanToken::PendingBcc, kLong);
            }
        };
        bcc.afterFailure = [pending](LibraryStage& stage) {
            EXPECT_EQ(stage.token(ScanToken::PendingBcc), pending ? kLong : "(none)");
            EXPECT_EQ(stage.message.recipients.front(), "old.recipient.of.the.message@example.com");
        };
        rows.push_back(bcc);
    }

    LibraryRow same{"SameAddress", [](LibraryStage&) {},
                    [](LibraryStage&) {
                        std::string first;
                        std::string second;
                        { // the copies are the caller's
                            const InPlatform here;
                            first = second = kLong;
                        }
                        return _isSameEmailAddress(std::move(first), std::move(second));
                    }};
    rows.push_back(same);
    LibraryRow duplicates{"RemoveDuplicates",
                          [](LibraryStage& stage) {
                              stage.message.recipients = {kLong, kLong};
                          },
                          [](LibraryStage& stage) { return _removeDuplicatedRcpt(&stage.message); }};
    duplicates.afterFailure = [](LibraryStage& stage) { EXPECT_EQ(stage.message.recipients.size(), 2U); };
    rows.push_back(duplicates);
    LibraryRow add{"AddRecipients", [](LibraryStage& stage) { stage.text = kLong + " ; " + kLong; },
                   [](LibraryStage& stage) { return _addRcpt(&stage.message, stage.text, false); }};
    add.afterFailure = [](LibraryStage& stage) { EXPECT_GE(stage.text.size(), 2 * kLong.size()); };
    rows.push_back(add);
}

struct SubjectCase {
    const char* name;
    const char* subject; // null: the message has none
    const char* charset;
    bool directly;
};

LibraryRow tagRow(const SubjectCase& subject) {
    static const char* const kSetting = "T[a tag for %SENDER%, longer than small strings] ";
    LibraryRow row = actionRow<ActTagSubject>(subject.name, kSetting, nullptr, false);
    const LibraryRow::Step plain = row.prepare;
    row.prepare = [=](LibraryStage& stage) {
        stage.settings.values["MessageModule/TagDirectly"] = subject.directly ? "1" : "0";
        stage.settings.values["MessageModule/DefaultSourceCharset"] = "x-a-charset-with-a-long-name";
        stage.restart();
        plain(stage);
        stage.tokens.set(ScanToken::Sender, "someone@example.com");
        if (subject.subject != nullptr) {
            stage.message.root.add("Subject", subject.subject, subject.charset);
        }
        stage.text = stage.header();
    };
    row.afterFailure = [](LibraryStage& stage) {
        EXPECT_EQ(stage.header(), stage.text);
        EXPECT_EQ(stage.token(ScanToken::Subject), "(none)");
    };
    return row;
}

void addHeaderActions(std::vector<LibraryRow>& rows) {
    rows.push_back(tagRow({"TagNoSubject", nullptr, "", false}));
    rows.push_back(tagRow({"TagSubject", "a subject that is longer than small strings", "", false}));
    rows.push_back(tagRow({"TagDirectly", "a subject that is longer than small strings", "", true}));
    rows.push_back(tagRow({"TagSubjectInACharset", "a subject that is longer than small strings",
                           "x-another-charset-with-a-long-name", false}));
    LibraryRow field = actionRow<ActInsertXHeaderTag>(
        "XHeader", "X-A-Long-Name-Of-A-Field:and a value no shorter", "setHeader", false);
    field.allocates = false;
    rows.push_back(field);
    LibraryRow remove = actionRow<ActDelete>("Delete", "", "deleteMessage", true);
    remove.allocates = false;
    rows.push_back(remove);
}

// What leaves another way. Nothing of the message changes, whether it works or not.
void addLeavingActions(std::vector<LibraryRow>& rows) {
    LibraryRow handoff = actionRow<ActHandoff>("Handoff", "ip=mail.a-long-domain.example.com;port=25;",
                                               "handoffMessage", true);
    handoff.allocates = false;
    rows.push_back(handoff);
    LibraryRow postpone = actionRow<ActPostpone>("Postpone", "hour=1;min=2;", "postponeMessage", true);
    postpone.allocates = false;
    rows.push_back(postpone);

    LibraryRow feedback = actionRow<ActFerrowick>("Feedback", "", "sendComposed", false);
    const LibraryRow::Step plain = feedback.prepare;
    feedback.prepare = [plain](LibraryStage& stage) {
        plain(stage);
        stage.message.root.add("Name", "root");
        fake().existing = {&stage.message.root};
        char list[64];
        std::snprintf(list, sizeof list, "1 %p;2 %p", static_cast<void*>(&stage.message.root),
                      static_cast<void*>(&stage.message.root));
        stage.tokens.set(ScanToken::SampleEntities, list);
    };
    rows.push_back(feedback);

    for (const bool attached : {false, true}) {
        LibraryRow notify = actionRow<ActNotify>(attached ? "NotifyWithTheMessage" : "Notify", "1-9",
                                                 attached ? "submitForScan" : "sendComposed", false);
        const LibraryRow::Step alone = notify.prepare;
        notify.prepare = [alone, attached](LibraryStage& stage) {
            notifyArea().attachMessage = notifyArea().attachModifiedMessage = attached;
            stage.settings.values["General-Notification/NotificationGetSenderFromMIME"] = "1";
            stage.settings.values["General-Notification/SNMPServer"] = "snmp.a-long-domain.example.com";
            stage.restart();
            alone(stage);
            fake().convCopies = true;
            stage.tokens.set(ScanToken::RuleName, kLong);
            stage.tokens.set(ScanToken::Recipients, "old.recipient.of.the.message@example.com");
            stage.message.root.add("From", "the.sender.of.the.message@example.com");
        };
        notify.afterFailure = [](LibraryStage& stage) {
            EXPECT_EQ(stage.header(), "From=the.sender.of.the.message@example.com");
            EXPECT_FALSE(stage.called("trap"));
        };
        rows.push_back(notify);
    }
}

// The two functions are used as a pair, whatever the first one said.
void addMark(std::vector<LibraryRow>& rows) {
    for (const bool marked : {false, true}) {
        LibraryRow row{marked ? "MarkASecondTime" : "Mark",
                       [marked](LibraryStage& stage) {
                           if (marked) {
                               stage.message.root.add(kReprocessRulesHeader, kFormer);
                           }
                           stage.tokens.set(ScanToken::RuleId, "4000000000, as a text that is long");
                           stage.text = stage.header();
                       },
                       [](LibraryStage& stage) {
                           bool present = false;
                           std::string former;
                           const bool placed = _add_rule_skipping_header(stage.tokens, &stage.message.root,
                                                                         present, former, "quarantine");
                           _reset_rule_skipping_header(&stage.message.root, present, former);
                           return placed;
                       }};
        row.afterFailure = [](LibraryStage& stage) { EXPECT_EQ(stage.header(), stage.text); };
        rows.push_back(row);
    }
}

std::vector<LibraryRow> actionRows() {
    std::vector<LibraryRow> rows;
    addQueueActions(rows);
    addRecipientActions(rows);
    addHeaderActions(rows);
    addLeavingActions(rows);
    addMark(rows);
    return rows;
}

class ActionWithoutMemory : public ::testing::TestWithParam<LibraryRow> {};

TEST_P(ActionWithoutMemory, FailsCleanly) { runRow(GetParam()); }

INSTANTIATE_TEST_SUITE_P(Rows, ActionWithoutMemory, ::testing::ValuesIn(actionRows()),
                         [](const auto& row) { return row.param.name; });

} // namespace
} // namespace quzo::test
