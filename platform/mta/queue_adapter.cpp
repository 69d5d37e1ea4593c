// The adapter over the queues. See queue_adapter.h.
//
// Nothing here speaks to another host: a message is made durable, and a queue runner does the rest, so a slow
// or dead server costs no scanning thread and loses nothing.
#include "platform/mta/queue_adapter.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <ctime>
#include <limits>
#include <utility>

#include "platform/base/host_name.h"
#include "platform/mta/notice_round.h"
#include "platform/mta/postpone_window.h"
#include "platform/queue/leaving_message.h"
#include "platform/queue/shown_subject.h"
#include "quzo/core/error_text.h"
#include "quzo/core/guard.h"
#include "quzo/core/log.h"
#include "quzo/core/msgu.h"
#include "quzo/core/quarantine_path.h"

namespace quzo::platform {
namespace {

constexpr const char* kFeedbackSender = "QUZO"; // of the envelope of samples, which are no notifications
constexpr unsigned kMaxArchived = 1000;         // entries of one identifier

// What the next pass, or somebody who looks at the entry, wants of this pass's tokens.
constexpr ScanToken kKeptTokens[] = {
    ScanToken::WholeMailFinding, ScanToken::DeleteAllAttachments,
    ScanToken::OriginalMailId,   ScanToken::Protocol,
    ScanToken::RuleType,         ScanToken::Detected,
    ScanToken::FileName,         ScanToken::VirusName,
};

// Decimal texts of tokens; numbers beyond the range are the largest one.
std::optional<std::uint32_t> numberOf(const std::string& text) {
    std::uint32_t number = 0;
    const char* end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    if (read.ptr != end || read.ec == std::errc::invalid_argument) {
        return std::nullopt;
    }
    return read.ec == std::errc::result_out_of_range ? std::numeric_limits<std::uint32_t>::max() : number;
}

bool isSameWork(const QueueStore& store, const QueueEntry& entry) {
    QueueEntry there;
    return store.read(entry.id, there) == kErrorNone && there.rule == entry.rule &&
           there.areaId == entry.areaId && there.recipients == entry.recipients;
}

// A mail without it is sent all the same.
void addAutoSubmitted(MailMessage& msg) {
    constexpr const char* kField = "Auto-Submitted";
    KvMsgEntity* root = msg.getRootEntity();
    if (root != nullptr && root->getHeaderFieldByName(kField, true) == nullptr &&
        !msgu::setHeader(root, kField, "auto-generated", nullptr)) {
        ActionLog::L1("A composed message goes out without %s: its header cannot be changed.", kField);
    }
}

} // namespace

template <typename Number, typename Work>
int QueueAdapter::run(const char* where, Number& error, KvMsgMailMessage* msg, Work&& work) {
    const int result = guarded(where, int{kErrorNoMemory}, [&]() -> int {
        if (context_.queues == nullptr) {
            return kErrorNotSupported;
        }
        auto* message = dynamic_cast<MailMessage*>(msg);
        return message == nullptr ? int{kErrorInvalidArgument} : work(*message);
    });
    error = static_cast<Number>(result);
    return result;
}

const std::string& QueueAdapter::token(ScanToken code) const {
    static const std::string none;
    return context_.tokens == nullptr ? none : context_.tokens->valueOrEmpty(code);
}

// What every queue wants to know.
QueueEntry QueueAdapter::entryOf(MailMessage& msg) const {
    QueueEntry entry;
    entry.id = msg.getIdentifier();
    entry.sender = msg.sender();
    entry.recipients = msg.recipients();
    entry.subject = shownSubject(msg);
    entry.rule = numberOf(token(ScanToken::RuleId));
    entry.ruleName = token(ScanToken::RuleName);
    entry.stored = std::time(nullptr);
    for (const ScanToken code : kKeptTokens) {
        if (const std::string& value = token(code); !value.empty()) {
            entry.tokens[static_cast<std::uint32_t>(code)] = value;
        }
    }
    if (const std::string& first = token(ScanToken::OriginalMailId); first != entry.id) {
        entry.previous = first;
    }
    return entry;
}

int QueueAdapter::put(QueueStore* store, QueueEntry& entry, const MessageWriter& write) {
    if (store == nullptr) {
        return kErrorNotSupported;
    }
    if (!isQueueIdentifier(entry.id)) {
        return kErrorInvalidArgument;
    }
    // Noted first: once it is stored nothing may go wrong any more.
    queued_.push_back({store->name(), entry.id});
    int error = kErrorNone;
    try {
        error = context_.dryRun ? int{kErrorNone} : store->store(entry, write);
        if (error == kErrorExists && context_.again && isSameWork(*store, entry)) {
            error = kErrorNone;
        }
    } catch (...) {
        queued_.pop_back();
        throw;
    }
    if (error != kErrorNone) {
        queued_.pop_back();
    }
    return error;
}

int QueueAdapter::rescan(MailMessage& msg, QueueEntry entry) {
    entry.markEnd = markEndOf(msg);
    return put(context_.queues->find(QueueKind::Scan), entry, writerOf(msg));
}

int QueueAdapter::leave(MailMessage& msg, QueueEntry entry, QueueKind kind) {
    if (entry.recipients.empty()) {
        return kErrorInvalidArgument;
    }
    entry.sender = leavingSender(entry.sender, context_.hostname);
    return put(context_.queues->find(kind), entry, leavingWriterOf(msg));
}

// A composed message. Recipients who have had enough of them do not get it; when that is all of them, nothing
// is left to be done.
int QueueAdapter::sendNotice(MailMessage& msg, bool again) {
    if (context_.autoSubmitted) {
        addAutoSubmitted(msg);
    }
    if (context_.again) {
        removeAttachedMarks(msg); // what is attached came out of the scan queue
    }
    const auto store = [&](QueueEntry entry) {
        return again ? rescan(msg, std::move(entry)) : leave(msg, std::move(entry), QueueKind::Outgoing);
    };
    QueueEntry entry = entryOf(msg);
    const bool limited = context_.notices != nullptr && context_.noticeLimit > 0 && !context_.dryRun &&
                         entry.sender != kFeedbackSender && !entry.recipients.empty();
    if (!limited) {
        return store(std::move(entry));
    }
    NoticeRound round(*context_.notices, context_.noticeLimit,
                      {{}, entry.rule.value_or(0), entry.ruleName, entry.subject}, entry.stored);
    round.sift(entry.recipients);
    const int error = entry.recipients.empty() ? int{kErrorNone} : store(std::move(entry));
    if (error == kErrorNone) {
        round.keep();
    }
    return error;
}

int QueueAdapter::deleteMessage(unsigned& error, KvMsgMailMessage* msg) {
    const int result = msg == nullptr ? kErrorInvalidArgument : kErrorNone;
    deleted_ = deleted_ || result == kErrorNone;
    error = static_cast<unsigned>(result);
    return result;
}

int QueueAdapter::sendMessage(unsigned& error, KvMsgMailMessage* msg, bool again) {
    return run("Sending a message", error, msg, [&](MailMessage& message) {
        return again ? rescan(message, entryOf(message))
                     : leave(message, entryOf(message), QueueKind::Outgoing);
    });
}

int QueueAdapter::submitForScan(unsigned& error, KvMsgMailMessage* msg, int /*mode*/) {
    return run("Submitting a message", error, msg,
               [&](MailMessage& message) { return sendNotice(message, true); });
}

int QueueAdapter::sendComposed(unsigned& error, KvMsgMailMessage* msg) {
    return run("Sending a composed message", error, msg,
               [&](MailMessage& message) { return sendNotice(message, false); });
}

int QueueAdapter::postponeMessage(unsigned& error, KvMsgMailMessage* msg, unsigned char hour,
                                  unsigned char minute, int endHour, int endMinute) {
    return run("Postponing a message", error, msg, [&](MailMessage& message) -> int {
        const TimeWindow window{hour, minute, endHour, endMinute};
        if (!window.valid()) {
            return kErrorInvalidArgument;
        }
        QueueEntry entry = entryOf(message);
        entry.due = dueTime(entry.stored, window);
        return leave(message, std::move(entry), QueueKind::Postponed);
    });
}

int QueueAdapter::handoffMessage(unsigned& error, KvMsgMailMessage* msg, const char* host, unsigned port) {
    return run("Handing a message off", error, msg, [&](MailMessage& message) -> int {
        QueueRoute route;
        if (host == nullptr || !readHostName(host, route.host) || port == 0 || port > 65535) {
            return kErrorInvalidArgument;
        }
        route.port = static_cast<std::uint16_t>(port);
        QueueEntry entry = entryOf(message);
        entry.route = std::move(route);
        return leave(message, std::move(entry), QueueKind::Outgoing);
    });
}

int QueueAdapter::quarantineMessage(int& error, KvMsgMailMessage* msg, const char* /*name*/,
                                    const char* queueDir, char* pathOut) {
    if (pathOut != nullptr) {
        *pathOut = '\0';
    }
    return run("Quarantining a message", error, msg, [&](MailMessage& message) -> int {
        return queueDir == nullptr || pathOut == nullptr ? int{kErrorInvalidArgument}
                                                         : quarantine(message, queueDir, pathOut);
    });
}

int QueueAdapter::quarantine(MailMessage& msg, const char* queueDir, char* pathOut) {
    QueueEntry entry = entryOf(msg);
    entry.markEnd = markEndOf(msg);
    entry.areaId = numberOf(token(ScanToken::QuarantineAreaId));
    entry.area = token(ScanToken::QuarantineArea);
    entry.aging = numberOf(token(ScanToken::QuarantineAging));
    constexpr std::size_t kAround = sizeof "/A/B/.DF"; // the NUL included
    if (std::strlen(queueDir) + entry.id.size() + kAround > kPathSize) {
        return kErrorLimit; // said before anything is stored under a path that nobody could be told
    }
    const std::string path = quarantinePath(queueDir, entry.id);
    const int error = put(context_.queues->at(QueueKind::Quarantine, queueDir), entry, writerOf(msg));
    if (error == kErrorNone) {
        std::memcpy(pathOut, path.c_str(), path.size() + 1);
    }
    return error;
}

int QueueAdapter::archiveMessage(int& error, KvMsgMailMessage* msg, const char* /*name*/,
                                 const char* queueDir, const char* areaDescription) {
    return run("Archiving a message", error, msg, [&](MailMessage& message) -> int {
        return queueDir == nullptr ? int{kErrorInvalidArgument} : archive(message, queueDir, areaDescription);
    });
}

// One message may go into several areas, so its copies are numbered.
int QueueAdapter::archive(MailMessage& msg, const char* queueDir, const char* areaDescription) {
    QueueEntry entry = entryOf(msg);
    const std::string id = entry.id;
    entry.areaId = numberOf(token(ScanToken::ArchiveAreaId));
    entry.area = token(ScanToken::ArchiveArea);
    if (entry.area.empty() && areaDescription != nullptr) {
        entry.area = areaDescription; // which may be cut
    }
    entry.aging = numberOf(token(ScanToken::ArchiveAging));
    QueueStore* store = context_.queues->at(QueueKind::Archive, queueDir);
    const MessageWriter write = leavingWriterOf(msg);
    int error = kErrorExists;
    while (error == kErrorExists && archived_ < kMaxArchived) {
        entry.id = id + "-" + std::to_string(++archived_);
        error = put(store, entry, write);
    }
    return error;
}

} // namespace quzo::platform
