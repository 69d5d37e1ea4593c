// How fast notifications are composed that have the message attached, against a program on GMime that makes
// the same mail of texts without tokens in them. Everything is in memory and on one thread: from the scanned
// message, which both have parsed before, to the bytes as they go into a queue. All work in turns, each turn
// gives one ratio to GMime's, and their medians are printed, of processor time. Before that, both mails are
// read back and compared.
//
//     notify_speed [TURNS]         exit code 1 when the promised ratio is missed
#include <fmt/format.h>

#include <cstdlib>
#include <ctime>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "bench/gmime_notice.h"
#include "bench/mail_folder.h"
#include "bench/memory_job.h"
#include "bench/memory_sink.h"
#include "bench/read_notice.h"
#include "platform/config/quzo_settings.h"
#include "quzo/core/init_action_lib.h"
#include "quzo/notify/act_notify.h"

namespace quzo::bench {
namespace {

constexpr double kPromised = 2;              // times as many as GMime, which has the message parsed
constexpr std::size_t kMessageSize = 100000; // bytes, roughly
constexpr unsigned kMails = 500;             // in one turn
constexpr std::string_view kSubject = "Suspicious attachments: Angebot f\u00FCr Juni from anna@example.com";

// A text and an attachment. In lines that end in LF, which is how GMime writes texts, whatever they were read
// as.
std::string scannedMessage() {
    std::string text = "Return-Path: <anna@example.com>\n";
    for (int hop = 0; hop < 5; ++hop) {
        text += fmt::format(
            "Received: from mx{}.example.com (mx{}.example.com [192.0.2.{}])\n"
            "\tby mx.example.org with ESMTPS id 4XyZ{}0Bq;\n"
            "\tTue, 04 Jun 2024 10:0{}:00 +0000 (UTC)\n",
            hop, hop, hop + 1, hop, hop);
    }
    text +=
        "From: Anna Example <anna@example.com>\nTo: Bert <bert@example.org>\n"
        "Subject: =?utf-8?Q?Angebot_f=C3=BCr_Juni?=\nDate: Tue, 04 Jun 2024 10:00:00 +0000\n"
        "Message-ID: <20240604100000.1@example.com>\nMIME-Version: 1.0\n"
        "Content-Type: multipart/mixed; boundary=\"parts-0123456789\"\n\n"
        "--parts-0123456789\nContent-Type: text/plain; charset=utf-8\n\n";
    for (int i = 0; i < 40; ++i) {
        text += "A line of the text that comes with the offer, as long as lines of mail are.\n";
    }
    text +=
        "--parts-0123456789\nContent-Type: application/pdf; name=\"offer.pdf\"\n"
        "Content-Disposition: attachment; filename=\"offer.pdf\"\n"
        "Content-Transfer-Encoding: base64\n\n";
    while (text.size() < kMessageSize) {
        text += "JVBERi0xLjQKJcfsj6IKNSAwIG9iago8PC9MZW5ndGggNiAwIFIvRmlsdGVyIC9GbGF0ZURlY29k\n";
    }
    return text + "--parts-0123456789--\n";
}

uiNotifyArea noticeTemplate() {
    uiNotifyArea area;
    area.sender = "postmaster@example.org";
    area.recipients = "admin@example.org;security@example.org";
    area.subject = "%RULENAME%: %SUBJECT% from %SENDER%";
    area.message =
        "A message was stopped.\n\nWhen:  %DATE&TIME%\nFrom:  %SENDER%\nTo:    %RCPTS%\n"
        "About: %SUBJECT%\nRule:  %RULENAME%\nFiles: %FILENAME%\n\n";
    for (int i = 0; i < 8; ++i) {
        area.message += "It is attached as it was received. Answer to have it delivered all the same.\n";
    }
    area.attachMessage = true;
    return area;
}

TokenMap<ScanToken> filledTokens() {
    TokenMap<ScanToken> tokens;
    tokens.set(ScanToken::Sender, "anna@example.com");
    tokens.set(ScanToken::Recipients, "bert@example.org;carla@example.org");
    tokens.set(ScanToken::RuleName, "Suspicious attachments");
    tokens.set(ScanToken::RuleId, "40");
    tokens.set(ScanToken::FileName, "offer.pdf");
    return tokens;
}

class OurNotice {
public:
    explicit OurNotice(const std::string& message)
        : area_(noticeTemplate()),
          filled_(filledTokens()),
          msg_(platform::MailMessage::parse(message, platform::Limits())) {
        if (msg_->setEnvelope("anna@example.com", {"bert@example.org", "carla@example.org"}) != 0) {
            throw std::runtime_error("the envelope is refused");
        }
    }

    // Valid until the next call.
    std::string_view compose() {
        TokenMap<ScanToken> tokens = filled_; // subject and date are worked out, as for each message
        bool consumed = false;
        if (!ActNotify::_runNameObj(msg_.get(), msg_.get(), consumed, tokens, sink_, area_)) {
            throw std::runtime_error("the notification is not composed");
        }
        return sink_.bytes();
    }

private:
    uiNotifyArea area_;
    TokenMap<ScanToken> filled_;
    std::unique_ptr<platform::MailMessage> msg_;
    MemorySink sink_;
};

struct Row {
    const char* name;
    std::function<std::string_view()> compose;
    std::vector<double> rates{};
    std::vector<double> ratios{}; // ours to this one
};

double processorSeconds() {
    timespec now = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// Mails a second.
double rateOf(const Row& row) {
    std::size_t total = 0;
    const double begin = processorSeconds();
    for (unsigned i = 0; i < kMails; ++i) {
        total += row.compose().size();
    }
    const double took = processorSeconds() - begin;
    if (total < kMails * kMessageSize) {
        throw std::runtime_error("too little was written");
    }
    return kMails / took;
}

int measure(std::vector<Row> rows, unsigned turns) {
    for (const Row& row : rows) {
        rateOf(row); // warm
    }
    for (unsigned turn = 0; turn < turns; ++turn) {
        for (Row& row : rows) {
            row.rates.push_back(rateOf(row));
            row.ratios.push_back(rows.front().rates.back() / row.rates.back());
        }
    }
    for (const Row& row : rows) {
        fmt::print("{:36} {:8.0f} mails/s {:6.1f} us each; quzo makes {:.2f} times as many\n", row.name,
                   median(row.rates), 1e6 / median(row.rates), median(row.ratios));
    }
    const double ratio = median(rows[1].ratios);
    fmt::print("at least {} times as many as with the parsed message{}\n", kPromised,
               ratio < kPromised ? ": MISSED" : "");
    return ratio < kPromised ? 1 : 0;
}

int run(unsigned turns) {
    const std::string message = scannedMessage();
    OurNotice ours(message);
    const Notice notice = readNotice(ours.compose());
    if (notice.attached != message || notice.subject != kSubject ||
        notice.text.find("Files: offer.pdf\r\n") == std::string::npos) {
        throw std::runtime_error("the mail does not say what it should");
    }
    GMimeNotice parsed(notice, GMimeNotice::Attached::Parsed);
    GMimeNotice bytes(notice, GMimeNotice::Attached::Bytes);
    GMimeNotice binary(notice, GMimeNotice::Attached::BinaryBytes);
    for (GMimeNotice* one : {&parsed, &bytes, &binary}) {
        if (readNotice(one->compose()) != notice) {
            throw std::runtime_error("the mails of quzo and of GMime differ");
        }
    }
    fmt::print("{} bytes attached; medians of {} turns of {} mails\n", message.size(), turns, kMails);
    return measure({{"quzo", [&] { return ours.compose(); }},
                    {"GMime, the message as it was parsed", [&] { return parsed.compose(); }},
                    {"GMime, the message's bytes", [&] { return bytes.compose(); }},
                    {"GMime, the bytes marked as binary", [&] { return binary.compose(); }}},
                   turns);
}

} // namespace
} // namespace quzo::bench

int main(int argc, char** argv) {
    try {
        g_mime_init();
        quzo::bench::QuietLog log;
        quzo::platform::IniSettings settings;
        InitActionLib(settings, log);
        return quzo::bench::run(argc > 1 ? static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10)) : 21);
    } catch (const std::exception& problem) {
        fmt::print(stderr, "notify_speed: {}\n", problem.what());
        return 70;
    }
}
