// See queue_split.h.
#include "platform/queue/queue_split.h"

#include <algorithm>
#include <set>
#include <string>
#include <string_view>

#include "platform/queue/process_identity.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {
namespace {

constexpr std::size_t kMaxReason = 2000; // bytes

int endFormer(QueueClaim& source, QueueStore& target) {
    if (source.entry().split.empty()) {
        return kErrorNone;
    }
    const int error = target.publishHeld(source.entry().split);
    if (error != kErrorNone && error != kErrorNotFound) { // not there: published, and gone its way since
        return error;
    }
    QueueEntry entry = source.entry();
    entry.split.clear();
    return source.update(entry);
}

QueueEntry partOf(const QueueClaim& source, std::int64_t now) {
    QueueEntry part = source.entry();
    part.id = derivedIdentifier(source.queue() + "/" + std::to_string(part.attempts), source.id());
    part.origin = QueueOrigin{source.queue(), source.id()};
    part.previous = source.id();
    part.recipients.clear();
    for (const RefusedRecipient& each : part.refused) {
        part.recipients.push_back(each.recipient);
    }
    part.stored = now;
    part.due.reset();
    part.reason = refusalText(part);
    return part;
}

} // namespace

std::vector<std::string> notRefused(const QueueEntry& entry) {
    std::set<std::string_view> refused;
    for (const RefusedRecipient& each : entry.refused) {
        refused.insert(each.recipient);
    }
    std::vector<std::string> others;
    std::copy_if(entry.recipients.begin(), entry.recipients.end(), std::back_inserter(others),
                 [&](const std::string& recipient) { return !refused.contains(recipient); });
    return others;
}

std::string refusalText(const QueueEntry& entry) {
    std::string text;
    for (const RefusedRecipient& each : entry.refused) {
        if (text.size() > kMaxReason) {
            break;
        }
        text += (text.empty() ? "" : "; ") +
                (entry.refused.size() == 1 ? each.answer : each.recipient + ": " + each.answer);
    }
    text.resize(std::min(text.size(), kMaxReason));
    return text;
}

int splitRefused(QueueClaim& source, const QueueStore& from, QueueStore& target, std::int64_t now) {
    if (const int error = endFormer(source, target)) {
        return error;
    }
    if (source.entry().refused.empty()) {
        return kErrorNone;
    }
    QueueEntry part = partOf(source, now);
    int error = target.discardHeld(part.id);
    if (error == kErrorNone) {
        error = target.storeHeld(part, [&](const std::function<bool(std::string_view)>& sink) {
            return from.copyMessage(source.id(), source.entry().size, sink) == kErrorNone;
        });
    } else if (error == kErrorExists) {
        error = kErrorNone; // it came through, and a crash brought the older entry back
    }
    if (error != kErrorNone) {
        return error;
    }
    QueueEntry rest = source.entry();
    rest.recipients = notRefused(rest);
    rest.refused.clear();
    rest.split = part.id;
    error = source.update(rest);
    return error != kErrorNone ? error : endFormer(source, target);
}

} // namespace quzo::platform
