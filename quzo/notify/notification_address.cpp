// Who gets a notification: the template's recipients, and the message's own sender and recipients when the
// template says so. The envelope decides; the "To" field only shows.
#include <string_view>

#include "quzo/core/error_text.h"
#include "quzo/core/log.h"
#include "quzo/core/msgu.h"
#include "quzo/core/text.h"
#include "quzo/notify/notification.h"
#include "quzo/notify/notification_header.h"
#include "quzo/notify/notify_settings.h"
#include "quzo/notify/pop3_labels.h"

namespace quzo {
namespace {

constexpr char kHiddenRecipients[] = ";\"NotificationRecipients\"<NotificationRecipients>";

// A value of the scanned message's header in UTF-8, in which the list for "To" is.
std::string utf8_value(const KvMsgHeaderField& field) {
    const char* charset = nullptr;
    const char* value = field.getValue(&charset);
    std::string text = value != nullptr ? value : "";
    if (charset == nullptr || isCharset(charset, "utf-8")) {
        return text;
    }
    std::string converted;
    int error = 0;
    return msgu::conv(text.c_str(), charset, "utf-8", converted, error, false) ? converted : text;
}

// The "From" field of the scanned message, which stays as it was: a field that had to be added is taken away
// again, and said nothing anyway.
std::string sender_of_header(KvMsgMailMessage* msg) {
    KvMsgEntity* root = msg != nullptr ? msgu::getRootEntity(msg) : nullptr;
    if (root == nullptr) {
        return {};
    }
    bool created = false;
    const KvMsgHeaderField* from = getOrCreateHeader(root, "From", true, created);
    if (created) {
        root->removeHeader("From");
        return {};
    }
    return from != nullptr ? utf8_value(*from) : std::string();
}

// Whether the text is no more than one address. A message's header may say anything, and a list that hides in
// a name must not become further recipients: what setRcpt() would divide is no address, nor are several with
// commas between them.
bool is_one_address(std::string_view text) {
    bool quoted = false;
    int comments = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        if (c == '"') {
            quoted = !quoted;
        } else if (quoted) {
            at += c == '\\' ? 1 : 0;
        } else if (c == '(' || c == ')') {
            comments += c == '(' ? 1 : -1;
        } else if (c == ';' || (c == ',' && comments <= 0)) {
            return false;
        }
    }
    return true;
}

void add_sender(Notification& mail) {
    constexpr const char* kMissing =
        "Original message sender is empty and cannot be added into SMTP notification recipient.";
    const std::string sender = notifySettings().senderFromMime ? sender_of_header(mail.msg)
                                                               : mail.tokens.valueOrEmpty(ScanToken::Sender);
    if (sender.empty() || sender == " ") {
        ActionLog::L3("%s", kMissing);
        return;
    }
    if (!is_one_address(sender) || !msgu::setRcpt(mail.message.get(), sender.c_str(), true)) {
        ActionLog::L3("Invalid message sender for SMTP Notification recipient.");
        ActionLog::L3("%s", kMissing);
    }
    mail.to.append(";").append(sender);
}

void copy_recipients(Notification& mail, const KvMsgMailSessionInfo& from) {
    const unsigned count = from.getRecipientCount();
    const unsigned end = mail.session->getRecipientCount();
    for (unsigned i = 0; i < count; ++i) {
        const KvMsgAddress* recipient = from.getRecipient(i);
        const char* address = recipient != nullptr ? recipient->getAddress() : nullptr;
        if (address == nullptr) {
            continue;
        }
        const bool stands_for_others =
            count == 1 && platform_icasencmp(address, kPop3Recipient, sizeof kPop3Recipient - 1) == 0;
        if (!stands_for_others) {
            mail.session->insertRecipient(i + end, address);
        } else if (const std::string* real = mail.tokens.find(ScanToken::Recipients); real != nullptr) {
            mail.session->insertRecipient(end, real->c_str());
        }
    }
}

bool add_recipients(Notification& mail) {
    if (notifySettings().hideRecipients) {
        mail.to.append(kHiddenRecipients);
    } else if (const std::string* shown = mail.tokens.find(ScanToken::Recipients); shown != nullptr) {
        mail.to.append(";").append(*shown);
    }
    const SessionHandle original(mail.msg != nullptr ? mail.msg->getSessionInfo() : nullptr);
    if (original == nullptr) {
        ActionLog::L3("Invalid session information in original message.");
        return false;
    }
    copy_recipients(mail, *original);
    return true;
}

bool set_sender(const Notification& mail) {
    const std::string& sender = mail.area.sender;
    const int error = sender.empty() ? 0 : mail.session->setSender(sender.c_str());
    if (error != 0) {
        ActionLog::L1(
            "Failed to set sender address into notification message, error %u ('%s'), length %u byte(s).",
            static_cast<unsigned>(error), KVMSGERR::I2A(error), static_cast<unsigned>(sender.size()));
    }
    return error == 0;
}

} // namespace

bool addressNotification(Notification& mail) {
    const std::string& recipients = mail.area.recipients;
    if (!msgu::setRcpt(mail.message.get(), recipients.c_str(), false)) {
        ActionLog::L1("Failed to set recipient address(es) into notification message, length %u byte(s).",
                      static_cast<unsigned>(recipients.size()));
        return false;
    }
    mail.to = recipients;
    mail.session.reset(mail.message->getSessionInfo());
    if (mail.session == nullptr) {
        ActionLog::L1("Invalid session information in notification message.");
        return false;
    }
    if (!set_sender(mail)) {
        return false;
    }
    _add_sender_into_header(mail.root, *mail.session, mail.texts.charset, mail.area.sender.empty());
    if (mail.area.notifySender) {
        add_sender(mail);
    }
    return !mail.area.notifyRecipients || add_recipients(mail);
}

} // namespace quzo
