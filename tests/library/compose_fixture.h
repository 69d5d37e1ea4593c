// A template, a scanned message and what is sent for them, for the tests of notifications.
#pragma once

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "fake_platform.h"
#include "quzo/notify/act_notify.h"

namespace quzo::test {

class ComposeTest : public LibraryTest {
protected:
    ComposeTest() {
        fake().convCopies = true;
        message.identifier = "SCANNED";
        original.identifier = "ORIGINAL";
        area.sender = "n@x";
        area.recipients = "admin@x;root@x";
        area.subject = "About %SENDER%";
        area.message = "Body of %RULENAME%";
        tokens.set(ScanToken::Sender, "from@x");
        tokens.set(ScanToken::Recipients, "r1@x;r2@x");
        tokens.set(ScanToken::RuleName, "R");
        tokens.set(ScanToken::RuleId, "40");
        message.recipients = {"r1@x", "r2@x"};
        setSwitches({});
    }

    void setSwitches(const std::map<std::string, std::string>& values) {
        settings.values = {{"General-Notification/PreferredCharset", "utf-8"}};
        for (const auto& [key, value] : values) {
            settings.values["General-Notification/" + key] = value;
        }
        start();
    }

    bool run() {
        fake().calls.clear();
        log.lines.clear();
        bool consumed = true;
        const bool done = ActNotify::_runNameObj(&message, &original, consumed, tokens, adapter, area);
        EXPECT_TRUE(consumed) << "never written";
        EXPECT_EQ(count("delete message"), fake().createWorks ? 1 : 0) << "a mail is left behind";
        return done;
    }

    static long count(const std::string& call) {
        return std::count(fake().calls.begin(), fake().calls.end(), call);
    }

    // The value that a field had when the mail was sent; "(none)" without it.
    std::string field(const std::string& name) const {
        for (const std::string& one : adapter.headerThen) {
            if (one.starts_with(name + "=")) {
                return one.substr(name.size() + 1);
            }
        }
        return "(none)";
    }

    // The first call that begins so; empty when there is none.
    static std::string call(const std::string& begin) {
        const auto found = std::find_if(fake().calls.begin(), fake().calls.end(),
                                        [&](const std::string& one) { return one.starts_with(begin); });
        return found == fake().calls.end() ? std::string() : *found;
    }

    uiNotifyArea area;
    FakeMessage original;
};

} // namespace quzo::test
