// What a running gateway counts, in the text form that Prometheus reads.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/admin/queue_status.h"
#include "host/gateway/message_pipeline.h"
#include "host/milter/milter_verdict.h"
#include "host/runner/entry_moves.h"

namespace quzo::host {

// Any thread, several at once. Counting waits for nobody: all counters are there from the start, and their
// labels come from tables of ours, never from mail. docs/operations.md has each name.
class Figures {
public:
    explicit Figures(std::int64_t now);
    ~Figures();
    Figures(const Figures&) = delete;
    Figures& operator=(const Figures&) = delete;

    // A message that a mail server handed over, and the time from the end of its data to the verdict.
    void judged(const MessageResult& result, const MilterVerdict& verdict,
                std::chrono::nanoseconds taken) noexcept;
    // One that was refused for now for want of memory.
    void outOfMemory() noexcept;
    // A message that the queue runner passed through the policy again.
    void scanned(const MessageResult& result) noexcept;
    // An entry that the queue runner worked on.
    void workedOn(platform::QueueKind queue, WorkDone::Kind kind) noexcept;
    // Policy and objects were loaded anew, or could not be. Times are seconds since 1970.
    void reloaded(bool good, std::int64_t now) noexcept;

    // How the queues stood at `now`.
    void setQueues(std::vector<QueueStatus> queues, std::int64_t now);

    // What is known at the moment of asking only.
    struct Moment {
        std::int64_t now = 0;
        int connections = 0;
        bool healthy = true;
    };

    // All of them. Throws std::bad_alloc.
    std::string text(const Moment& moment);

private:
    struct Registry; // keeps the library's headers out of ours
    std::unique_ptr<Registry> all_;
};

} // namespace quzo::host
