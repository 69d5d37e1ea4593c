// Looking at queues, releasing and removing.
#include "platform/queue/queue_admin.h"

#include <algorithm>
#include <list>

#include "platform/mta/queue_adapter.h"
#include "quzo/core/error_text.h"
#include "quzo/core/msgu.h"
#include "quzo/core/reprocess_mark.h"
#include "tests/message/messages.h"
#include "tests/queue/queue_support.h"

namespace quzo::platform::test {
namespace {

using Outcome = QueueResult::Outcome;

class AdminTest : public QueueTest {
protected:
    QueueStore& queue(const char* name) { return *queues_.find(name); }

    // Quarantines a message by rule 40 as the action does, mark and all, and gives its identifier.
    std::string quarantine(const std::string& bytes, const std::string& sender = "from@example.com") {
        TokenMap<ScanToken> tokens;
        tokens.set(ScanToken::RuleId, "40");
        tokens.set(ScanToken::QuarantineArea, "Suspicious");
        tokens.set(ScanToken::QuarantineAreaId, "7");
        tokens.set(ScanToken::QuarantineAging, "30");
        const auto msg = MailMessage::parse(bytes, {});
        EXPECT_EQ(msg->setEnvelope(sender, {"to@example.com"}), 0);
        QueueAdapter adapter({&queues_, &tokens, "gw", false});
        const ReprocessMark mark(tokens, msg->getRootEntity(), "quarantine");
        int error = 0;
        char path[KvIsAdapter::kPathSize];
        EXPECT_EQ(adapter.quarantineMessage(error, msg.get(), "", (root_ + "/quarantine").c_str(), path), 0);
        EXPECT_TRUE(std::filesystem::exists(path));
        return msg->getIdentifier();
    }

    std::string messageIn(const QueuedEntry& entry) {
        std::string message;
        EXPECT_EQ(admin_.showMessage(*queueKind(entry.queue), entry.id, message), 0);
        return message;
    }

    Queues queues_{{root_, "", ""}, files_};
    QueueAdmin admin_{queues_, "gw.example.com"};
};

// Messages of every odd form, and real ones.
std::vector<std::string> manyMessages() {
    std::vector<std::string> messages = {
        "From: a@example.com\r\nSubject: x\r\n\r\nbody\r\n",
        "From: a@example.com\nSubject: =?utf-8?q?f=C3=BCr?=\n folded\n\nbody without line end",
        "Subject: only a header\n",
        "Subject: header without line end",
        "Subject: two lines\nX-Last: without line end",
        "Subject: ends in CR\r",
        "",
        "\r\nno header\r\n",
        "no header at all",
        "Subject: nothing follows\r\n\r\n",
        "Subject: mixed\nTo: b@example.com\r\nX:\ty\n\n\r\nbody\r",
        "From old@example.com Thu Jan  1 00:00:00 2004\nSubject: mbox line\n\nbody\n",
        "Subject: raw \xE4\xF6 \x80\r\nX-Long: " + std::string(2000, 'x') + "\r\n\r\n\x01\xFF" +
            std::string(3, '\0'),
        "Content-Type: multipart/mixed; boundary=b\n\n--b\nX-quzo-reprocess-type: inside\n\n1\n--b--\n",
    };
    const std::vector<std::string> real = corpusMessages();
    messages.insert(messages.end(), real.begin(), real.end());
    return messages;
}

TEST_F(AdminTest, AReleasedMessageIsAsItWasReceived) {
    for (const std::string& message : manyMessages()) {
        SCOPED_TRACE(message.substr(0, 60));
        const std::string id = quarantine(message);
        const auto stored = MailMessage::parse(messageIn({"quarantine", id}), {});
        QueuedEntry released;
        std::string rules;
        if (stored->getRootEntity()->hasError() == 0) {
            ASSERT_TRUE(msgu::getHeader(stored->getRootEntity(), kReprocessRulesHeader, rules));
            ASSERT_EQ(rules, "40");
        }
        ASSERT_TRUE(admin_.release(QueueKind::Quarantine, id, {}, kNow, released).done());
        ASSERT_EQ(released.queue, "outgoing");
        ASSERT_EQ(messageIn(released), message);
    }
}

// What stands between the header of the last part and the boundary behind it; the boundary is read from the
// outer header, as a reader of mail would.
std::string attachedIn(const std::string& whole) {
    const auto after = [](const std::string& text, const std::string& mark) {
        const std::size_t at = text.find(mark);
        EXPECT_NE(at, std::string::npos) << mark;
        return text.substr(at + mark.size());
    };
    const std::string end = whole.find("\r\n") == whole.find('\n') - 1 ? "\r\n" : "\n";
    const std::string boundary = after(whole, "boundary=\"").substr(0, 29);
    const std::string part = after(after(whole, "Content-Type: message/rfc822" + end), end + end);
    const std::size_t close = part.find(end + "--" + boundary + "--" + end);
    EXPECT_NE(close, std::string::npos);
    EXPECT_EQ(close + (end + "--" + boundary + "--" + end).size(), part.size());
    return part.substr(0, close);
}

TEST_F(AdminTest, AsAttachmentCarriesTheMessageByteForByte) {
    for (const std::string& message : manyMessages()) {
        SCOPED_TRACE(message.substr(0, 60));
        const std::string id = quarantine(message);
        QueuedEntry released;
        const ReleaseOptions options{.recipients = {"reader@example.com"}, .asAttachment = true};
        ASSERT_TRUE(admin_.release(QueueKind::Quarantine, id, options, kNow, released).done());
        const std::string whole = messageIn(released);
        ASSERT_EQ(attachedIn(whole), message);
        const auto parsed = MailMessage::parse(whole, {});
        std::list<KvMsgEntity*> found;
        ASSERT_TRUE(msgu::findContentType(parsed.get(), "message/rfc822", found, false));
        ASSERT_EQ(found.size(), 1U) << "a reader finds the attachment";
        EXPECT_EQ(EntityReader::bodySize(*found.front()), message.size());
        std::string field;
        EXPECT_TRUE(msgu::getHeader(parsed->getRootEntity(), "Content-Transfer-Encoding", field));
        const bool eightBit = std::any_of(message.begin(), message.end(), [](char c) { return c < 0; });
        EXPECT_TRUE(!eightBit || field != "7bit");
        EXPECT_EQ(msgu::getHeader(parsed->getRootEntity(), kReprocessRulesHeader, field), false);
    }
}

TEST_F(AdminTest, ACoverSaysWhoSendsItAndHidesBlindCopies) {
    const std::string id = quarantine("Subject: =?utf-8?q?f=C3=BCr?= you\n\ny\n", "");
    QueuedEntry released;
    const ReleaseOptions options{.recipients = {"a@example.com", "b@example.com"}, .asAttachment = true};
    ASSERT_TRUE(admin_.release(QueueKind::Quarantine, id, options, kNow, released).done());
    QueueEntry entry;
    ASSERT_EQ(admin_.show(QueueKind::Outgoing, released.id, entry), 0);
    EXPECT_EQ(entry.sender, "QUZO@gw.example.com");
    EXPECT_EQ(entry.recipients, options.recipients);
    EXPECT_EQ(entry.previous, id);
    const std::string message = messageIn(released);
    const std::string head = message.substr(0, message.find("\n\n"));
    EXPECT_EQ(head.find("a@example.com"), std::string::npos);
    EXPECT_NE(head.find("Date: Tue, 14 Nov 2023 22:13:20 +0000\n"), std::string::npos) << head;
    const auto parsed = MailMessage::parse(message, {});
    std::string subject;
    ASSERT_TRUE(msgu::getSubject(parsed.get(), "utf-8", nullptr, subject));
    EXPECT_EQ(subject, "Released: f\xC3\xBCr you");
}

TEST_F(AdminTest, ADryRunChecksAndTouchesNothing) {
    const std::string id = quarantine("Subject: x\n\ny\n");
    const auto before = filesBelow(root_);
    QueuedEntry planned;
    const ReleaseOptions dry{.dryRun = true};
    ASSERT_TRUE(admin_.release(QueueKind::Quarantine, id, dry, kNow, planned).done());
    EXPECT_EQ(admin_.release(QueueKind::Quarantine, "AB", dry, kNow, planned).outcome, Outcome::Missing);
    EXPECT_EQ(
        admin_.release(QueueKind::Quarantine, id, {.recipients = {"a b"}, .dryRun = true}, kNow, planned)
            .error,
        kErrorInvalidArgument);
    EXPECT_EQ(filesBelow(root_), before);
    ASSERT_TRUE(admin_.release(QueueKind::Quarantine, id, dry, kNow, planned).done());
    QueuedEntry released;
    ASSERT_TRUE(admin_.release(QueueKind::Quarantine, id, {}, kNow, released).done());
    EXPECT_EQ(released.id, planned.id);
}

TEST_F(AdminTest, ReleaseKeepsWhatIsKnown) {
    const std::string id = quarantine("Subject: x\n\ny\n", "QUZO");
    QueuedEntry released;
    ASSERT_TRUE(admin_.release(QueueKind::Quarantine, id, {}, kNow + 5, released).done());
    QueueEntry entry;
    ASSERT_EQ(admin_.show(QueueKind::Outgoing, released.id, entry), 0);
    EXPECT_EQ(entry.sender, "QUZO@gw.example.com");
    EXPECT_EQ(entry.recipients, std::vector<std::string>{"to@example.com"});
    EXPECT_EQ(entry.rule, 40U);
    EXPECT_EQ(entry.subject, "x");
    EXPECT_EQ(entry.previous, id);
    EXPECT_EQ(entry.stored, kNow + 5);
    EXPECT_FALSE(entry.aging) << "mail on its way out must not age out";
    EXPECT_TRUE(wholeEntries(queue("quarantine")).empty());
    EXPECT_EQ(admin_.release(QueueKind::Quarantine, id, {}, kNow, released).outcome, Outcome::Missing);
}

// What held it back or failed before is over: it goes at once, and is tried as often as any.
TEST_F(AdminTest, ReleaseBeginsDeliveryAnew) {
    QueueEntry failed = entryNamed("AB");
    failed.due = kNow + 9 * kHour;
    failed.attempts = 12;
    failed.reason = "550 no such user";
    ASSERT_EQ(queue("failed").store(failed, writerOf(std::string_view("x"))), 0);
    QueuedEntry released;
    ASSERT_TRUE(admin_.release(QueueKind::Failed, "AB", {}, kNow, released).done());
    QueueEntry entry;
    ASSERT_EQ(admin_.show(QueueKind::Outgoing, released.id, entry), 0);
    EXPECT_FALSE(entry.due);
    EXPECT_EQ(entry.attempts, 0U);
    EXPECT_EQ(entry.reason, "");
}

TEST_F(AdminTest, ReleaseToOthersAndThroughTheScanner) {
    const std::string id = quarantine("Subject: x\n\ny\n");
    const std::string stored = messageIn({"quarantine", id});
    QueuedEntry released;
    const auto refused = [&](const ReleaseOptions& options) {
        return admin_.release(QueueKind::Quarantine, id, options, kNow, released).error;
    };
    EXPECT_EQ(refused({.recipients = {"a@example.com\r\nRCPT TO:<b@example.com>"}}), kErrorInvalidArgument);
    EXPECT_EQ(refused({.recipients = {"a@example.com", ""}}), kErrorInvalidArgument);
    EXPECT_EQ(refused({.rescan = true, .asAttachment = true}), kErrorInvalidArgument);
    EXPECT_EQ(wholeEntries(queue("quarantine")).size(), 1U) << "a refused release leaves it";
    EXPECT_TRUE(wholeEntries(queue("outgoing")).empty());
    const ReleaseOptions options{.recipients = {"other@example.com"}, .rescan = true};
    ASSERT_TRUE(admin_.release(QueueKind::Quarantine, id, options, kNow, released).done());
    EXPECT_EQ(released.queue, "scan");
    EXPECT_EQ(messageIn(released), stored) << "the scanner has to see the marks";
    QueueEntry entry;
    ASSERT_EQ(admin_.show(QueueKind::Scan, released.id, entry), 0);
    EXPECT_EQ(entry.recipients, std::vector<std::string>{"other@example.com"});
}

TEST_F(AdminTest, AnOldEntryThatACrashBroughtBackIsNotSentAgain) {
    ASSERT_EQ(storeNamed(queue("quarantine"), "AB"), 0);
    std::filesystem::copy(root_ + "/quarantine", root_ + "/before", std::filesystem::copy_options::recursive);
    QueuedEntry released;
    ASSERT_TRUE(admin_.release(QueueKind::Quarantine, "AB", {}, kNow, released).done());
    std::filesystem::remove_all(root_ + "/quarantine");
    std::filesystem::rename(root_ + "/before", root_ + "/quarantine");
    const ReleaseOptions others{.recipients = {"other@example.com"}};
    EXPECT_EQ(admin_.release(QueueKind::Quarantine, "AB", others, kNow, released).error, kErrorExists);
    EXPECT_EQ(wholeEntries(queue("quarantine")).size(), 1U) << "the others would not get it";
    EXPECT_TRUE(admin_.release(QueueKind::Quarantine, "AB", {}, kNow, released).done());
    EXPECT_TRUE(wholeEntries(queue("quarantine")).empty());
    EXPECT_EQ(wholeEntries(queue("outgoing")).size(), 1U);
    // Another message under the same identifier is no such entry, and must not get lost.
    QueueEntry other = entryNamed("AB");
    ASSERT_EQ(queue("quarantine").store(other, writerOf(std::string_view("another message"))), 0);
    EXPECT_EQ(admin_.release(QueueKind::Quarantine, "AB", {}, kNow, released).error, kErrorExists);
    EXPECT_EQ(wholeEntries(queue("quarantine")).size(), 1U);
}

TEST_F(AdminTest, ReleaseRefusesWhatCannotLeave) {
    QueueEntry nobody = entryNamed("AB");
    nobody.recipients.clear();
    ASSERT_EQ(queue("failed").store(nobody, writerOf(std::string_view("x"))), 0);
    ASSERT_EQ(storeNamed(queue("failed"), "CD"), 0);
    std::filesystem::remove(root_ + "/failed/C/D/CD.DF");
    QueuedEntry released;
    EXPECT_EQ(admin_.release(QueueKind::Failed, "AB", {}, kNow, released).error, kErrorInvalidArgument);
    EXPECT_EQ(admin_.release(QueueKind::Failed, "CD", {}, kNow, released).outcome, Outcome::Failed);
    EXPECT_EQ(admin_.release(QueueKind::Outgoing, "AB", {}, kNow, released).error, kErrorInvalidArgument);
    QueueClaim claim;
    ASSERT_EQ(queue("failed").claim("AB", claim), ClaimOutcome::Taken);
    EXPECT_EQ(admin_.release(QueueKind::Failed, "AB", {}, kNow, released).outcome, Outcome::Busy);
    EXPECT_EQ(admin_.remove(QueueKind::Failed, "AB").outcome, Outcome::Busy);
    claim.release();
    EXPECT_TRUE(admin_.remove(QueueKind::Failed, "AB").done());
    EXPECT_EQ(admin_.remove(QueueKind::Failed, "AB").outcome, Outcome::Missing);
    Queues none{{}, files_};
    EXPECT_EQ(QueueAdmin(none, "").remove(QueueKind::Failed, "CD").outcome, Outcome::Missing);
}

TEST_F(AdminTest, AHeldEntryWaitsForItsOrigin) {
    const auto hold = [&](const std::string& origin, std::int64_t stored) {
        QueueEntry entry = entryNamed(derivedIdentifier("quarantine", origin));
        entry.origin = QueueOrigin{"quarantine", origin};
        entry.stored = stored;
        const std::string message = messageOf(origin);
        EXPECT_EQ(queue("outgoing").storeHeld(entry, writerOf(std::string_view(message))), 0);
        return entry.id;
    };
    ASSERT_EQ(storeNamed(queue("quarantine"), "AB1"), 0);
    ASSERT_EQ(storeNamed(queue("quarantine"), "AB2"), 0);
    const std::string gone = hold("AB3", kNow);    // the old entry was removed: that decided it
    const std::string stands = hold("AB1", kNow);  //
    const std::string unknown = hold("ZZ1", kNow); // no such directory: perhaps only not mounted
    const std::string working = hold("AB2", kNow - 9 * kHour);
    QueueEntry held = entryNamed("AB4"); // itself on its way into the quarantine: it may come to be there
    ASSERT_EQ(queue("quarantine").storeHeld(held, writerOf(std::string_view("x"))), 0);
    hold("AB4", kNow);
    EXPECT_TRUE(wholeEntries(queue("outgoing")).empty());
    EXPECT_EQ(queues_.start(kNow), 0);
    EXPECT_EQ(wholeEntries(queue("outgoing")).size(), 1U);
    EXPECT_TRUE(wholeEntries(queue("outgoing")).contains(gone));
    EXPECT_EQ(filesBelow(root_ + "/outgoing").size(), 10U) << "the others stay as they are";
    QueueClaim claim;
    EXPECT_EQ(queue("outgoing").claim(stands, claim), ClaimOutcome::Missing);
    QueuedEntry released;
    ASSERT_TRUE(admin_.release(QueueKind::Quarantine, "AB1", {}, kNow, released).done());
    EXPECT_EQ(released.id, stands);
    EXPECT_EQ(wholeEntries(queue("outgoing")).at(stands), messageOf("AB1"));
}

} // namespace
} // namespace quzo::platform::test
