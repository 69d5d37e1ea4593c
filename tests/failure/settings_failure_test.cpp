// Memory runs out while settings are read and written: a setting that could not be kept whole must not look
// like one that was.
#include "library_stage.h"
#include "quzo/actions/act_archive.h"
#include "quzo/actions/act_handoff.h"
#include "quzo/actions/act_insert_xheader_tag.h"
#include "quzo/actions/act_markers.h"
#include "quzo/actions/act_postpone.h"
#include "quzo/actions/act_quarantine.h"
#include "quzo/actions/act_readdress.h"
#include "quzo/actions/act_tag_subject.h"
#include "quzo/settings/archive_area.h"
#include "quzo/settings/ui_fieldless.h"
#include "quzo/settings/ui_handoff.h"
#include "quzo/settings/ui_insert_xheader_tag.h"
#include "quzo/settings/ui_notify_area.h"
#include "quzo/settings/ui_postpone.h"
#include "quzo/settings/ui_readdress.h"
#include "quzo/settings/ui_stamp_area.h"
#include "quzo/settings/ui_tag_subject.h"

namespace quzo::test {
namespace {

struct IdList : QuzoActionN {
    IdList() : QuzoActionN(ActionType::Notify, false) {}
};

const std::string kIds = "3-7-12-4000000000";
const std::string kRecipients = "rcpt=someone.with.a.long.name@example.com;"; // in the fake blob's form
const std::string kField = "X-A-Field-With-A-Long-Name:a value that is longer than small strings are";
const std::string kTag = "T[a tag that is longer than small strings are] ";
const std::string kHost = "ip=mail.a-long-domain.example.com;port=2525;";
const std::string kTime = "hour=22;min=30;";
const std::string kNote = "encryption-has-no-setup";

// A string as the positional encoding has it.
std::string field(const std::string& text) { return std::to_string(text.size()) + ":" + text + ":"; }

template <typename T>
bool construct(LibraryStage& stage, const std::string& text) {
    return stage.object<T>().construct(text.data(), static_cast<unsigned>(text.size()));
}

// The object's text, when it has one; half a text is worse than none.
template <typename T>
bool serialize(LibraryStage& stage, const std::string& text) {
    const std::string made = stage.object<T>().serialize();
    if (!made.empty() && made != text) {
        stage.fault = "wrote another text";
    }
    return made == text;
}

template <typename T>
void makeWith(LibraryStage& stage, const std::string& text) {
    stage.make<T>();
    EXPECT_TRUE(construct<T>(stage, text));
}

// Reading the text and writing it.
template <typename T>
void addBoth(std::vector<LibraryRow>& rows, const char* name, const std::string& text,
             bool writingAllocates = true) {
    rows.push_back({std::string(name) + "Construct", [](LibraryStage& stage) { stage.make<T>(); },
                    [text](LibraryStage& stage) { return construct<T>(stage, text); }});
    LibraryRow write{std::string(name) + "Serialize",
                     [text](LibraryStage& stage) { makeWith<T>(stage, text); },
                     [text](LibraryStage& stage) { return serialize<T>(stage, text); }};
    write.allocates = writingAllocates;
    rows.push_back(write);
}

template <typename T>
void addRefused(std::vector<LibraryRow>& rows, const char* name, const std::string& text) {
    LibraryRow row{std::string(name) + "Refuses", [](LibraryStage& stage) { stage.make<T>(); },
                   [text](LibraryStage& stage) { return !construct<T>(stage, text); }};
    row.mayWork = true; // refused for the one reason or the other
    rows.push_back(row);
}

template <typename T>
void addNote(std::vector<LibraryRow>& rows, const char* name) {
    rows.push_back({std::string(name) + "Serialize", [](LibraryStage& stage) { stage.make<T>(); },
                    [](LibraryStage& stage) { return serialize<T>(stage, kNote); }});
}

// Both set*Action and get*Action of the subject tag.
template <typename T>
void addTagAccess(std::vector<LibraryRow>& rows, const char* name) {
    const auto holds = [](LibraryStage& stage, bool flag, const char* text) {
        bool isFlag = !flag;
        std::string isText;
        return stage.object<T>().getTagSubjectAction(isFlag, isText) == 0 && isFlag == flag && isText == text;
    };
    LibraryRow set{std::string(name) + "Set", [](LibraryStage& stage) { makeWith<T>(stage, kTag); },
                   [holds](LibraryStage& stage) {
                       if (stage.object<T>().setTagSubjectAction(false, kLong.c_str()) != 0) {
                           stage.fault = "returned an error";
                       }
                       return holds(stage, false, kLong.c_str());
                   }};
    set.afterFailure = [holds](LibraryStage& stage) {
        EXPECT_TRUE(holds(stage, true, kTag.c_str() + 1) || holds(stage, false, kLong.c_str()));
    };
    rows.push_back(set);
    rows.push_back({std::string(name) + "Get", [](LibraryStage& stage) { makeWith<T>(stage, kTag); },
                    [holds](LibraryStage& stage) { return holds(stage, true, kTag.c_str() + 1); }});
}

void addIds(std::vector<LibraryRow>& rows) {
    rows.push_back({"IdsOfString",
                    [](LibraryStage& stage) {
                        stage.make<IdList>();
                        stage.text = kIds;
                    },
                    [](LibraryStage& stage) {
                        std::vector<unsigned> ids;
                        return stage.object<IdList>().getNamedObjectIds(stage.text, ids) && ids.size() == 3;
                    }});
}

void addAccess(std::vector<LibraryRow>& rows) {
    LibraryRow recipients{"UiReaddressSetRcpt",
                          [](LibraryStage& stage) { makeWith<uiReaddress>(stage, kRecipients); },
                          [](LibraryStage& stage) {
                              stage.object<uiReaddress>().setRcpt(kLong.c_str());
                              return kLong == stage.object<uiReaddress>().getRcpt();
                          }};
    recipients.afterFailure = [](LibraryStage& stage) {
        EXPECT_STREQ(stage.object<uiReaddress>().getRcpt(), "someone.with.a.long.name@example.com");
    };
    LibraryRow set{"UiXHeaderSet",
                   [](LibraryStage& stage) {
                       makeWith<uiInsertXHeaderTag>(stage, "A:b");
                       stage.text = kLong;
                   },
                   [](LibraryStage& stage) {
                       auto& field = stage.object<uiInsertXHeaderTag>();
                       field.setXHeaderTag(stage.text, stage.text);
                       return field.headerName == kLong && field.headerValue == kLong;
                   }};
    set.afterFailure = [](LibraryStage& stage) {
        EXPECT_EQ(stage.object<uiInsertXHeaderTag>().serialize(), "A:b"); // never the one without the other
    };
    rows.push_back(recipients);
    rows.push_back(set);
    rows.push_back({"UiXHeaderGet", [](LibraryStage& stage) { makeWith<uiInsertXHeaderTag>(stage, kField); },
                    [](LibraryStage& stage) {
                        std::string name;
                        std::string value;
                        stage.object<uiInsertXHeaderTag>().getXHeaderTag(name, value);
                        return !name.empty() && !value.empty();
                    }});
}

std::vector<LibraryRow> settingsRows() {
    std::vector<LibraryRow> rows;
    addBoth<IdList>(rows, "QuzoActionN", kIds);
    addBoth<ActArchive>(rows, "ActArchive", kIds);
    addBoth<ActQuarantine>(rows, "ActQuarantine", kIds);
    addBoth<ActReaddress>(rows, "ActReaddress", kRecipients);
    addBoth<ActBcc>(rows, "ActBcc", kRecipients);
    addBoth<ActHandoff>(rows, "ActHandoff", kHost);
    addBoth<ActPostpone>(rows, "ActPostpone", kTime, false);
    addBoth<ActTagSubject>(rows, "ActTagSubject", kTag);
    addBoth<ActInsertXHeaderTag>(rows, "ActInsertXHeaderTag", kField);
    // The blob is the platform's, and so is what it takes to write one.
    addBoth<uiReaddress>(rows, "uiReaddress", kRecipients, false);
    addBoth<uiBcc>(rows, "uiBcc", kRecipients, false);
    addBoth<uiHandoff>(rows, "uiHandoff", kHost, false);
    addBoth<uiPostpone>(rows, "uiPostpone", kTime, false);
    addBoth<uiTagSubject>(rows, "uiTagSubject", kTag);
    addBoth<uiInsertXHeaderTag>(rows, "uiInsertXHeaderTag", kField);
    addBoth<uiStampArea>(rows, "uiStampArea", "1:2:" + field(kLong) + field(kLong));
    addBoth<uiNotifyArea>(rows, "uiNotifyArea",
                          field(kLong) + field(kLong) + field(kLong) + field(kLong) + field(kLong) +
                              field(kLong) + "1:0:1:0:0:1:0:");
    addBoth<uiQuarantineArea>(rows, "uiQuarantineArea", "30:" + field(kLong));
    addBoth<ArchiveArea>(rows, "ArchiveArea", "30:" + field(kLong));
    addRefused<IdList>(rows, "QuzoActionN", "9-no ids");
    addRefused<ActReaddress>(rows, "ActReaddress", "no blob; at all, however one reads it");
    addRefused<ActInsertXHeaderTag>(rows, "ActInsertXHeaderTag", "no colon in all of this text");
    addNote<uiIBEEncrypt>(rows, "uiIBEEncrypt");
    addNote<ActIBEEncrypt>(rows, "ActIBEEncrypt");
    addNote<ActIBEReEncrypt>(rows, "ActIBEReEncrypt");
    addTagAccess<uiTagSubject>(rows, "uiTagSubject");
    addTagAccess<ActTagSubject>(rows, "ActTagSubject");
    addIds(rows);
    addAccess(rows);
    return rows;
}

class SettingsWithoutMemory : public ::testing::TestWithParam<LibraryRow> {};

TEST_P(SettingsWithoutMemory, FailCleanly) { runRow(GetParam()); }

INSTANTIATE_TEST_SUITE_P(Rows, SettingsWithoutMemory, ::testing::ValuesIn(settingsRows()),
                         [](const auto& row) { return row.param.name; });

} // namespace
} // namespace quzo::test
