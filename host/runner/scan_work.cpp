// See scan_work.h.
#include "host/runner/scan_work.h"

#include <chrono>
#include <string>
#include <utility>

#include "host/gateway/leaving_mail.h"
#include "host/gateway/message_pipeline.h"
#include "platform/queue/leaving_message.h"
#include "platform/queue/queue_names.h"
#include "quzo/core/error_text.h"

namespace quzo::host {
namespace {

using platform::QueueEntry;

// What another scanner found of the whole message holds for this pass too; what a rule of the former one left
// does not.
constexpr ScanToken kOfTheMessage[] = {ScanToken::WholeMailFinding, ScanToken::DeleteAllAttachments,
                                       ScanToken::Protocol, ScanToken::VirusName};

std::string firstIdentifierOf(const QueueEntry& entry) {
    const auto known = entry.tokens.find(static_cast<std::uint32_t>(ScanToken::OriginalMailId));
    if (known != entry.tokens.end() && !known->second.empty()) {
        return known->second;
    }
    return entry.previous.empty() ? entry.id : entry.previous;
}

MessageJob jobOf(const QueueEntry& entry, std::string bytes) {
    MessageJob job;
    job.name = "scan/" + entry.id;
    job.bytes = std::move(bytes);
    job.sender = entry.sender;
    job.recipients = entry.recipients;
    for (const ScanToken code : kOfTheMessage) {
        const auto known = entry.tokens.find(static_cast<std::uint32_t>(code));
        if (known != entry.tokens.end()) {
            job.tokens.set(code, known->second);
        }
    }
    job.tokens.set(ScanToken::Reprocessed, "yes");
    job.firstIdentifier = firstIdentifierOf(entry);
    job.trustMarks = true;
    job.identifier = platform::derivedIdentifier("scan/pass", entry.id);
    job.again = true;
    return job;
}

WorkDone goOn(const Snapshot& snapshot, const EntryMoves& moves, platform::QueueClaim& claim,
              const MessageResult& result, std::int64_t now) {
    QueueEntry entry = claim.entry();
    LeavingMail mail = leavingMailOf(result, snapshot.hostname(), entry.markEnd);
    if (mail.recipients.empty()) {
        return moves.fail(claim, std::move(entry), "the policy left no recipients", now);
    }
    entry.sender = std::move(mail.sender);
    entry.recipients = std::move(mail.recipients);
    entry.markEnd = 0;
    return moves.send(claim, std::move(entry), platform::writerOf(mail.message), now);
}

// Brings the message of a pass to where it belongs by then.
WorkDone settle(const Snapshot& snapshot, const EntryMoves& moves, platform::QueueClaim& claim,
                QueueEntry entry, const MessageResult& result, std::int64_t now) {
    const std::string reason = result.scan.error ? result.scan.error->text : std::string();
    switch (result.scan.outcome) {
        case Outcome::Unchanged:
        case Outcome::Modified:
            return goOn(snapshot, moves, claim, result, now);
        case Outcome::Consumed: {
            const int error = claim.remove();
            return error != kErrorNone ? WorkDone::trouble(error) : WorkDone{};
        }
        case Outcome::Deferred:
            return moves.later(claim, std::move(entry), reason, now);
        case Outcome::Failed:
            break;
    }
    return moves.fail(claim, std::move(entry), reason, now);
}

} // namespace

WorkDone workScan(const Snapshot& snapshot, const EntryMoves& moves, platform::QueueClaim& claim,
                  std::int64_t now, const ScanTold& told) {
    QueueEntry entry = claim.entry();
    ++entry.attempts;
    if (entry.recipients.empty()) {
        return moves.fail(claim, std::move(entry), "it has no recipients", now);
    }
    std::string bytes;
    if (const int error = moves.queues().find(claim.queue())->readMessage(entry.id, entry.size, bytes)) {
        return moves.later(claim, std::move(entry), std::string("the message: ") + KVMSGERR::I2A(error), now);
    }
    const auto start = std::chrono::steady_clock::now();
    MessageJob job = jobOf(entry, std::move(bytes));
    const std::string name = job.name;
    const MessageResult result = passMessage(snapshot, &moves.queues(), std::move(job));
    WorkDone done = settle(snapshot, moves, claim, std::move(entry), result, now);
    if (told) {
        told(result, {.name = name, .taken = std::chrono::steady_clock::now() - start, .error = done.text});
    }
    return done;
}

} // namespace quzo::host
