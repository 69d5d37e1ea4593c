// See queue_admin.h.
#include "platform/queue/queue_admin.h"

#include <algorithm>
#include <utility>

#include "platform/base/utf8.h"
#include "platform/base/visible_text.h"
#include "platform/message/compose/attached_message.h"
#include "platform/message/values/mailbox.h"
#include "platform/queue/leaving_message.h"
#include "platform/queue/queue_transfer.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {
namespace {

constexpr const char* kOwnSender = "QUZO"; // of what we write ourselves, see leavingSender()
constexpr const char* kReleasedSubject = "Released: ";
constexpr std::string_view kReleasedText =
    "The attached message was held by the mail policy of this system and has now been\n"
    "released to you, as it was received.\n";

bool passes(const QueueFilter::Test& test, std::string_view text) { return !test || test(text); }

template <typename Number>
bool within(Number value, const std::optional<Number>& least, const std::optional<Number>& most) {
    return (!least || value >= *least) && (!most || value <= *most);
}

} // namespace

QueueResult QueueResult::of(int error) {
    if (error == kErrorNone) {
        return {};
    }
    return {error == kErrorNotFound ? Outcome::Missing : Outcome::Failed, error};
}

bool QueueFilter::empty() const {
    return !minAge && !maxAge && !minSize && !maxSize && !rule && !sender && !recipient && !subject &&
           !ruleName && !area;
}

bool QueueFilter::matches(const QueueEntry& entry, std::int64_t now) const {
    const auto& rcpts = entry.recipients;
    return within(now - entry.stored, minAge, maxAge) && within(entry.size, minSize, maxSize) &&
           (!rule || entry.rule == rule) && passes(ruleName, entry.ruleName) &&
           passes(sender, entry.sender) && passes(subject, entry.subject) &&
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

int QueueAdmin::look(QueueKind queue, std::string_view id, ListedEntry& out) {
    const QueueStore* store = queues_.find(queue);
    return store == nullptr ? int{kErrorNotFound} : store->look(id, out);
}

int QueueAdmin::showMessage(QueueKind queue, std::string_view id, std::string& out) {
    out.clear();
    return showMessage(queue, id, [&out](std::string_view piece) {
        out.append(piece);
        return true;
    });
}

int QueueAdmin::showMessage(QueueKind queue, std::string_view id,
                            const std::function<bool(std::string_view)>& sink) {
    QueueEntry entry;
    const int error = show(queue, id, entry);
    return error != kErrorNone ? error : queues_.find(queue)->copyMessage(id, entry.size, sink);
}

QueueResult QueueAdmin::claim(QueueKind queue, std::string_view id, QueueClaim& out) {
    QueueStore* store = queues_.find(queue);
    switch (store == nullptr ? ClaimOutcome::Missing : store->claim(id, out)) {
        case ClaimOutcome::Taken:
            return {};
        case ClaimOutcome::Busy:
            return {QueueResult::Outcome::Busy, kErrorNone};
        case ClaimOutcome::Missing:
            return QueueResult::of(kErrorNotFound);
        case ClaimOutcome::Failed:
            break;
    }
    return QueueResult::of(kErrorInputOutput);
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
    if (options.asAttachment) {
        out.sender = leavingSender(kOwnSender, hostname_);
    } else if (!options.rescan) {
        out.sender = leavingSender(entry.sender, hostname_);
    }
    out.previous = entry.id;
    out.stored = now;
    out.aging.reset();
    out.due.reset();
    out.attempts = 0;
    out.reason.clear();
    out.refused.clear();
    out.split.clear();
    return kErrorNone;
}

// The entry and the message as they go into the other queue. Changes nothing.
int QueueAdmin::prepareRelease(const QueueStore& source, const QueueEntry& held,
                               const ReleaseOptions& options, std::int64_t now, QueueEntry& entry,
                               std::string& message) const {
    int error = makeReleased(held, options, now, entry);
    if (error == kErrorNone) {
        error = source.readMessage(held.id, held.size, message);
        error = error == kErrorNotFound ? int{kErrorInputOutput} : error; // there is an entry, but no message
    }
    if (error != kErrorNone || options.rescan) {
        return error;
    }
    message = withoutMarks(std::move(message), entry.markEnd);
    entry.markEnd = 0;
    if (options.asAttachment) {
        const OwnHeader header{
            .sender = entry.sender,
            .recipients = entry.recipients,
            .subject = kReleasedSubject + (isUtf8(held.subject) ? held.subject : visibleText(held.subject)),
            .identifier = derivedIdentifier(source.name(), held.id),
            .hostname = hostname_,
            .date = now};
        message = attachedMessage(header, kReleasedText, message);
    }
    return error;
}

QueueResult QueueAdmin::release(QueueKind queue, std::string_view id, const ReleaseOptions& options,
                                std::int64_t now, QueuedEntry& released) {
    const QueueKind targetKind = options.rescan ? QueueKind::Scan : QueueKind::Outgoing;
    const QueueStore* store = queues_.find(queue);
    QueueStore* target = queues_.find(targetKind);
    if (target == nullptr || store == nullptr) {
        return QueueResult::of(kErrorNotFound);
    }
    if (targetKind == queue || (options.rescan && options.asAttachment)) {
        return QueueResult::of(kErrorInvalidArgument);
    }
    QueueClaim source;
    QueueEntry held;
    if (options.dryRun) {
        if (const int error = store->read(id, held)) {
            return QueueResult::of(error);
        }
    } else {
        if (const QueueResult claimed = claim(queue, id, source); !claimed.done()) {
            return claimed;
        }
        if (source.error() != kErrorNone) {
            return {QueueResult::Outcome::Failed, source.error()};
        }
        held = source.entry();
    }
    QueueEntry entry;
    std::string message;
    int error = prepareRelease(*store, held, options, now, entry, message);
    if (error == kErrorNone && !options.dryRun) {
        error = transferEntry(source, *target, entry, writerOf(message));
    }
    released = {queueName(targetKind), derivedIdentifier(store->name(), id)};
    return QueueResult::of(error);
}

QueueResult QueueAdmin::retry(QueueKind queue, std::string_view id) {
    QueueClaim claimed;
    const QueueResult result = claim(queue, id, claimed);
    if (!result.done() || claimed.error() != kErrorNone) {
        return result.done() ? QueueResult{QueueResult::Outcome::Failed, claimed.error()} : result;
    }
    QueueEntry entry = claimed.entry();
    if (!entry.due) {
        return {};
    }
    entry.due.reset();
    return QueueResult::of(claimed.update(entry));
}

QueueResult QueueAdmin::remove(QueueKind queue, std::string_view id) {
    QueueClaim entry;
    const QueueResult claimed = claim(queue, id, entry);
    return claimed.done() ? QueueResult::of(entry.remove()) : claimed;
}

int QueueAdmin::expire(QueueKind queue, std::int64_t now, std::size_t& removed,
                       const QueueStore::EntryVisitor& onUnreadable) {
    QueueStore* store = queues_.find(queue);
    return store == nullptr ? int{kErrorNotFound} : store->expire(now, removed, onUnreadable);
}

} // namespace quzo::platform
