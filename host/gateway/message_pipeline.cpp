// See message_pipeline.h.
#include "host/gateway/message_pipeline.h"

#include <algorithm>
#include <exception>
#include <string_view>
#include <utility>

#include "platform/base/numbers.h"
#include "platform/log/log_subject.h"
#include "platform/mta/queue_adapter.h"
#include "platform/snmp/snmp.h"
#include "platform/store/message_objects.h"
#include "quzo/core/error_text.h"
#include "quzo/core/msgu.h"
#include "quzo/core/reprocess_mark.h"

namespace quzo::host {
namespace {

// What went into queues stays told in any case; a message that goes on does so with its whole envelope or not
// at all.
void takeOver(const platform::QueueAdapter& adapter, MessageResult& result) noexcept {
    try {
        result.queued = adapter.queued();
        result.envelope.sender = result.message->sender();
        result.envelope.recipients = result.message->recipients();
    } catch (const std::exception&) { // memory ran out
        if (result.scan.goesOn()) {
            result.scan.outcome = Outcome::Deferred;
            result.scan.error = ScanError{kErrorNoMemory, "out of memory"}; // short: needs none of its own
        }
    }
}

// The rules that the reprocessing mark names: numbers with blanks between them.
void addMarkedRules(platform::MailMessage& msg, std::vector<std::uint32_t>& rules) {
    std::string mark;
    if (!msgu::getHeader(msg.getRootEntity(), kReprocessRulesHeader, mark)) {
        return;
    }
    for (std::size_t at = 0; (at = mark.find_first_not_of(" \t\r\n", at)) != std::string::npos;) {
        const std::size_t end = std::min(mark.find_first_of(" \t\r\n", at), mark.size());
        if (const auto rule =
                platform::parseNumber<std::uint32_t>(std::string_view(mark).substr(at, end - at))) {
            rules.push_back(*rule);
        }
        at = end;
    }
}

} // namespace

bool MessageResult::write(const platform::MailMessage::Sink& sink) const {
    return scan.outcome == Outcome::Unchanged ? sink(message->original()) : message->write(sink);
}

std::size_t MessageResult::size() const {
    return scan.outcome == Outcome::Unchanged ? message->original().size() : message->size();
}

MessageResult passMessage(const Snapshot& snapshot, platform::Queues* queues, MessageJob job) {
    const ScannerOptions& options = snapshot.options();
    MessageResult result;
    platform::LogSubject subject(job.name);
    result.message = platform::MailMessage::parse(std::move(job.bytes), options.limits, options.rawValues);
    platform::MailMessage& msg = *result.message;
    msg.setStampOnce(options.stampOnce);
    if (!job.identifier.empty()) {
        msg.setIdentifier(std::move(job.identifier));
    }
    if (job.trustMarks) {
        addMarkedRules(msg, job.skipRules);
    }
    result.identifier = msg.getIdentifier();
    subject.add(*result.identifier);
    Envelope envelope = envelopeOf(msg, options.limits, job.sender, job.recipients);
    msg.setEnvelope(envelope.sender, envelope.recipients);
    if (!job.beyondLimit.empty()) {
        envelope.beyondLimit = std::move(job.beyondLimit);
    }
    envelope.recipients = std::vector<std::string>(); // the message has them

    const NoticeOptions& notices = snapshot.notices();
    platform::QueueAdapter adapter({.queues = queues,
                                    .tokens = &job.tokens,
                                    .hostname = snapshot.hostname(),
                                    .dryRun = job.dryRun,
                                    .again = job.again,
                                    .autoSubmitted = notices.autoSubmitted,
                                    .noticeLimit = notices.limit,
                                    .notices = notices.ledger.get()});
    const platform::MessageObjects objects(snapshot.objects());
    const platform::HeldTraps heldTraps(job.dryRun);
    result.scan = snapshot.scanner().scan(msg, ScanJob{.adapter = adapter,
                                                       .tokens = job.tokens,
                                                       .namedObjects = &objects,
                                                       .firstIdentifier = std::move(job.firstIdentifier),
                                                       .skipRules = std::move(job.skipRules),
                                                       .trustMarks = job.trustMarks,
                                                       .beyondLimit = std::move(envelope.beyondLimit),
                                                       .watch = job.watch});
    takeOver(adapter, result);
    return result;
}

} // namespace quzo::host
