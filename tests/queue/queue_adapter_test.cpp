// The adapter: each operation ends up in the right queue with what the rule at work knows, or fails without a
// trace.
#include "platform/mta/queue_adapter.h"

#include "quzo/core/error_text.h"
#include "quzo/core/msgu.h"
#include "quzo/core/quarantine_path.h"
#include "quzo/core/reprocess_mark.h"
#include "tests/queue/queue_support.h"

namespace quzo::platform::test {
namespace {

const std::string kMarks = "X-quzo-reprocess-rules: 12 40\r\nX-quzo-reprocess-type: quarantine\r\n";
const std::string kHead = "From: a@example.com\r\nSubject: =?utf-8?q?f=C3=BCr?= you\r\n";
const std::string kBody = "\r\nbody\r\n";
const std::string kMarked = kHead + kMarks + kBody;
const std::string kUnmarked = kHead + kBody;

class AdapterTest : public QueueTest {
protected:
    AdapterTest() {
        tokens_.set(ScanToken::RuleId, "40");
        tokens_.set(ScanToken::RuleName, "forty");
        tokens_.set(ScanToken::VirusName, "Eicar");
        EXPECT_EQ(msg_->setEnvelope("a@example.com", {"b@example.com", "c@example.com"}), 0);
    }

    // The only entry of the queue, and its message.
    QueueEntry only(const char* queue, std::string* message = nullptr) {
        QueueEntry entry;
        const auto entries = wholeEntries(*queues_.find(queue));
        EXPECT_EQ(entries.size(), 1U) << queue;
        if (!entries.empty()) {
            EXPECT_EQ(queues_.find(queue)->read(entries.begin()->first, entry), 0);
            if (message != nullptr) {
                *message = entries.begin()->second;
            }
        }
        return entry;
    }

    Queues queues_{{root_ + "/spool", root_ + "/q", root_ + "/a"}, files_};
    TokenMap<ScanToken> tokens_;
    std::unique_ptr<MailMessage> msg_ = MailMessage::parse(kMarked, {});
    QueueAdapter adapter_{AdapterContext{&queues_, &tokens_, "gw.example.com", false}};
    unsigned error_ = 99;
};

TEST_F(AdapterTest, EachOperationHasItsQueueAndMarksStayInside) {
    struct Row {
        const char* queue;
        bool marks;
        std::function<int(QueueAdapter&, unsigned&, KvMsgMailMessage*)> call;
    };
    const Row rows[] = {
        {"outgoing", false, [](auto& a, auto& e, auto* m) { return a.sendMessage(e, m, false); }},
        {"scan", true, [](auto& a, auto& e, auto* m) { return a.sendMessage(e, m, true); }},
        {"scan", true, [](auto& a, auto& e, auto* m) { return a.submitForScan(e, m, 1); }},
        {"outgoing", false, [](auto& a, auto& e, auto* m) { return a.sendComposed(e, m); }},
        {"postponed", false, [](auto& a, auto& e, auto* m) { return a.postponeMessage(e, m, 0, 0, 23, 59); }},
        {"outgoing", false, [](auto& a, auto& e, auto* m) { return a.handoffMessage(e, m, "mx", 25); }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.queue);
        clear();
        QueueAdapter adapter(AdapterContext{&queues_, &tokens_, "gw.example.com", false});
        ASSERT_EQ(row.call(adapter, error_, msg_.get()), 0);
        EXPECT_EQ(error_, 0U);
        std::string message;
        const QueueEntry entry = only(row.queue, &message);
        EXPECT_EQ(message, row.marks ? kMarked : kUnmarked);
        EXPECT_FALSE(msg_->changed()) << "the message itself is not touched";
        EXPECT_EQ(entry.id, msg_->getIdentifier());
        EXPECT_EQ(entry.sender, "a@example.com");
        EXPECT_EQ(entry.recipients, msg_->recipients());
        EXPECT_EQ(entry.rule, 40U);
        EXPECT_EQ(entry.ruleName, "forty");
        EXPECT_EQ(entry.subject, "f\xC3\xBCr you");
        EXPECT_EQ(entry.tokens.at(51), "Eicar");
        EXPECT_NEAR(static_cast<double>(entry.stored), static_cast<double>(std::time(nullptr)), 100);
        ASSERT_EQ(adapter.queued().size(), 1U);
        EXPECT_EQ(adapter.queued()[0].queue, row.queue);
        EXPECT_EQ(adapter.queued()[0].id, entry.id);
        EXPECT_NE(row.call(adapter, error_, msg_.get()), 0) << "the same identifier twice";
        EXPECT_EQ(error_, static_cast<unsigned>(kErrorExists));
        EXPECT_EQ(adapter.queued().size(), 1U);
        EXPECT_NE(row.call(adapter, error_, nullptr), 0);
        EXPECT_EQ(error_, static_cast<unsigned>(kErrorInvalidArgument));
        clear();
        std::ofstream(root_ + "/spool") << "a file is in the way";
        EXPECT_NE(row.call(adapter, error_, msg_.get()), 0);
        EXPECT_NE(error_, 0U);
    }
}

// A message that ends inside its header gets a line break before the mark. What goes back into the scanner
// keeps its size beside it, so that in the end the message leaves as it came.
TEST_F(AdapterTest, AMessageWithoutALastLineBreakIsWholeAgainInTheEnd) {
    struct Row {
        const char* queue;
        std::function<int(QueueAdapter&, KvMsgMailMessage*)> call;
    };
    unsigned sendError = 0;
    int error = 0;
    char path[KvIsAdapter::kPathSize];
    const Row rows[] = {
        {"scan", [&](auto& a, auto* m) { return a.sendMessage(sendError, m, true); }},
        {"scan", [&](auto& a, auto* m) { return a.submitForScan(sendError, m, 1); }},
        {"quarantine",
         [&](auto& a, auto* m) { return a.quarantineMessage(error, m, "", (root_ + "/q").c_str(), path); }},
    };
    const std::string cut = "From: a@example.com\r\nSubject: cut";
    for (const Row& row : rows) {
        SCOPED_TRACE(row.queue);
        clear();
        const auto msg = MailMessage::parse(cut, {});
        ASSERT_EQ(msg->setEnvelope("a@example.com", {"b@example.com"}), 0);
        QueueAdapter adapter(AdapterContext{&queues_, &tokens_, "", false});
        {
            const ReprocessMark mark(tokens_, msg->getRootEntity(), "readdress");
            ASSERT_EQ(row.call(adapter, msg.get()), 0);
        }
        std::string message;
        const QueueEntry entry = only(row.queue, &message);
        EXPECT_NE(message.find("\r\nX-quzo-reprocess-rules: 40"), std::string::npos);
        EXPECT_EQ(withoutMarks(message, entry.markEnd), cut);
    }
}

TEST_F(AdapterTest, QuarantineRecordsAreaAndPath) {
    tokens_.set(ScanToken::QuarantineAreaId, "7");
    tokens_.set(ScanToken::QuarantineArea, "Suspicious");
    tokens_.set(ScanToken::QuarantineAging, "30");
    tokens_.set(ScanToken::OriginalMailId, "FIRST");
    char path[KvIsAdapter::kPathSize] = "old";
    int error = 99;
    ASSERT_EQ(adapter_.quarantineMessage(error, msg_.get(), "", (root_ + "/q").c_str(), path), 0);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(path, quarantinePath(root_ + "/q", msg_->getIdentifier()));
    EXPECT_EQ(content(path), kMarked);
    const QueueEntry entry = only("quarantine");
    EXPECT_EQ(entry.areaId, 7U);
    EXPECT_EQ(entry.area, "Suspicious");
    EXPECT_EQ(entry.aging, 30U);
    EXPECT_EQ(entry.previous, "FIRST");
    EXPECT_EQ(adapter_.queued()[0].queue, "quarantine");
    EXPECT_NE(adapter_.quarantineMessage(error, msg_.get(), "", (root_ + "/q/").c_str(), path), 0);
    EXPECT_EQ(error, kErrorExists) << "a slash at the end is the same queue";
    EXPECT_STREQ(path, "");
}

TEST_F(AdapterTest, APathThatNobodyCouldBeToldStoresNothing) {
    const std::size_t around = std::string("/A/B/.DF").size() + std::string(msg_->getIdentifier()).size();
    for (const std::size_t size : {KvIsAdapter::kPathSize - around - 1, KvIsAdapter::kPathSize - around}) {
        std::string queue = root_;
        while (queue.size() + 101 < size) {
            queue += "/" + std::string(99, 'd');
        }
        queue += "/" + std::string(size - queue.size() - 1, 'e');
        const bool fits = size + around < KvIsAdapter::kPathSize;
        char path[KvIsAdapter::kPathSize] = "old";
        int error = 99;
        EXPECT_EQ(adapter_.quarantineMessage(error, msg_.get(), "", queue.c_str(), path), error);
        EXPECT_EQ(error, fits ? kErrorNone : kErrorLimit);
        EXPECT_EQ(std::filesystem::exists(queue), fits);
        EXPECT_EQ(std::string(path).size(), fits ? KvIsAdapter::kPathSize - 1U : 0U);
    }
}

TEST_F(AdapterTest, ArchiveCopiesAreNumbered) {
    int error = 99;
    const std::string queue = root_ + "/a";
    for (const char* area : {"Legal", "Audit"}) {
        tokens_.set(ScanToken::ArchiveAreaId, "9");
        tokens_.set(ScanToken::ArchiveArea, std::string(area) + " in full");
        tokens_.set(ScanToken::ArchiveAging, "");
        ASSERT_EQ(adapter_.archiveMessage(error, msg_.get(), "", queue.c_str(), area), 0);
    }
    const std::string id = msg_->getIdentifier();
    EXPECT_EQ(wholeEntries(*queues_.find("archive")),
              (std::map<std::string, std::string>{{id + "-1", kUnmarked}, {id + "-2", kUnmarked}}));
    QueueEntry entry;
    ASSERT_EQ(queues_.find("archive")->read(id + "-2", entry), 0);
    EXPECT_EQ(entry.area, "Audit in full");
    EXPECT_EQ(entry.areaId, 9U);
    EXPECT_FALSE(entry.aging) << "an empty token means never";
    QueueAdapter again(AdapterContext{&queues_, &tokens_, "", false});
    ASSERT_EQ(again.archiveMessage(error, msg_.get(), "", queue.c_str(), "Third"), 0);
    EXPECT_EQ(again.queued()[0].id, id + "-3") << "numbers that others have used are passed over";
}

TEST_F(AdapterTest, OurOwnSenderGetsAHostOnItsWayOut) {
    ASSERT_EQ(msg_->setEnvelope("QUZO", {"b@example.com"}), 0);
    ASSERT_EQ(adapter_.sendComposed(error_, msg_.get()), 0);
    EXPECT_EQ(only("outgoing").sender, "QUZO@gw.example.com");
    ASSERT_EQ(adapter_.submitForScan(error_, msg_.get(), 1), 0);
    EXPECT_EQ(only("scan").sender, "QUZO");
}

TEST_F(AdapterTest, RefusesWhatCannotBeDelivered) {
    const auto code = [&](int result) {
        EXPECT_EQ(static_cast<unsigned>(result), error_);
        return result;
    };
    for (const unsigned port : {0U, 65536U, 4294967295U}) {
        EXPECT_EQ(code(adapter_.handoffMessage(error_, msg_.get(), "mx", port)), kErrorInvalidArgument);
    }
    for (const char* host : {"", "a b", "mx\r\nQUIT", "-a", "a..b", "a/b", "[::1", "1:2", "a@b"}) {
        EXPECT_EQ(code(adapter_.handoffMessage(error_, msg_.get(), host, 25)), kErrorInvalidArgument) << host;
    }
    struct Time {
        unsigned char hour, minute;
        int endHour, endMinute;
    };
    for (const Time& t : {Time{24, 0, 23, 59}, Time{255, 0, 23, 59}, Time{0, 60, 23, 59}, Time{0, 0, 24, 0},
                          Time{0, 0, 0, 60}, Time{0, 0, -1, 0}}) {
        EXPECT_EQ(
            code(adapter_.postponeMessage(error_, msg_.get(), t.hour, t.minute, t.endHour, t.endMinute)),
            kErrorInvalidArgument);
    }
    ASSERT_EQ(msg_->setEnvelope("a@example.com", {}), 0);
    EXPECT_EQ(code(adapter_.sendMessage(error_, msg_.get(), false)), kErrorInvalidArgument) << "to nobody";
    int error = 0;
    char path[KvIsAdapter::kPathSize];
    EXPECT_EQ(adapter_.quarantineMessage(error, msg_.get(), "", "", path), kErrorNotSupported) << "no queue";
    EXPECT_TRUE(filesBelow(root_).empty());
    EXPECT_TRUE(adapter_.queued().empty());
}

TEST_F(AdapterTest, ADryRunTellsAndStoresNothing) {
    QueueAdapter adapter(AdapterContext{&queues_, &tokens_, "gw", true});
    int error = 0;
    char path[KvIsAdapter::kPathSize];
    EXPECT_EQ(adapter.quarantineMessage(error, msg_.get(), "", (root_ + "/q").c_str(), path), 0);
    EXPECT_EQ(path, quarantinePath(root_ + "/q", msg_->getIdentifier()));
    EXPECT_EQ(adapter.archiveMessage(error, msg_.get(), "", (root_ + "/a").c_str(), "x"), 0);
    EXPECT_NE(adapter.handoffMessage(error_, msg_.get(), "mx", 0), 0);
    EXPECT_EQ(adapter.queued().size(), 2U);
    EXPECT_TRUE(std::filesystem::is_empty(root_));
}

} // namespace
} // namespace quzo::platform::test
