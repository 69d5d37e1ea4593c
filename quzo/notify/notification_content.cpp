// What stands in a notification: its header fields, its text, and the message it tells of.
#include <ctime>

#include "quzo/core/error_text.h"
#include "quzo/core/log.h"
#include "quzo/core/msgu.h"
#include "quzo/notify/notification.h"
#include "quzo/notify/notification_date.h"
#include "quzo/notify/notification_header.h"
#include "quzo/tokens/action_utils.h"

namespace quzo {
namespace {

constexpr char kUtf8[] = "utf-8";
constexpr std::size_t kSubjectSize = 1024; // bytes, with the NUL

void set_subject(Notification& mail, KvMsgHeaderField& field) {
    const char* text = mail.texts.subject.c_str();
    char converted[kSubjectSize] = {};
    unsigned long length = sizeof converted;
    int error = 0;
    if (!msgu::conv(text, kUtf8, ActionUtils::getDefaultDstCharset(), converted, length, error, true) ||
        *converted == '\0') {
        error = field.setValue(text, kUtf8);
    } else {
        if (exceedsUsAscii(converted)) {
            mail.texts.charset = kUtf8;
        }
        const bool asItIs = isCharset(mail.texts.charset, kUtf8);
        error = field.setValue(asItIs ? text : converted, asItIs ? kUtf8 : mail.texts.charset.c_str());
    }
    if (error != 0) {
        ActionLog::L1("Failed to set Subject string, error %u ('%s').", static_cast<unsigned>(error),
                      KVMSGERR::I2A(error));
    }
}

void set_type(const Notification& mail, KvMsgHeaderField& field) {
    field.setValue("text/html", nullptr);
    const char* charset = mail.texts.charset.c_str();
    if (const int error = field.setParameter("charset", charset, 0); error != 0) {
        ActionLog::L2("Cannot set charset to be '%s', error %u ('%s').", charset,
                      static_cast<unsigned>(error), KVMSGERR::I2A(error));
    }
    ActionLog::L2("set Content-Transfer-Encoding as base64");
    msgu::setHeader(mail.root, "Content-Transfer-Encoding", "base64", nullptr);
}

// A sender that is no UTF-8 must not cost the field: read byte by byte, everything is text.
void set_to(const Notification& mail) {
    if (!mail.to.empty() && !msgu::setHeader(mail.root, "To", mail.to.c_str(), kUtf8)) {
        msgu::setHeader(mail.root, "To", mail.to.c_str(), "iso-8859-1");
    }
}

void set_other_fields(const Notification& mail) {
    msgu::setHeader(mail.root, "Date", notificationDate(std::time(nullptr)).c_str(), nullptr);
    msgu::setHeader(mail.root, "MIME-Version", "1.0", nullptr);
    set_to(mail);
    msgu::setHeader(mail.root, "Message-ID", mail.messageId.c_str(), nullptr);
}

bool set_body(Notification& mail) {
    std::string& body = mail.texts.body;
    if (body.empty()) {
        body = " ";
    }
    LocatorHandle locator(KvMsg_CreateResourceLocator(body.data(), 1, body.size(), body.size(), 1));
    if (locator == nullptr) {
        ActionLog::L1("Failed to create Resource Locator object before disclaimer insertion.");
        return false;
    }
    const char* charset = nullptr; // the parameter of the type stays
    for (const char* known : {"iso-2022-jp", kUtf8}) {
        charset = isCharset(mail.texts.charset, known) ? known : charset;
    }
    const int error = mail.root->setContent(locator.get(), "text/plain", charset, "base64");
    if (error != 0) {
        ActionLog::L1(
            "Failed to insert disclaimer message when composing notification message, error %u ('%s').",
            static_cast<unsigned>(error), KVMSGERR::I2A(error));
        return false;
    }
    static_cast<void>(locator.release()); // the entity keeps it
    return true;
}

bool attach_message(const Notification& mail) {
    const KvMsgMailMessage* attached = mail.area.attachModifiedMessage ? mail.msg : mail.originalMsg;
    const KvMsgAttachHandle handle = attached != nullptr ? attached->getAttachHandle() : KvMsgAttachHandle();
    if (const int error = mail.root->insertMessage(handle, -1); error != 0) {
        ActionLog::L1("Failed to insert scanning message into notification message, error %u ('%s').",
                      static_cast<unsigned>(error), KVMSGERR::I2A(error));
        return false;
    }
    _remove_content_transfer_encoding_for_multipart_email(mail.root);
    return true;
}

} // namespace

bool fillNotification(Notification& mail) {
    KvMsgHeaderField* type = _get_header(mail.root, "Content-Type");
    KvMsgHeaderField* subject = type != nullptr ? _get_header(mail.root, "Subject") : nullptr;
    if (type == nullptr || subject == nullptr) {
        ActionLog::L1("Failed to create Message object instance.");
        return false;
    }
    set_subject(mail, *subject);
    set_type(mail, *type);
    set_other_fields(mail);
    return set_body(mail) && (!mail.area.attachMessage || attach_message(mail));
}

} // namespace quzo
