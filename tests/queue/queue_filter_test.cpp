// Choosing entries by what is known of them.
#include "platform/queue/leaving_message.h"
#include "platform/queue/queue_admin.h"
#include "tests/queue/queue_support.h"

namespace quzo::platform::test {
namespace {

class FilterTest : public QueueTest {
protected:
    Queues queues_{{root_, "", ""}, files_};
    QueueAdmin admin_{queues_, "gw.example.com"};
};

TEST_F(FilterTest, FiltersByWhatIsKnown) {
    const auto add = [&](const char* id, const char* sender, const char* subject, std::uint32_t rule,
                         const char* area, std::int64_t age, std::size_t size) {
        QueueEntry entry = entryNamed(id);
        entry.sender = sender;
        entry.subject = subject;
        entry.rule = rule;
        entry.ruleName = "rule " + std::to_string(rule);
        entry.area = area;
        entry.areaId = rule + 1;
        entry.stored = kNow - age;
        const std::string message(size, 'x');
        ASSERT_EQ(queues_.find(QueueKind::Quarantine)->store(entry, writerOf(std::string_view(message))), 0);
    };
    add("AA", "a@example.com", "invoice", 10, "Spam", 10, 100);
    add("BB", "b@example.com", "lottery", 20, "Virus", 1000, 2000);
    add("CC", "a@example.com", "lottery", 10, "Virus", 5000, 30);
    const auto is = [](std::string wanted) {
        return [wanted = std::move(wanted)](std::string_view text) { return text == wanted; };
    };
    const auto listed = [&](const QueueFilter& filter) {
        std::string ids;
        EXPECT_EQ(admin_.list(QueueKind::Quarantine, filter, kNow,
                              [&](const ListedEntry& entry) {
                                  ids += entry.id;
                                  return true;
                              }),
                  0);
        return ids;
    };
    EXPECT_EQ(listed({}), "AABBCC");
    EXPECT_EQ(listed({.minAge = 1000}), "BBCC");
    EXPECT_EQ(listed({.maxAge = 1000}), "AABB");
    EXPECT_EQ(listed({.minSize = 100, .maxSize = 100}), "AA");
    EXPECT_EQ(listed({.rule = 10}), "AACC");
    EXPECT_EQ(listed({.ruleName = is("rule 20")}), "BB");
    EXPECT_EQ(listed({.rule = 10, .subject = is("lottery")}), "CC");
    EXPECT_EQ(listed({.sender = is("a@example.com")}), "AACC");
    EXPECT_EQ(listed({.recipient = is("too@example.com")}), "AABBCC");
    EXPECT_EQ(listed({.recipient = is("nobody@example.com")}), "");
    EXPECT_EQ(listed({.area = is("Virus")}), "BBCC");
    EXPECT_EQ(listed({.area = is("11")}), "AACC");
}

} // namespace
} // namespace quzo::platform::test
