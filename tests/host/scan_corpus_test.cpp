// Real messages under a policy that looks at everything and matches nothing.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "host/scan/envelope.h"
#include "tests/host/scan_support.h"
#include "tests/places.h"

namespace quzo::host {
namespace {

TEST(ScanCorpus, LooksAtEverythingAndLeavesEveryByte) {
    const std::filesystem::path folder = std::filesystem::path(quzo::tests::corpusDir()) / "mail";
    if (!std::filesystem::is_directory(folder)) {
        GTEST_SKIP() << "no messages in " << folder;
    }
    test::Scan scan(R"(
[[rule]]
id = 1
when = { any = [
  { body = '\x00never\x00' }, { attachment = "*.[n]ever" }, { content_type = "never/never" },
  { header = { Received = '^never$', X-Never = "" } }, { subject = '^\x01$' }, { sender = "never@never" },
  { every_recipient = "never@never" }, { size_over = "1G" }, { signed = true, encrypted = true, body = '^\x01$' },
  { token = { HEADER_RCPTS = '^never$', MAILID = '^never$' } } ] }
actions = [{ type = "delete" }]
)");
    std::size_t messages = 0;
    std::size_t kept = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        const auto msg = platform::MailMessage::parse(bytes, platform::Limits{});
        const Envelope envelope = envelopeOf(*msg, {}, {}, {});
        EXPECT_EQ(msg->setEnvelope(envelope.sender, envelope.recipients), 0) << entry.path();
        scan.tokens = {};
        const ScanResult result = scan(*msg);
        ++messages;
        EXPECT_TRUE(result.rules.empty()) << entry.path();
        // What cannot be read, or is beyond the limits, is not passed on.
        if (result.goesOn()) {
            ++kept;
            EXPECT_EQ(result.outcome, Outcome::Unchanged) << entry.path();
            EXPECT_TRUE(test::textOf(*msg) == bytes) << entry.path();
        } else {
            EXPECT_EQ(result.outcome, Outcome::Deferred) << entry.path();
        }
    }
    EXPECT_GE(kept * 100, messages * 99) << kept << " of " << messages;
}

} // namespace
} // namespace quzo::host
