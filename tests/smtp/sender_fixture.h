// A sender beside a server that answers as a test says.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/mta/smtp/smtp_sender.h"
#include "platform/queue/leaving_message.h"
#include "tests/smtp/fake_server.h"

namespace quzo::platform::test {

inline const std::string kMessage = "Subject: x\r\n\r\nbody\r\n";

class Sender : public testing::Test {
protected:
    SendJob job(std::vector<std::string> recipients, std::string_view message = kMessage) const {
        return {NextHop{"127.0.0.1", server_.port()}, "from@example.com", std::move(recipients),
                writerOf(message)};
    }

    // "A" accepted, "R" refused, "L" later, for each recipient.
    static std::string fates(const SendResult& result) {
        using Fate = RecipientAnswer::Fate;
        std::string text;
        for (const RecipientAnswer& answer : result.answers) {
            text += answer.fate == Fate::Accepted ? 'A' : answer.fate == Fate::Refused ? 'R' : 'L';
        }
        return text;
    }

    // The server's answer to the first of these, the usual one to everything else.
    static FakeServer::Script answering(const std::string& verb, const std::string& argument,
                                        const std::string& answer) {
        return [=](const ServerStep& step) {
            const bool hit = step.verb == verb && step.argument.find(argument) != std::string::npos;
            return hit ? answer : std::string();
        };
    }

    FakeServer server_;
    SmtpOptions options_{
        .hostname = "gw.example.com", .tls = SmtpTls::Off, .timeout = std::chrono::seconds(5)};
};

} // namespace quzo::platform::test
