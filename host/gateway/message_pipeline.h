// The way of one message through an installation: bytes and envelope in, one result out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/gateway/snapshot.h"
#include "host/scan/envelope.h"
#include "host/scan/rule_watch.h"
#include "host/scan/scan_result.h"
#include "platform/message/mail_message.h"
#include "platform/queue/queue_admin.h"
#include "platform/queue/queues.h"
#include "quzo/core/token_map.h"

namespace quzo::host {

struct MessageJob {
    std::string name;                    // what the log calls it, beside its identifier; may be empty
    std::string bytes;                   // as received
    std::optional<std::string> sender{}; // of the envelope; empty: the null sender; none: as the header says
    std::vector<std::string> recipients{};  // of the envelope; none: as the header says
    TokenMap<ScanToken> tokens{};           // what other scanners found
    std::string firstIdentifier{};          // that of the message's first pass; empty: this is the first
    std::vector<std::uint32_t> skipRules{}; // that ran in a former pass
    bool trustMarks = false;                // see ScanJob::trustMarks; rules in the mark are skipped too
    std::string identifier{};               // of this pass; empty: a new one
    bool again = false;                     // see AdapterContext::again; with an identifier that stays
    std::string beyondLimit{};              // see ScanJob::beyondLimit; not all of the message is there
    bool dryRun = false;                    // no queue is touched; the result says what there would be
    RuleWatch* watch = nullptr;             // may be null; outlives the call
};

// What became of it. Owns the message.
struct MessageResult {
    ScanResult scan{};                                // the outcome, rules, marks, warnings, the error
    std::optional<std::string> identifier{};          // none for a message that could not be read
    Envelope envelope{};                              // as it stands at the end
    std::vector<platform::QueuedEntry> queued{};      // in order; of a dry run, those that there would be
    std::unique_ptr<platform::MailMessage> message{}; // null for one that could not be read

    // The message as it is to be delivered, in pieces, in order, until the sink returns false, which is then
    // the result. Pieces last for the call only. Only of a result that goes on.
    bool write(const platform::MailMessage::Sink& sink) const;

    // What write() gives, in bytes.
    std::size_t size() const;
};

// Runs a message through the rules of the snapshot. `queues` may be null: there are none. Any number of
// threads may do so with the same snapshot and queues. Nothing but the queues is touched, and nothing of the
// result refers to the snapshot.
//
// Throws std::bad_alloc, and then no rule has been tried: the message is to be kept as it was received. From
// the first rule on nothing throws; a message that cannot be handled is deferred or failed.
MessageResult passMessage(const Snapshot& snapshot, platform::Queues* queues, MessageJob job);

} // namespace quzo::host
