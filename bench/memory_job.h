// Work on messages in memory, and how fast it is. What quzo does with a message between reading and storing
// it is such a job: a copy of the bytes becomes a message, the envelope is taken from its header, the rules
// are tried, actions run, and the result is written to memory.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "host/policy/policy.h"
#include "host/scan/envelope.h"
#include "host/scan/scanner.h"
#include "platform/message/mail_message.h"
#include "platform/mta/queue_adapter.h"
#include "platform/store/message_objects.h"
#include "platform/store/stored_named_objects.h"
#include "quzo/core/log.h"

namespace quzo::bench {

class QuietLog final : public LogMsg {
public:
    QuietLog() { level = 0; }
    void write(int /*lineLevel*/, const char* /*format*/, ...) override {}
};

class Job {
public:
    // Is given what was written, once for each message; valid during the call.
    using Result = std::function<void(std::string_view)>;

    virtual ~Job() = default;
    virtual void run(const std::string& bytes, const Result& result) = 0;
};

class ThroughPolicy final : public Job {
public:
    // `objects` is what the policy refers to, and outlives this; null: it refers to none.
    explicit ThroughPolicy(std::string_view policy, const platform::StoredNamedObjects* objects = nullptr)
        : objects_(objects), scanner_(load(policy, objects), host::ScannerOptions()) {}

    void run(const std::string& bytes, const Result& written) override {
        const auto msg = platform::MailMessage::parse(bytes, platform::Limits());
        const host::Envelope envelope = host::envelopeOf(*msg, platform::Limits(), std::nullopt, {});
        msg->setEnvelope(envelope.sender, envelope.recipients);
        TokenMap<ScanToken> tokens;
        platform::QueueAdapter adapter;
        const platform::MessageObjects objects(objects_);
        const host::ScanResult result = scanner_.scan(
            *msg, host::ScanJob{.adapter = adapter, .tokens = tokens, .namedObjects = &objects});
        changed_ += result.outcome == host::Outcome::Modified ? 1 : 0;
        std::string out;
        out.reserve(msg->size());
        msg->write([&out](std::string_view piece) {
            out.append(piece);
            return true;
        });
        written(out);
    }

    // Messages so far.
    std::size_t changed() const { return changed_; }

private:
    static std::shared_ptr<const host::Policy> load(std::string_view text,
                                                    const platform::StoredNamedObjects* objects) {
        host::LoadedPolicy loaded = host::loadPolicy(text, objects);
        if (loaded.policy == nullptr) {
            throw std::runtime_error("the policy is refused: " +
                                     platform::describe(loaded.findings.front(), "policy"));
        }
        return std::move(loaded.policy);
    }

    const platform::StoredNamedObjects* objects_;
    host::Scanner scanner_;
    std::size_t changed_ = 0;
};

// Messages a second.
inline double rate(Job& job, const std::vector<std::string>& messages) {
    std::size_t total = 0;
    const auto begin = std::chrono::steady_clock::now();
    for (const std::string& bytes : messages) {
        job.run(bytes, [&total](std::string_view written) { total += written.size(); });
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    if (total == 0) {
        throw std::runtime_error("nothing was written");
    }
    return static_cast<double>(messages.size()) / took.count();
}

} // namespace quzo::bench
