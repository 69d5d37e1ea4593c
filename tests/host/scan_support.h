// What the tests of a scan share: an adapter that only counts, policies from text, and messages.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/policy/policy.h"
#include "host/scan/scanner.h"
#include "platform/base/finding.h"
#include "platform/config/quzo_settings.h"
#include "platform/message/mail_message.h"
#include "quzo/core/adapter.h"
#include "quzo/core/init_action_lib.h"
#include "quzo/core/token_map.h"

namespace quzo::host::test {

inline std::string textOf(const platform::MailMessage& msg) {
    std::string all;
    msg.write([&](std::string_view piece) {
        all += piece;
        return true;
    });
    return all;
}

// Deletes and sends with `error`; everything else is refused.
class CountingAdapter : public KvIsAdapter {
public:
    int deleteMessage(unsigned& out, KvMsgMailMessage* /*msg*/) override {
        ++deletes;
        out = error;
        return error == 0 ? 0 : 1;
    }
    int sendMessage(unsigned& out, KvMsgMailMessage* msg, bool /*rescan*/) override {
        sent.push_back(textOf(dynamic_cast<platform::MailMessage&>(*msg)));
        out = error;
        return error == 0 ? 0 : 1;
    }
    int submitForScan(unsigned& out, KvMsgMailMessage*, int) override { return refuse(out); }
    int sendComposed(unsigned& out, KvMsgMailMessage*) override { return refuse(out); }
    int postponeMessage(unsigned& out, KvMsgMailMessage*, unsigned char, unsigned char, int, int) override {
        return refuse(out);
    }
    int handoffMessage(unsigned& out, KvMsgMailMessage*, const char*, unsigned) override {
        return refuse(out);
    }
    int quarantineMessage(int& out, KvMsgMailMessage*, const char*, const char*, char*) override {
        out = 9;
        return 1;
    }
    int archiveMessage(int& out, KvMsgMailMessage*, const char*, const char*, const char*) override {
        out = 9;
        return 1;
    }

    int deletes = 0;
    std::vector<std::string> sent; // the messages as they were then
    unsigned error = 0;

private:
    static int refuse(unsigned& out) {
        out = 9;
        return 1;
    }
};

// Drops every line.
class QuietLog : public LogMsg {
public:
    QuietLog() { level = 0; }
    void write(int /*lineLevel*/, const char* /*format*/, ...) override {}
};

// Starts the library once for the program, with its built-in settings.
inline void startLibrary() {
    static QuietLog log;
    static const bool started = [] {
        platform::IniSettings settings;
        return InitActionLib(settings, log);
    }();
    EXPECT_TRUE(started);
}

// The policy of a text; an error in it fails the test.
inline std::shared_ptr<const Policy> policyOf(const std::string& text) {
    LoadedPolicy loaded = loadPolicy(text);
    for (const platform::Finding& finding : loaded.findings) {
        if (finding.severity == platform::Finding::Severity::Error) {
            ADD_FAILURE() << describe(finding, "policy") << "\nin\n" << text;
        }
    }
    return loaded.policy != nullptr ? loaded.policy : std::make_shared<const Policy>();
}

inline std::unique_ptr<platform::MailMessage> messageOf(const std::string& text,
                                                        const std::string& sender = "from@a.example",
                                                        const std::vector<std::string>& recipients = {
                                                            "to@b.example"}) {
    auto msg = platform::MailMessage::parse(text, platform::Limits{});
    EXPECT_EQ(msg->setEnvelope(sender, recipients), 0);
    return msg;
}

// A text and two files.
inline const char kAttachments[] =
    "Message-ID: <1\xff@x>\n"
    "To: T <t@b.example>, u@b.example\n"
    "Content-Type: multipart/mixed; boundary=b\n"
    "\n"
    "--b\n"
    "\n"
    "text\n"
    "--b\n"
    "Content-Type: application/pdf\n"
    "Content-Disposition: attachment; filename=a.exe\n"
    "\n"
    "12345\n"
    "--b\n"
    "Content-Disposition: attachment; filename=b.zip\n"
    "\n"
    "1234567\n"
    "--b--\n";

// One scan with all that it needs.
struct Scan {
    explicit Scan(std::shared_ptr<const Policy> rules, ScannerOptions options = {})
        : scanner(std::move(rules), std::move(options)) {
        startLibrary();
    }
    explicit Scan(const std::string& policyText) : Scan(policyOf(policyText)) {}

    ScanResult operator()(platform::MailMessage& msg) {
        ScanJob job{adapter, tokens};
        job.trustMarks = trustMarks;
        job.skipRules = skipRules;
        job.beyondLimit = beyondLimit;
        return scanner.scan(msg, job);
    }

    Scanner scanner;
    CountingAdapter adapter;
    TokenMap<ScanToken> tokens;
    bool trustMarks = false;
    std::vector<std::uint32_t> skipRules;
    std::string beyondLimit;
};

} // namespace quzo::host::test
