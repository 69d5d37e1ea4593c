// Attachment deletion: which entities go, what is told about it, in which order.
#include <cinttypes>
#include <cstdio>

#include "fake_platform.h"
#include "quzo/actions/act_delete_attachment.h"

namespace quzo::test {
namespace {

using Strings = std::vector<std::string>;

class DeleteAttachmentTest : public LibraryTest {
protected:
    DeleteAttachmentTest() {
        FakeEntity* before = &message.root;
        for (FakeEntity* entity : {&text, &file, &forwarded, &marked}) {
            before->next = entity;
            before = entity;
        }
        message.root.type = kEntityMultipart;
        file.file = std::make_unique<KvMsgFileInfo>(KvMsgFileInfo{"a.exe"});
        forwarded.type = kEntityMessage;
        marked.add("Content-Disposition", "attachment");
        fake().existing = {&message.root, &text, &file, &forwarded, &marked};
        fake().body = {&text};
    }

    bool take(ActDeleteAttachment& action) {
        fake().calls.clear();
        consumed = false;
        return action.takeAction(&message, nullptr, consumed, tokens, adapter, namedObjects);
    }
    bool take(bool all = false) {
        ActDeleteAttachment action;
        action.construct(all ? "T" : "F", 1);
        return take(action);
    }

    static std::string listed(const std::vector<const void*>& entities) {
        std::string list;
        for (const void* entity : entities) {
            char entry[64];
            std::snprintf(entry, sizeof entry, "%s%zu %" PRIxPTR, list.empty() ? "" : ";", list.size(),
                          reinterpret_cast<std::uintptr_t>(entity));
            list += entry;
        }
        return list;
    }

    std::map<ScanToken, std::string> tokenMap() const { return {tokens.begin(), tokens.end()}; }

    FakeEntity text, file, forwarded, marked;
    bool consumed = false;
};

TEST_F(DeleteAttachmentTest, Settings) {
    for (const char* setting : {"T", "Truly"}) {
        ActDeleteAttachment action;
        EXPECT_TRUE(action.construct(setting, 1));
        EXPECT_EQ(action.serialize(), "T");
    }
    for (const char* setting : {"F", "t", ""}) {
        ActDeleteAttachment action;
        EXPECT_TRUE(action.construct(setting, 1));
        EXPECT_EQ(action.serialize(), "F");
    }
}

TEST_F(DeleteAttachmentTest, AllAttachments) {
    FakeEntity parameters;
    FakeEntity typed;
    marked.next = &parameters;
    parameters.add("Content-Disposition", "attachment; x=y"); // not the whole value
    parameters.next = &typed;
    typed.add("Content-Type", "message/rfc822");
    fake().existing.insert({&parameters, &typed});
    tokens.set(ScanToken::MarkedEntityNotes, "notes");
    tokens.set(ScanToken::MarkedEntities, "1 1");
    EXPECT_TRUE(take(true));
    EXPECT_EQ(fake().existing, (std::set<KvMsgEntity*>{&message.root, &text, &parameters}));
    EXPECT_EQ(fake().calls, (Strings{"remove a.exe", "remove ", "remove ", "remove "}));
    EXPECT_EQ(tokenMap(), (std::map<ScanToken, std::string>{{ScanToken::AttachmentState, "0"}}));
    EXPECT_EQ(lines(3), Strings{"[DeleteAttachment] Delete attachment: a.exe"});
}

TEST_F(DeleteAttachmentTest, TokenEightLasts) {
    ActDeleteAttachment action;
    tokens.set(ScanToken::DeleteAllAttachments, "1x");
    EXPECT_TRUE(take(action));
    EXPECT_EQ(fake().existing.count(&file), 0U);
    EXPECT_TRUE(action.deleteAll);
    tokens.RemoveToken(ScanToken::DeleteAllAttachments);
    fake().existing.insert(&file);
    EXPECT_TRUE(take(action));
    EXPECT_EQ(fake().existing.count(&file), 0U);
}

TEST_F(DeleteAttachmentTest, MarkedOnes) {
    FakeEntity foreign;
    const std::string good = listed({&file, &marked});
    const struct {
        const char* what;
        std::string list;
        std::vector<const FakeEntity*> gone;
    } rows[] = {
        {"two", good, {&file, &marked}},
        {"twice, and others' entities", listed({&file, &file, &foreign, &marked}), {&file, &marked}},
        {"the body stays", listed({&text, &file}), {&file}},
        {"an address of zero ends it", listed({&file}) + ";13 0;" + listed({&marked}), {&file}},
        {"no address ends it", listed({&file}) + ";13;" + listed({&marked}), {&file}},
        {"no number ends it", listed({&file}) + ";x;" + listed({&marked}), {&file}},
        {"an entry of 64 ends it",
         listed({&file}) + ";" + std::string(64, ' ') + ";" + listed({&marked}),
         {&file}},
        {"nor is a last one of 64 read", std::string(62, ' ') + listed({&file}), {}},
        {"numbers that overflow", "99999999999999999999 ffffffffffffffffffffff;" + listed({&file}), {&file}},
        {"nothing", "", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        fake().existing = {&message.root, &text, &file, &forwarded, &marked};
        tokens = TokenMap<ScanToken>();
        tokens.set(ScanToken::MarkedEntities, row.list);
        tokens.set(ScanToken::MarkedEntityNotes, "notes");
        log.lines.clear();
        EXPECT_TRUE(take());
        for (const FakeEntity* entity : {&text, &file, &forwarded, &marked}) {
            const bool gone = std::find(row.gone.begin(), row.gone.end(), entity) != row.gone.end();
            EXPECT_EQ(fake().existing.count(const_cast<FakeEntity*>(entity)), gone ? 0U : 1U);
        }
        EXPECT_EQ(tokenMap(), (std::map<ScanToken, std::string>{{ScanToken::MarkedEntityNotes, "notes"}}));
        EXPECT_EQ(lines(2), row.gone.empty() ? Strings{"No marked MIME Entities for deletion."} : Strings{});
    }
    tokens.set(ScanToken::DropMarkedEntityNotes, "1");
    EXPECT_TRUE(take());
    EXPECT_EQ(tokens.find(ScanToken::MarkedEntityNotes), nullptr);
}

TEST_F(DeleteAttachmentTest, WithAVirus) {
    tokens.set(ScanToken::VirusName, "EICAR");
    tokens.set(ScanToken::MarkedEntities, listed({&message.root, &text, &file}));
    EXPECT_TRUE(take());
    EXPECT_EQ(fake().calls, (Strings{"cached bundle IDG_VIRUS_FILTER", "locator 1 1 1 0",
                                     "setContent ' ' text/plain iso-8859-1 7bit", "delete locator", "remove ",
                                     "remove a.exe"}));
    EXPECT_EQ(tokens.valueOrEmpty(ScanToken::VirusAction), "Delete matching attachment");
    EXPECT_EQ(lines(3).front(), "[DeleteAttachment]The deleted entity is root entity,just clear content");

    fake().bundle["IDS_VACTION_DELETE_ALL"] = "Alles weg";
    EXPECT_TRUE(take(true));
    EXPECT_EQ(tokens.valueOrEmpty(ScanToken::VirusAction), "Delete matching attachment;Alles weg");

    message.root.contentError = 5;
    fake().existing.insert(&file);
    tokens.set(ScanToken::MarkedEntities, listed({&message.root, &file}));
    EXPECT_FALSE(take());
    EXPECT_EQ(fake().calls.back(), "delete locator");
    EXPECT_EQ(fake().existing.count(&file), 1U);
    expectL1("[DeleteAttachment] SetContent failed : 5 ('five')");
    fake().locatorWorks = false;
    tokens.set(ScanToken::MarkedEntities, listed({&message.root}));
    EXPECT_FALSE(take());
    expectL1("[DeleteAttachment]create resource locator failed");
}

TEST_F(DeleteAttachmentTest, TheWholeMail) {
    tokens.set(ScanToken::WholeMailFinding, "1");
    EXPECT_TRUE(take()); // without a virus name: no whole mail
    EXPECT_FALSE(consumed);
    EXPECT_EQ(lines(2), Strings{"No marked MIME Entities for deletion."});

    tokens.set(ScanToken::VirusName, "EICAR");
    tokens.set(ScanToken::MarkedEntities, listed({&file}));
    const auto before = tokenMap();
    adapter.deleteError = 7;
    EXPECT_FALSE(take());
    expectL1("Failed to delete a message during whole mail scan, error 7.");
    EXPECT_FALSE(consumed);
    auto after = before;
    after[ScanToken::VirusAction] = "Delete whole mail";
    EXPECT_EQ(tokenMap(), after);

    adapter.deleteError = 0;
    tokens.set(ScanToken::MarkedEntityNotes, "notes");
    EXPECT_TRUE(take());
    EXPECT_TRUE(consumed);
    EXPECT_EQ(lines(2).back(), "Whole mail scan deletes the message because virus found");
    after.erase(ScanToken::MarkedEntities);
    after[ScanToken::VirusAction] = "Delete whole mail;Delete whole mail";
    after[ScanToken::AttachmentState] = "0";
    EXPECT_EQ(tokenMap(), after);
}

TEST_F(DeleteAttachmentTest, AFailureIsToldOfAllThatFollow) {
    fake().stuck = {&file};
    tokens.set(ScanToken::MarkedEntities, listed({&forwarded, &file, &marked}));
    EXPECT_FALSE(take());
    EXPECT_EQ(fake().existing.count(&marked), 0U);
    Strings told;
    for (const FakeEntity* entity : {&file, &marked}) {
        char line[128];
        const auto shownAs = static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(entity));
        std::snprintf(line, sizeof line, "Failed to delete the MIME Entity (0x%08X, id=%u).", shownAs,
                      shownAs);
        told.emplace_back(line);
    }
    EXPECT_EQ(lines(2), told);
}

} // namespace
} // namespace quzo::test
