// How fast a message goes through a policy, against the least that a program on GMime does: parse the message
// and write it. Everything is in memory and on one thread. All jobs work in turns on the same messages, so
// that whatever else the machine does slows all of them; each turn gives one ratio to GMime, and the medians
// of these are printed.
//
//     scan_speed FOLDER [TURNS]
#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "bench/gmime_message.h"
#include "bench/mail_folder.h"
#include "bench/memory_job.h"
#include "platform/config/quzo_settings.h"
#include "quzo/core/init_action_lib.h"

namespace quzo::bench {
namespace {

constexpr std::string_view kTag = R"(
[[rule]]
id = 10
name = "Nobody"
when = { sender = "*@nowhere.example" }
actions = [{ type = "delete" }]
[[rule]]
id = 20
name = "Mark"
when = { not = { sender = "*@example.invalid" } }
actions = [
  { type = "tag-subject", tag = "[checked] ", signed = SIGNED },
  { type = "x-header", name = "X-Scanned", value = "yes" },
]
)";

constexpr std::string_view kPass = R"(
[[rule]]
id = 10
name = "Senders"
when = { sender = ["*@nowhere.example", "spam-*@*"] }
actions = [{ type = "delete" }]
[[rule]]
id = 20
name = "Subjects"
when = { subject = '(?i)\byou\s+have\s+won\s+the\s+jackpot\b', recipient = "*" }
actions = [{ type = "delete" }]
[[rule]]
id = 30
name = "Fields"
when = { any = [{ header = { X-Nowhere = '.' } }, { header = { X-Mailer = '^Bulk-O-Matic ' } }] }
actions = [{ type = "delete" }]
)";

constexpr std::string_view kLook = R"(
[[rule]]
id = 10
name = "Attachments"
when = { attachment = ["*.nothing-has-this", "*.nor-this"] }
actions = [{ type = "delete" }]
[[rule]]
id = 20
name = "Bodies"
when = { body = '(?i)\bno text has these words in it\b' }
actions = [{ type = "delete" }]
)";

class ThroughGMime final : public Job {
public:
    void run(const std::string& bytes, const Result& result) override {
        if (const GObjectOwner<GMimeMessage> message = gmimeMessage(bytes)) {
            gmimeWrite(*message, result);
        }
    }
};

struct Row {
    const char* name;
    std::unique_ptr<Job> job;
    double wanted = 0; // messages a second as a multiple of GMime's; 0: nothing is promised
    std::vector<double> rates{};
    std::vector<double> ratios{};
};

std::string tagPolicy(const char* withSigned) {
    std::string text(kTag);
    text.replace(text.find("SIGNED"), 6, withSigned);
    return text;
}

// Whether all that is promised was reached.
bool report(const std::vector<Row>& rows) {
    bool reached = true;
    for (const Row& row : rows) {
        const double ratio = median(row.ratios);
        reached = reached && ratio >= row.wanted;
        fmt::print("{:45} {:9.0f} messages/s {:6.1f} x GMime", row.name, median(row.rates), ratio);
        fmt::print("{}\n", row.wanted == 0 ? std::string() : fmt::format(" (at least {:.0f})", row.wanted));
    }
    return reached;
}

int measure(const std::vector<std::string>& messages, unsigned turns) {
    std::vector<Row> rows;
    rows.push_back({"GMime: parse, write", std::make_unique<ThroughGMime>()});
    rows.push_back({"tag, X-header", std::make_unique<ThroughPolicy>(tagPolicy("true")), 3});
    rows.push_back({"the same, protected mail keeps its subject",
                    std::make_unique<ThroughPolicy>(tagPolicy("false")), 3});
    rows.push_back({"envelope and fields looked at, no match", std::make_unique<ThroughPolicy>(kPass), 10});
    rows.push_back({"attachments and bodies looked at, no match", std::make_unique<ThroughPolicy>(kLook)});
    for (Row& row : rows) {
        rate(*row.job, messages); // warm
    }
    for (unsigned turn = 0; turn < turns; ++turn) {
        for (Row& row : rows) {
            row.rates.push_back(rate(*row.job, messages));
            row.ratios.push_back(row.rates.back() / rows.front().rates.back());
        }
    }
    std::size_t size = 0;
    for (const std::string& bytes : messages) {
        size += bytes.size();
    }
    fmt::print("{} messages, {:.1f} MB; medians of {} turns; one thread\n", messages.size(),
               static_cast<double>(size) / 1e6, turns);
    const bool reached = report(rows);
    const auto* tag = static_cast<const ThroughPolicy*>(rows[1].job.get());
    const auto* pass = static_cast<const ThroughPolicy*>(rows[3].job.get());
    if (tag->changed() != messages.size() * (turns + 1) || pass->changed() != 0) {
        throw std::runtime_error(fmt::format("{} messages changed by the first policy, {} by the third",
                                             tag->changed() / (turns + 1), pass->changed()));
    }
    return reached ? 0 : 1;
}

} // namespace
} // namespace quzo::bench

int main(int argc, char** argv) {
    if (argc < 2) {
        fmt::print(stderr, "usage: scan_speed FOLDER [TURNS]\n");
        return 64;
    }
    try {
        const std::vector<std::string> messages = quzo::bench::readMessages(argv[1]);
        if (messages.empty()) {
            fmt::print(stderr, "scan_speed: {}: there are no messages\n", argv[1]);
            return 66;
        }
        g_mime_init();
        quzo::bench::QuietLog log;
        quzo::platform::IniSettings settings;
        InitActionLib(settings, log);
        return quzo::bench::measure(
            messages, argc > 2 ? static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)) : 21);
    } catch (const std::exception& problem) {
        fmt::print(stderr, "scan_speed: {}\n", problem.what());
        return 70;
    }
}
