// What the tests of the runner share: queues in memory, a clock that is set, and a server that answers by
// name.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "host/runner/queue_runner.h"
#include "quzo/core/error_text.h"
#include "tests/queue/queue_support.h"

namespace quzo::host::test {

using platform::QueueEntry;
using platform::QueueKind;
using platform::RecipientAnswer;
using platform::test::kNow;
using Fate = RecipientAnswer::Fate;

class SetClock final : public Clock {
public:
    std::int64_t now() override { return time; }
    std::int64_t time = kNow;
};

// Answers as its table says; whoever is not in it is accepted. Keeps what it has accepted.
class TableSender final : public platform::MailSender {
public:
    platform::SendResult send(const platform::SendJob& job) override {
        ++transactions;
        hops.push_back(job.hop);
        senders.push_back(job.sender);
        platform::SendResult result;
        result.unreachable = unreachable;
        std::string message;
        EXPECT_TRUE(job.message([&](std::string_view piece) {
            message.append(piece);
            return true;
        }));
        for (const std::string& recipient : job.recipients) {
            const auto found = answers.find(recipient);
            result.answers.push_back(unreachable              ? RecipientAnswer{Fate::Later, "no connection"}
                                     : found == answers.end() ? RecipientAnswer{Fate::Accepted, "250 ok"}
                                                              : found->second);
            if (result.answers.back().fate == Fate::Accepted) {
                ++served[recipient];
                messages[recipient] = message;
            }
        }
        largest = std::max(largest, job.recipients.size());
        return result;
    }

    std::map<std::string, RecipientAnswer> answers;
    bool unreachable = false;
    int transactions = 0;
    std::size_t largest = 0; // recipients of a transaction
    std::vector<platform::NextHop> hops;
    std::vector<std::string> senders;
    std::map<std::string, int> served;
    std::map<std::string, std::string> messages;
};

class RunnerTest : public platform::test::QueueTest {
protected:
    static QueueEntry entryFor(const std::string& id, std::vector<std::string> recipients) {
        QueueEntry entry = platform::test::entryNamed(id);
        entry.recipients = std::move(recipients);
        return entry;
    }

    void put(QueueKind kind, QueueEntry entry, std::string_view message = "Subject: x\n\nx\n") {
        ASSERT_EQ(queues_.find(kind)->store(entry, platform::writerOf(message)), 0);
    }

    QueueRunner runner(platform::Queues& queues) { return runner(queues, sender_); }
    QueueRunner runner(platform::Queues& queues, platform::MailSender& sender) {
        return QueueRunner({.queues = queues,
                            .sender = sender,
                            .clock = clock_,
                            .plan = RetryPlan(settings_),
                            .hostname = "gw.example",
                            .nextHop = nextHop_,
                            .rescanHop = std::nullopt,
                            .snapshot = nullptr,
                            .stopping = nullptr,
                            .told = nullptr,
                            .say = [this](const Fault& fault) { faults_.push_back(fault); }});
    }

    RunFigures run(QueueKind kind) {
        RunFigures figures;
        exitCode_ = runner(queues_).run(kind, figures);
        return figures;
    }

    // Each entry of the queue, by its identifier.
    std::map<std::string, QueueEntry> entries(QueueKind kind) {
        std::map<std::string, QueueEntry> found;
        EXPECT_EQ(queues_.find(kind)->forEach([&](platform::ListedEntry&& listed) {
            EXPECT_EQ(listed.error, 0);
            EXPECT_NE(listed.state, platform::EntryState::Held);
            found[listed.id] = listed.entry;
            return true;
        }),
                  0);
        return found;
    }

    // "b@x,c@x" of all entries.
    std::string people(QueueKind kind) {
        std::string text;
        for (const auto& [id, entry] : entries(kind)) {
            for (const std::string& recipient : entry.recipients) {
                text += (text.empty() ? "" : ",") + recipient;
            }
        }
        return text;
    }

    platform::Queues queues_{{root_ + "/spool", {}, {}}, files_};
    SetClock clock_;
    TableSender sender_;
    platform::RunnerSettings settings_;
    std::optional<platform::NextHop> nextHop_ = platform::NextHop{.host = "mx.example"};
    Faults faults_;
    int exitCode_ = 0;
};

} // namespace quzo::host::test
