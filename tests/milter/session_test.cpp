// What a mail server is told about each message, and what it is asked to change.
#include "host/milter/milter_session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/gateway/installation.h"
#include "tests/cli/program.h"

namespace quzo::host::test {
namespace {

using Kind = MilterVerdict::Kind;
using Strings = std::vector<std::string>;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Notes what is asked for; takes so many edits.
class NotingEditor : public MailEditor {
public:
    bool editHeader(const HeaderEdit& edit) override {
        static constexpr const char* kKinds[] = {"insert", "append", "change", "remove"};
        return note(std::string(kKinds[static_cast<int>(edit.kind)]) + " " + std::to_string(edit.place) +
                    " " + edit.field->name + ":" + edit.field->value);
    }
    bool replaceBody(std::string_view piece) override { return note("body " + std::string(piece)); }
    bool changeSender(const std::string& address) override { return note("sender " + address); }
    bool addRecipient(const std::string& address) override { return note("add " + address); }
    bool removeRecipient(const std::string& received) override { return note("remove " + received); }

    Strings notes;
    std::size_t most = 100;

private:
    bool note(std::string text) {
        notes.push_back(std::move(text));
        return notes.size() <= most;
    }
};

// Notes what it is told, "QUEUEID modified accept: ERROR".
class NotingWatch : public MilterWatch {
public:
    void judged(const MessageResult& result, const MilterVerdict& verdict,
                const MessageFacts& facts) noexcept override {
        static constexpr const char* kKinds[] = {"go on", "accept", "discard", "later", "refuse"};
        EXPECT_GT(facts.taken.count(), 0);
        notes.push_back(std::string(facts.name) + " " + outcomeName(result.scan.outcome) + " " +
                        kKinds[static_cast<int>(verdict.kind)] + ": " + std::string(facts.error));
    }
    void outOfMemory() noexcept override { notes.emplace_back("out of memory"); }

    Strings notes;
};

class SessionTest : public ::testing::Test {
protected:
    SessionTest() {
        dir.write("quzo.ini",
                  "[platform]\nspool = sp\nlimit_message = 400\nlimit_header = 300\nlimit_fields = 20\n"
                  "on_limit = refuse\n");
        dir.write("p.toml", R"([[rule]]
id = 1
when = { subject = "tag" }
actions = [{ type = "tag-subject", tag = "[t] " }, { type = "x-header", name = "X-S", value = "yes" }]
[[rule]]
id = 2
when = { subject = "move" }
actions = [{ type = "readdress", to = ["new@x"] }]
[[rule]]
id = 3
when = { subject = "copy" }
actions = [{ type = "bcc", to = ["boss@x", "B@x"] }]
[[rule]]
id = 4
when = { token = { VIRUSNAME = "^Eicar$" } }
actions = [{ type = "delete" }]
[[rule]]
id = 5
when = { header = { X-Virus = "." } }
actions = [{ type = "tag-subject", tag = "[virus] " }]
)");
        EXPECT_TRUE(installation.open({.iniFile = dir.path("quzo.ini"), .policyFile = dir.path("p.toml")}))
            << installation.findings().at(0).line();
        context.snapshot = [this] { return installation.snapshot(); };
        context.queues = installation.queues();
        context.isTrusted = [](std::string_view address) { return address == "127.0.0.1"; };
        context.headerVirusName = "X-Virus";
        context.rescanDaemonName = "again";
        context.watch = &watch;
    }

    // The header comes as "Name:value|Name:value".
    MilterVerdict pass(const std::string& header, const std::string& body, const char* client = "192.0.2.1",
                       const char* daemon = "smtpd") {
        MilterSession session(context);
        session.connected(client);
        session.sender("<from@x>", {"SIZE=10", "BODY=8BITMIME"});
        session.recipient("<b@x>");
        session.recipient("<c@x>");
        for (const MailField& field : fieldsOf(header)) {
            EXPECT_EQ(session.field(field.name, field.value).kind, Kind::GoOn);
        }
        if (!body.empty()) {
            EXPECT_EQ(session.body(body).kind, Kind::GoOn);
        }
        return session.endOfMessage(editor, {"QUEUEID", daemon});
    }

    std::size_t queued(platform::QueueKind kind) {
        std::size_t count = 0;
        installation.queues()->find(kind)->forEach([&](platform::ListedEntry&&) {
            ++count;
            return true;
        });
        return count;
    }

    quzo::test::TemporaryDirectory dir;
    Installation installation;
    MilterContext context;
    NotingEditor editor;
    NotingWatch watch;
};

TEST_F(SessionTest, EachOutcomeIsOneAnswer) {
    struct Row {
        const char* header;
        std::string body;
        Kind kind;
        Strings notes;
    };
    const Row rows[] = {
        {"Subject: other\nX-Two:  v \n", "x\r\n", Kind::Accept, {}},
        {"Subject: tag\nTo:b\n", "x\r\n", Kind::Accept, {"append 0 X-S: yes", "change 1 Subject: [t] tag"}},
        {"To: b\n", "", Kind::Accept, {}},
        {"Subject: copy\n", "x\r\n", Kind::Accept, {"add boss@x"}},
        {"Subject: move\n", "x\r\n", Kind::Discard, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.header);
        editor.notes.clear();
        const MilterVerdict verdict = pass(row.header, row.body);
        EXPECT_EQ(verdict.kind, row.kind) << verdict.text;
        EXPECT_EQ(editor.notes, row.notes);
    }
    EXPECT_EQ(queued(platform::QueueKind::Scan), 1U);
}

TEST_F(SessionTest, OfWhatIsBeyondALimitNoRuleSeesAPart) {
    struct Row {
        std::string header;
        std::string body;
        std::size_t recipients;
        const char* limit; // null: it is within all
    };
    const std::string move = "Subject: move\n"; // is taken by its rule
    std::string fields = move;
    for (int i = 0; i < 19; ++i) {
        fields += "X:y\n";
    }
    const Row rows[] = {
        {move, std::string(380, 'x'), 1, nullptr},
        {move, std::string(500, 'x'), 1, "limit_message"},
        {fields, "x", 1, nullptr},
        {fields + "X:y\n", "x", 1, "limit_fields"},
        {move + "X:" + std::string(270, 'x') + "\n", "x", 1, nullptr},
        {move + "X:" + std::string(300, 'x') + "\n", "x", 1, "limit_header"},
        {move, "x", 1100, "recipients"},
    };
    for (const char* onLimit : {"refuse", "pass"}) {
        dir.write("quzo.ini", std::string("[platform]\nspool = sp\nlimit_message = 400\nlimit_header = 300\n"
                                          "limit_fields = 20\non_limit = ") +
                                  onLimit + "\n");
        EXPECT_THAT(installation.reload(), IsEmpty());
        for (const Row& row : rows) {
            SCOPED_TRACE(row.limit != nullptr ? row.limit : "none");
            MilterSession session(context);
            session.sender("<from@x>", {});
            for (std::size_t i = 0; i < row.recipients; ++i) {
                session.recipient("<" + std::string(i == 0 ? 1 : 60000, 'b') + "@x>");
            }
            for (const MailField& field : fieldsOf(row.header)) {
                session.field(field.name, field.value);
            }
            session.body(row.body);
            const MilterVerdict verdict = session.endOfMessage(editor, {});
            const Kind beyond = std::string(onLimit) == "pass" ? Kind::Accept : Kind::Refuse;
            EXPECT_EQ(verdict.kind, row.limit == nullptr ? Kind::Discard : beyond) << verdict.text;
            if (verdict.kind == Kind::Refuse) {
                EXPECT_EQ(std::string(verdict.code) + " " + verdict.status, "552 5.3.4");
                EXPECT_THAT(verdict.text, HasSubstr(row.limit));
            }
            EXPECT_THAT(editor.notes, IsEmpty());
        }
    }
}

TEST_F(SessionTest, AFieldStaysOne) {
    MilterSession session(context);
    for (const char* name : {"", "X:Y", "X\nY"}) {
        session.sender("<from@x>", {});
        EXPECT_EQ(session.field(name, " v").kind, Kind::Later);
        EXPECT_EQ(session.endOfMessage(editor, {}).kind, Kind::Later);
    }
    EXPECT_EQ(pass("Subject: tag\nX: a\r\n b\rEvil: c\n", "x\r\n").kind, Kind::Accept);
    EXPECT_THAT(editor.notes, testing::Contains("change 1 X: a\n b Evil: c"));
}

TEST_F(SessionTest, WhatGoesWrongIsTriedAgain) {
    editor.most = 1; // of two edits
    EXPECT_EQ(pass("Subject: tag\n", "x\r\n").kind, Kind::Later);
    dir.write("sp/scan", "no directory");
    const MilterVerdict verdict = pass("Subject: move\n", "x\r\n");
    EXPECT_EQ(verdict.kind, Kind::Later);
    EXPECT_EQ(std::string(verdict.code), "451");
    MilterSession session(context);
    EXPECT_EQ(session.body("x").kind, Kind::Later) << "without a sender";
    EXPECT_EQ(session.endOfMessage(editor, {}).kind, Kind::Later);
    // The first was judged well, and is not where that would have brought it. The policy's own errors are in
    // the result.
    EXPECT_THAT(watch.notes, ElementsAre("QUEUEID modified later: the mail server did not take the changes",
                                         "QUEUEID deferred later: "));
}

TEST_F(SessionTest, WhatHasNoMemoryIsTold) {
    context.snapshot = [this]() -> std::shared_ptr<const Snapshot> {
        if (watch.notes.empty()) {
            throw std::bad_alloc();
        }
        return installation.snapshot();
    };
    MilterSession session(context);
    EXPECT_EQ(session.sender("<a@x>", {}).kind, Kind::Later);
    EXPECT_THAT(watch.notes, ElementsAre("out of memory"));
    EXPECT_EQ(pass("Subject: s\n", "").kind, Kind::Accept);
    EXPECT_THAT(watch.notes, ElementsAre("out of memory", "QUEUEID unchanged accept: "));
}

TEST_F(SessionTest, OnlyTrustedClientsTellOfViruses) {
    EXPECT_EQ(pass("X-Virus: Eicar\nSubject: s\n", "x\r\n", "127.0.0.1").kind, Kind::Discard);
    EXPECT_EQ(pass("Subject: s\nX-VIRUS: Eicar\nX-Virus: b\n", "x\r\n").kind, Kind::Accept);
    // Neither the token nor the condition on the field has seen it, and nobody behind us will.
    EXPECT_THAT(editor.notes, ElementsAre("remove 2 X-Virus: b", "remove 1 X-VIRUS: Eicar"));
}

TEST_F(SessionTest, MarksCountOnTheWayBackAlone) {
    const char* header = "X-quzo-reprocess-rules: 1\nX-quzo-reprocess-type: readdress\nSubject: tag\n";
    struct Row {
        const char* client;
        const char* daemon;
        bool skipped;
    };
    for (const Row& row : {Row{"127.0.0.1", "again", true}, Row{"127.0.0.1", "smtpd", false},
                           Row{"192.0.2.1", "again", false}, Row{"", "again", false}}) {
        editor.notes.clear();
        EXPECT_EQ(pass(header, "x\r\n", row.client, row.daemon).kind, Kind::Accept);
        EXPECT_EQ(testing::Matches(testing::Contains("change 1 Subject: [t] tag"))(editor.notes),
                  !row.skipped);
        EXPECT_THAT(editor.notes, testing::Contains("remove 1 X-quzo-reprocess-rules: 1"));
    }
}

} // namespace
} // namespace quzo::host::test
