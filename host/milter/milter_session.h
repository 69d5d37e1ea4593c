// One connection of a mail server: the messages that come over it, one after the other.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/gateway/message_pipeline.h"
#include "host/gateway/snapshot.h"
#include "host/milter/mail_editor.h"
#include "host/milter/milter_verdict.h"
#include "host/milter/milter_watch.h"
#include "host/milter/received_mail.h"
#include "platform/queue/queues.h"

namespace quzo::host {

// What every connection works with. Any thread; outlives them all.
struct MilterContext {
    std::function<std::shared_ptr<const Snapshot>()> snapshot; // asked for each message
    platform::Queues* queues = nullptr;                        // may be null
    std::function<bool(std::string_view address)> isTrusted;   // of a client, as a text; null: nobody
    std::string rescanDaemonName{}; // empty: no message comes back for another pass
    std::string headerVirusName{};  // fields of another scanner; empty: none
    std::string headerWholeMail{};
    std::string headerDeleteAll{};
    MilterWatch* watch = nullptr; // told of each message; may be null
};

// What the server knows at the end of a message, by the names of its macros.
struct MailFacts {
    std::string queueId;    // "i"
    std::string daemonName; // "{daemon_name}"
};

// Used by one thread at a time. Throws nothing: what goes wrong here is a temporary refusal.
class MilterSession {
public:
    explicit MilterSession(const MilterContext& context) : context_(context) {}

    // `client`: the address in numbers; empty for one that has none, as mail from the machine itself.
    void connected(std::string_view client) noexcept;

    MilterVerdict sender(std::string_view argument, const std::vector<std::string_view>& parameters) noexcept;
    MilterVerdict recipient(std::string_view argument) noexcept;
    MilterVerdict field(std::string_view name, std::string_view value) noexcept;
    MilterVerdict body(std::string_view piece) noexcept;
    MilterVerdict endOfMessage(MailEditor& editor, const MailFacts& facts) noexcept;

    // The message that was begun will not come.
    void abort() noexcept { mail_.reset(); }

private:
    template <typename Work>
    MilterVerdict guardedly(Work&& work) noexcept;
    MessageJob jobOf(const MailFacts& facts);
    bool isFinding(std::string_view field) const;
    void takeFindings(MessageJob& job) const;
    MilterVerdict verdictOn(const MessageResult& result, std::size_t receivedBody, MailEditor& editor) const;
    bool carryOut(const MessageResult& result, std::size_t receivedBody, MailEditor& editor) const;
    bool changeEnvelope(const MessageResult& result, MailEditor& editor) const;

    const MilterContext& context_;
    bool trusted_ = false;
    std::unique_ptr<ReceivedMail> mail_; // of the message under way
};

} // namespace quzo::host
