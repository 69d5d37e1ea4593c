// See milter_session.h.
//
// A server is told that a message was taken out of its hands (Discard) only when the action that did so has
// it on the disk; everything that goes wrong is answered so that the client tries again.
#include "host/milter/milter_session.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <unordered_set>
#include <utility>

#include "host/milter/delivered_mail.h"
#include "platform/base/ascii.h"
#include "platform/base/visible_text.h"
#include "quzo/core/error_text.h"
#include "quzo/core/log.h"
#include "quzo/core/reprocess_mark.h"

namespace quzo::host {
namespace {

using Kind = MilterVerdict::Kind;

constexpr std::size_t kMostReply = 400; // bytes of text for the client

// The reason as a client may read it: one line, visible ASCII, no percent sign, which some servers read as
// more.
std::string replyText(const std::string& reason) {
    std::string text = platform::visibleText(reason).substr(0, kMostReply);
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c < ' ' || c > '~' || c == '%'; }, '?');
    return text;
}

MilterVerdict later(const std::string& reason) { return {Kind::Later, "451", "4.7.1", replyText(reason)}; }

MilterVerdict refusal(const ScanResult& scan) {
    if (scan.error && scan.error->code == kErrorLimit) {
        return {Kind::Refuse, "552", "5.3.4", replyText(scan.error->text)};
    }
    return {Kind::Refuse, "554", "5.6.0",
            replyText(scan.error ? scan.error->text : "the message cannot be read")};
}

// The value of the first field of the name; empty when there is none.
std::string findingIn(const std::vector<MailField>& fields, const std::string& name) {
    for (const MailField& field : fields) {
        if (!name.empty() && platform::equalsNoCase(field.name, name)) {
            return std::string(platform::trimmed(field.value));
        }
    }
    return {};
}

// Whether a field of the name would be one field when it is written down.
bool canBeName(std::string_view name) {
    return !name.empty() &&
           std::none_of(name.begin(), name.end(), [](char c) { return c == ':' || (c >= 0 && c < ' '); });
}

// The marks of another pass are between us and ourselves, and forged ones between nobody.
bool isMark(const MailField& field) {
    return platform::equalsNoCase(field.name, kReprocessRulesHeader) ||
           platform::equalsNoCase(field.name, kReprocessTypeHeader);
}

} // namespace

// No memory may be left for a reason then.
template <typename Work>
MilterVerdict MilterSession::guardedly(Work&& work) noexcept {
    try {
        return work();
    } catch (const std::exception&) {
        mail_.reset();
        ActionLog::L1("A message is refused for now: out of memory.");
        if (context_.watch != nullptr) {
            context_.watch->outOfMemory();
        }
        return {Kind::Later, "451", "4.3.0"};
    }
}

void MilterSession::connected(std::string_view client) noexcept {
    try {
        trusted_ = context_.isTrusted && !client.empty() && context_.isTrusted(client);
    } catch (const std::exception&) {
        trusted_ = false;
    }
}

MilterVerdict MilterSession::sender(std::string_view argument,
                                    const std::vector<std::string_view>& parameters) noexcept {
    return guardedly([&] {
        mail_ = std::make_unique<ReceivedMail>(context_.snapshot()->options().limits);
        mail_->setSender(argument, parameters);
        return MilterVerdict();
    });
}

MilterVerdict MilterSession::recipient(std::string_view argument) noexcept {
    return guardedly([&] {
        if (mail_ == nullptr) {
            return later("a recipient without a sender");
        }
        mail_->addRecipient(argument);
        return MilterVerdict();
    });
}

MilterVerdict MilterSession::field(std::string_view name, std::string_view value) noexcept {
    return guardedly([&] {
        if (mail_ == nullptr) {
            return later("a header without a sender");
        }
        if (!canBeName(name)) {
            mail_.reset();
            return later("a header field without a name");
        }
        mail_->addField(name, value, !trusted_ && isFinding(name));
        return MilterVerdict();
    });
}

MilterVerdict MilterSession::body(std::string_view piece) noexcept {
    return guardedly([&] {
        if (mail_ == nullptr) {
            return later("a body without a sender");
        }
        mail_->addBody(piece);
        return MilterVerdict();
    });
}

MessageJob MilterSession::jobOf(const MailFacts& facts) {
    MessageJob job;
    job.name = facts.queueId;
    job.bytes = mail_->takeBytes();
    job.beyondLimit = mail_->beyondLimit();
    job.sender = mail_->sender();
    for (const ReceivedRecipient& recipient : mail_->recipients()) {
        job.recipients.push_back(recipient.address);
    }
    job.tokens.set(ScanToken::Protocol, "SMTP");
    if (trusted_ && !context_.rescanDaemonName.empty() && facts.daemonName == context_.rescanDaemonName) {
        job.trustMarks = true;
        job.again = true; // what a notification attaches bears the marks, and loses them
        job.tokens.set(ScanToken::Reprocessed, "yes");
    }
    if (trusted_) {
        takeFindings(job);
    }
    return job;
}

// Whether another scanner's findings stand in such fields. A client that is not trusted has made them up.
bool MilterSession::isFinding(std::string_view field) const {
    const auto isNamed = [field](const std::string& name) {
        return !name.empty() && platform::equalsNoCase(field, name);
    };
    return isNamed(context_.headerVirusName) || isNamed(context_.headerWholeMail) ||
           isNamed(context_.headerDeleteAll);
}

void MilterSession::takeFindings(MessageJob& job) const {
    const std::pair<ScanToken, const std::string&> findings[] = {
        {ScanToken::VirusName, context_.headerVirusName},
        {ScanToken::WholeMailFinding, context_.headerWholeMail},
        {ScanToken::DeleteAllAttachments, context_.headerDeleteAll}};
    for (const auto& [token, name] : findings) {
        if (std::string found = findingIn(mail_->fields(), name); !found.empty()) {
            job.tokens.set(token, std::move(found));
        }
    }
}

MilterVerdict MilterSession::endOfMessage(MailEditor& editor, const MailFacts& facts) noexcept {
    return guardedly([&] {
        if (mail_ == nullptr) {
            return later("the end of a message that was not begun");
        }
        const auto start = std::chrono::steady_clock::now();
        const std::shared_ptr<const Snapshot> snapshot = context_.snapshot();
        MessageJob job = jobOf(facts);
        const MessageResult result = passMessage(*snapshot, context_.queues, std::move(job));
        MilterVerdict verdict = verdictOn(result, mail_->bodyBegin(), editor);
        if (context_.watch != nullptr) {
            context_.watch->judged(result, verdict,
                                   {.name = facts.queueId,
                                    .taken = std::chrono::steady_clock::now() - start,
                                    .error = result.scan.goesOn() ? verdict.text : std::string_view()});
        }
        mail_.reset();
        return verdict;
    });
}

MilterVerdict MilterSession::verdictOn(const MessageResult& result, std::size_t receivedBody,
                                       MailEditor& editor) const {
    switch (result.scan.outcome) {
        case Outcome::Unchanged:
        case Outcome::Modified:
            if (!carryOut(result, receivedBody, editor)) {
                return later("the mail server did not take the changes");
            }
            return {Kind::Accept};
        case Outcome::Consumed:
            return {Kind::Discard};
        case Outcome::Deferred:
            return later(result.scan.error ? result.scan.error->text : "it could not be handled");
        case Outcome::Failed:
            break;
    }
    return refusal(result.scan);
}

bool MilterSession::carryOut(const MessageResult& result, std::size_t receivedBody,
                             MailEditor& editor) const {
    const bool changed = result.scan.outcome == Outcome::Modified;
    const bool marked = std::any_of(mail_->fields().begin(), mail_->fields().end(), isMark);
    if ((changed || marked || mail_->hidesFields()) && mail_->beyondLimit().empty()) {
        DeliveredMail delivered = deliveredMail(result, receivedBody);
        std::erase_if(delivered.fields, isMark);
        for (const HeaderEdit& edit : headerEdits(mail_->fields(), delivered.fields)) {
            if (!editor.editHeader(edit)) {
                return false;
            }
        }
        if (changed && delivered.bodyChanged && !sendBody(result, delivered.bodyBegin, editor)) {
            return false;
        }
    }
    return !result.scan.envelopeChanged || changeEnvelope(result, editor);
}

bool MilterSession::changeEnvelope(const MessageResult& result, MailEditor& editor) const {
    if (result.envelope.sender != mail_->sender() && !editor.changeSender(result.envelope.sender)) {
        return false;
    }
    std::unordered_set<std::string> left(result.envelope.recipients.begin(),
                                         result.envelope.recipients.end());
    std::unordered_set<std::string> there;
    for (const ReceivedRecipient& recipient : mail_->recipients()) {
        there.insert(recipient.address);
        if (left.count(recipient.address) == 0 && !editor.removeRecipient(recipient.received)) {
            return false;
        }
    }
    return std::all_of(result.envelope.recipients.begin(), result.envelope.recipients.end(),
                       [&](const std::string& address) {
                           return !there.insert(address).second || editor.addRecipient(address);
                       });
}

} // namespace quzo::host
