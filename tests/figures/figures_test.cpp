// What is counted of messages and queues, and that the document has every name.
#include "host/figures/figures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <vector>

#include "quzo/core/error_text.h"
#include "tests/figures/figures_text.h"
#include "tests/places.h"

namespace quzo::host::test {
namespace {

using namespace std::chrono_literals;
using platform::QueueKind;
using Kind = MilterVerdict::Kind;
using Work = WorkDone::Kind;

MessageResult resultOf(Outcome outcome, int error = kErrorNone, std::vector<RuleResult> rules = {}) {
    MessageResult result;
    result.message = platform::MailMessage::parse("Subject: x\n\n1234567\n", {}, {}); // 20 bytes
    result.scan.outcome = outcome;
    result.scan.rules = std::move(rules);
    if (error != kErrorNone) {
        result.scan.error = ScanError{error, "wrong"};
    }
    return result;
}

TEST(Figures, CountEachMessageOnce) {
    Figures figures(100);
    const std::vector<RuleResult> rules = {
        {1, "one", {{"tag-subject", true}, {"notify", false}, {"tag-subject", true}}},
        {2, "two", {{"delete", true, true}, {"quarantine", false, false, true}, {"from mail\"}", true}}}};
    const struct {
        MessageResult result;
        Kind verdict;
        std::chrono::nanoseconds taken;
    } rows[] = {
        {resultOf(Outcome::Unchanged), Kind::Accept, 500us},
        {resultOf(Outcome::Modified), Kind::Accept, 1000us}, // at the edge of a bucket
        {resultOf(Outcome::Modified), Kind::Later, 3ms},
        {resultOf(Outcome::Consumed, kErrorNone, rules), Kind::Discard, 2min},
        {resultOf(Outcome::Deferred, kErrorLimit), Kind::Later, 0ns},
        {resultOf(Outcome::Deferred, kErrorInputOutput), Kind::Later, 0ns},
        {resultOf(Outcome::Failed, kErrorLimit), Kind::Refuse, 0ns},
        {resultOf(Outcome::Failed, kErrorMalformedEntity), Kind::Refuse, 0ns},
    };
    for (const auto& row : rows) {
        figures.judged(row.result, {row.verdict}, row.taken);
    }
    figures.outOfMemory();
    figures.scanned(resultOf(Outcome::Modified, kErrorNone, rules));
    figures.workedOn(QueueKind::Outgoing, Work::Gone);
    figures.workedOn(QueueKind::Outgoing, Work::Later);
    figures.workedOn(QueueKind::Scan, Work::Failed);
    figures.reloaded(true, 200);
    figures.reloaded(false, 300);

    const FiguresText text(figures.text({.now = 400, .connections = 7, .healthy = false}));
    EXPECT_TRUE(text.sound);
    const std::map<std::string, double> expected = {
        {"quzo_messages_total{outcome=\"unchanged\"}", 1},
        {"quzo_messages_total{outcome=\"modified\"}", 2},
        {"quzo_messages_total{outcome=\"consumed\"}", 1},
        {"quzo_messages_total{outcome=\"deferred\"}", 2},
        {"quzo_messages_total{outcome=\"failed\"}", 2},
        {"quzo_received_bytes_total", 160},
        {"quzo_refusals_total{reason=\"changes\"}", 1},
        {"quzo_refusals_total{reason=\"limit\"}", 2},
        {"quzo_refusals_total{reason=\"fault\"}", 1},
        {"quzo_refusals_total{reason=\"unparseable\"}", 1},
        {"quzo_refusals_total{reason=\"memory\"}", 1},
        {"quzo_actions_total{result=\"done\",type=\"tag-subject\"}", 4},
        {"quzo_actions_total{result=\"failed\",type=\"notify\"}", 2},
        {"quzo_actions_total{result=\"done\",type=\"delete\"}", 2},
        {"quzo_actions_total{result=\"failed\",type=\"quarantine\"}", 0}, // not run
        {"quzo_message_seconds_bucket{le=\"0.001\"}", 6},
        {"quzo_message_seconds_bucket{le=\"0.0025\"}", 6},
        {"quzo_message_seconds_bucket{le=\"0.005\"}", 7},
        {"quzo_message_seconds_bucket{le=\"60\"}", 7},
        {"quzo_message_seconds_bucket{le=\"+Inf\"}", 8},
        {"quzo_message_seconds_count", 8},
        {"quzo_rescans_total{outcome=\"modified\"}", 1},
        {"quzo_queue_work_total{queue=\"outgoing\",result=\"done\"}", 1},
        {"quzo_queue_work_total{queue=\"outgoing\",result=\"later\"}", 1},
        {"quzo_queue_work_total{queue=\"outgoing\",result=\"failed\"}", 0},
        {"quzo_queue_work_total{queue=\"scan\",result=\"failed\"}", 1},
        {"quzo_reloads_total{result=\"done\"}", 1},
        {"quzo_reloads_total{result=\"failed\"}", 1},
        {"quzo_loaded_time_seconds", 200},
        {"quzo_start_time_seconds", 100},
        {"quzo_connections", 7},
        {"quzo_healthy", 0},
    };
    for (const auto& [name, value] : expected) {
        EXPECT_EQ(text.of(name), value) << name;
    }
    for (const auto& [name, value] : text.values) {
        EXPECT_THAT(name, testing::Not(testing::HasSubstr("mail\""))) << "a label from outside";
    }
}

TEST(Figures, TellTheAgeAtTheMomentOfAsking) {
    Figures figures(100);
    QueueStatus outgoing;
    outgoing.entries = 3;
    outgoing.bytes = 1000;
    outgoing.oldest = 150;
    QueueStatus empty;
    empty.queue = QueueKind::Archive;
    figures.setQueues({outgoing, empty}, 200);
    for (const int now : {210, 300}) {
        const FiguresText text(figures.text({.now = now}));
        EXPECT_EQ(text.of("quzo_queue_entries{queue=\"outgoing\"}"), 3);
        EXPECT_EQ(text.of("quzo_queue_bytes{queue=\"outgoing\"}"), 1000);
        EXPECT_EQ(text.of("quzo_queue_oldest_seconds{queue=\"outgoing\"}"), now - 150);
        EXPECT_EQ(text.of("quzo_queue_oldest_seconds{queue=\"archive\"}"), 0);
        EXPECT_EQ(text.of("quzo_queues_time_seconds"), 200);
    }
}

// Rows "| `name` | kind | what it is |" of the document.
TEST(Figures, AreThoseOfTheDocument) {
    std::map<std::string, std::string> told;
    std::ifstream file(quzo::tests::sourceDir() + std::string("/docs/operations.md"));
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("| `quzo_")) {
            const std::size_t end = line.find('`', 3);
            const std::size_t kind = line.find("| ", end) + 2;
            EXPECT_TRUE(
                told.emplace(line.substr(3, end - 3), line.substr(kind, line.find(' ', kind) - kind)).second)
                << line;
        }
    }
    Figures figures(0);
    figures.setQueues({QueueStatus()}, 0);
    EXPECT_EQ(FiguresText(figures.text({})).kinds, told);
}

} // namespace
} // namespace quzo::host::test
