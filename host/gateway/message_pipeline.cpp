// See message_pipeline.h.
#include "host/gateway/message_pipeline.h"

#include <exception>
#include <utility>

#include "platform/log/log_subject.h"
#include "platform/mta/queue_adapter.h"
#include "platform/store/message_objects.h"
#include "quzo/core/error_text.h"

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
    result.identifier = msg.getIdentifier();
    subject.add(*result.identifier);
    Envelope envelope = envelopeOf(msg, options.limits, job.sender, job.recipients);
    msg.setEnvelope(envelope.sender, envelope.recipients);
    envelope.recipients = std::vector<std::string>(); // the message has them

    const NoticeOptions& notices = snapshot.notices();
    platform::QueueAdapter adapter({.queues = queues,
                                    .tokens = &job.tokens,
                                    .hostname = snapshot.hostname(),
                                    .dryRun = job.dryRun,
                                    .autoSubmitted = notices.autoSubmitted,
                                    .noticeLimit = notices.limit,
                                    .notices = notices.ledger.get()});
    const platform::MessageObjects objects(snapshot.objects());
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
