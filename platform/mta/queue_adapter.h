// The adapter of one message: what leaves it, or is kept of it, goes into the queues on disk.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/message/mail_message.h"
#include "platform/mta/notice_ledger.h"
#include "platform/queue/queue_admin.h"
#include "platform/queue/queues.h"
#include "quzo/core/adapter.h"
#include "quzo/core/token_map.h"

namespace quzo::platform {

// What an adapter works with. All pointers are the caller's and outlive the adapter.
struct AdapterContext {
    Queues* queues = nullptr; // null: there are none, and all that needs one is kErrorNotSupported

    // The message's token map, or null. It is read at the moment of each call: it then holds the rule at
    // work, its area and its aging, which are stored with the message.
    const TokenMap<ScanToken>* tokens = nullptr;

    std::string hostname{}; // completes the sender "QUZO" of what leaves

    bool dryRun = false; // check and record as always, and succeed, but store and count nothing

    // An earlier attempt at this very pass, with the same identifier, may have been cut off behind a store:
    // what the same rule has put under that identifier for the same people counts as stored.
    bool again = false;

    // Whether composed messages get the field "Auto-Submitted: auto-generated" unless they have one, so that
    // no other program answers them.
    bool autoSubmitted = false;

    // So many notifications of one rule a recipient gets in an hour; the others are counted in the ledger, to
    // be summed up. 0, or no ledger: there is no limit.
    unsigned noticeLimit = 0;
    NoticeLedger* notices = nullptr;
};

// Bound to one message's processing, composed messages included; one adapter a message, used by one thread.
// Messages must be ones of this platform. Nothing is ever done to the file that the message was read from:
// deleting a message means that the host does not pass it on.
//
// Quarantine and scan queues keep the reprocessing marks, since they count on the way back; everything else
// is stored as it would leave, without them.
class QueueAdapter final : public KvIsAdapter {
public:
    QueueAdapter() = default; // without queues
    explicit QueueAdapter(AdapterContext context) : context_(std::move(context)) {}

    // Whether an action deleted the message.
    bool deleted() const { return deleted_; }

    // What was put into queues, in order.
    const std::vector<QueuedEntry>& queued() const { return queued_; }

    int deleteMessage(unsigned& error, KvMsgMailMessage* msg) override;
    int sendMessage(unsigned& error, KvMsgMailMessage* msg, bool rescan) override;
    int submitForScan(unsigned& error, KvMsgMailMessage* msg, int mode) override;
    int sendComposed(unsigned& error, KvMsgMailMessage* msg) override;
    int postponeMessage(unsigned& error, KvMsgMailMessage* msg, unsigned char hour, unsigned char minute,
                        int endHour, int endMinute) override;
    int handoffMessage(unsigned& error, KvMsgMailMessage* msg, const char* host, unsigned port) override;
    int quarantineMessage(int& error, KvMsgMailMessage* msg, const char* name, const char* queueDir,
                          char* pathOut) override;
    int archiveMessage(int& error, KvMsgMailMessage* msg, const char* name, const char* queueDir,
                       const char* areaDescription) override;

private:
    // Run `work(MailMessage&)` with nothing but results coming out.
    template <typename Number, typename Work>
    int run(const char* where, Number& error, KvMsgMailMessage* msg, Work&& work);

    int rescan(MailMessage& msg, QueueEntry entry);
    int leave(MailMessage& msg, QueueEntry entry, QueueKind kind);
    int sendNotice(MailMessage& msg, bool again);
    int quarantine(MailMessage& msg, const char* queueDir, char* pathOut);
    int archive(MailMessage& msg, const char* queueDir, const char* areaDescription);
    int put(QueueStore* store, QueueEntry& entry, const MessageWriter& write);
    QueueEntry entryOf(MailMessage& msg) const;
    const std::string& token(ScanToken code) const;

    AdapterContext context_;
    std::vector<QueuedEntry> queued_;
    unsigned archived_ = 0;
    bool deleted_ = false;
};

} // namespace quzo::platform
