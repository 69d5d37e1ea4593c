// What the tests of a scan share: an adapter that only counts, policies from text, and messages.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/policy/policy.h"
#include "host/scan/scanner.h"
#include "platform/config/quzo_settings.h"
#include "platform/message/mail_message.h"
#include "quzo/core/adapter.h"
#include "quzo/core/init_action_lib.h"
#include "quzo/core/token_map.h"

namespace quzo::host::test {

// Deletes with `error`; everything else is refused.
class CountingAdapter : public KvIsAdapter {
public:
    int deleteMessage(unsigned& out, KvMsgMailMessage* /*msg*/) override {
        ++deletes;
        out = error;
        return error == 0 ? 0 : 1;
    }
    int sendMessage(unsigned& out, KvMsgMailMessage*, bool) override { return refuse(out); }
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

// The policy of a text; a fault in it fails the test.
inline std::shared_ptr<const Policy> policyOf(const std::string& text) {
    LoadedPolicy loaded = loadPolicy(text);
    for (const Finding& finding : loaded.findings) {
        ADD_FAILURE() << describe(finding, "policy") << "\nin\n" << text;
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

inline std::string textOf(const platform::MailMessage& msg) {
    std::string all;
    msg.write([&](std::string_view piece) {
        all += piece;
        return true;
    });
    return all;
}

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
        return scanner.scan(msg, job);
    }

    Scanner scanner;
    CountingAdapter adapter;
    TokenMap<ScanToken> tokens;
    bool trustMarks = false;
    std::vector<std::uint32_t> skipRules;
};

} // namespace quzo::host::test
