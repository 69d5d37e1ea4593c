// See queue_admin.h.
#include "platform/queue/queue_admin.h"

#include <algorithm>
#include <utility>

#include "platform/message/mailbox.h"
#include "platform/queue/leaving_message.h"
#include "platform/queue/queue_transfer.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {
namespace {

QueueResult failure(int error) {
    using Outcome = QueueResult::Outcome;
    if (error == kErrorNone) {
        return {};
    }
    return {error == kErrorNotFound ? Outcome::Missing : Outcome::Failed, error};
}

bool passes(const QueueFilter::Test& test, std::string_view text) { return !test || test(text); }

template <typename Number>
bool within(Number value, const std::optional<Number>& least, const std::optional<Number>& most) {
    return (!least || value >= *least) && (!most || value <= *most);
}

} // namespace

bool QueueFilter::empty() const {
    return !minAge && !maxAge && !minSize && !maxSize && !rule && !sender && !recipient && !subject && !area;
}

bool QueueFilter::matches(const QueueEntry& entry, std::int64_t now) const {
    const auto& rcpts = entry.recipients;
    return within(now - entry.stored, minAge, maxAge) && within(entry.size, minSize, maxSize) &&
           (!rule || entry.rule == rule) && passes(sender, entry.sender) && passes(subject, entry.subject) &&
           (!recipient || std::any_of(rcpts.begin(), rcpts.end(), recipient)) &&
           (passes(area, entry.area) || (entry.areaId && passes(area, std::to_string(*entry.areaId))));
}

int QueueAdmin::list(QueueKind queue, const QueueFilter& filter, std::int64_t now,
                     const std::function<bool(const ListedEntry&)>& visit) {
    const QueueStore* store = queues_.find(queue);
    if (store == nullptr) {
        return kErrorNotFound;
    }
    return store->forEach([&](ListedEntry&& listed) {
        const bool shown = listed.state != EntryState::Held &&
                           (listed.error != kErrorNone ? filter.empty() : filter.matches(listed.entry, now));
        return !shown || visit(listed);
    });
}

int QueueAdmin::show(QueueKind queue, std::string_view id, QueueEntry& out) {
    const QueueStore* store = queues_.find(queue);
    return store == nullptr ? int{kErrorNotFound} : store->read(id, out);
}

int QueueAdmin::showMessage(QueueKind queue, std::string_view id, std::string& out) {
    QueueEntry entry;
    const int error = show(queue, id, entry);
    return error != kErrorNone ? error : queues_.find(queue)->readMessage(id, entry.size, out);
}

QueueResult QueueAdmin::claim(QueueKind queue, std::string_view id, QueueClaim& out) {
    QueueStore* store = queues_.find(queue);
    switch (store == nullptr ? ClaimOutcome::Missing : store->claim(id, out)) {
        case ClaimOutcome::Taken:
            return {};
        case ClaimOutcome::Busy:
            return {QueueResult::Outcome::Busy, kErrorNone};
        case ClaimOutcome::Missing:
            return failure(kErrorNotFound);
        case ClaimOutcome::Failed:
            break;
    }
    return failure(kErrorInputOutput);
}

// What is known of the entry in the queue that it goes to.
int QueueAdmin::makeReleased(const QueueEntry& entry, const ReleaseOptions& options, std::int64_t now,
                             QueueEntry& out) const {
    out = entry;
    if (!options.recipients.empty()) {
        out.recipients = options.recipients;
    }
    if (out.recipients.empty() || !std::all_of(out.recipients.begin(), out.recipients.end(), validAddress)) {
        return kErrorInvalidArgument;
    }
    if (!options.rescan) {
        out.sender = leavingSender(entry.sender, hostname_);
    }
    out.previous = entry.id;
    out.stored = now;
    out.aging.reset();
    out.due.reset();
    out.attempts = 0;
    out.reason.clear();
    return kErrorNone;
}

QueueResult QueueAdmin::release(QueueKind queue, std::string_view id, const ReleaseOptions& options,
                                std::int64_t now, QueuedEntry& released) {
    const QueueKind targetKind = options.rescan ? QueueKind::Scan : QueueKind::Outgoing;
    QueueStore* target = queues_.find(targetKind);
    if (options.asAttachment) {
        return failure(kErrorNotSupported);
    }
    if (target == nullptr || targetKind == queue) {
        return failure(target == nullptr ? kErrorNotFound : kErrorInvalidArgument);
    }
    QueueClaim source;
    if (const QueueResult claimed = claim(queue, id, source); !claimed.done()) {
        return claimed;
    }
    QueueEntry entry;
    std::string message;
    int error = source.error();
    if (error == kErrorNone) {
        error = makeReleased(source.entry(), options, now, entry);
    }
    if (error == kErrorNone) {
        error = queues_.find(queue)->readMessage(id, source.entry().size, message);
        error =
            error == kErrorNotFound ? int{kErrorInputOutput} : error; // the entry is there, its message not
    }
    if (error == kErrorNone) {
        if (!options.rescan) {
            message = withoutMarks(std::move(message), entry.markEnd);
            entry.markEnd = 0;
        }
        error = transferEntry(source, *target, entry, writerOf(message));
        released = {queueName(targetKind), entry.id};
    }
    return failure(error);
}

QueueResult QueueAdmin::remove(QueueKind queue, std::string_view id) {
    QueueClaim entry;
    const QueueResult claimed = claim(queue, id, entry);
    return claimed.done() ? failure(entry.remove()) : claimed;
}

int QueueAdmin::expire(QueueKind queue, std::int64_t now, std::size_t& removed) {
    QueueStore* store = queues_.find(queue);
    return store == nullptr ? int{kErrorNotFound} : store->expire(now, removed);
}

} // namespace quzo::platform
