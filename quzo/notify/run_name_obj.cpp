// From a template to a mail on its way, and to the trap that goes with it.
#include <chrono>

#include "quzo/core/adapter.h"
#include "quzo/core/guard.h"
#include "quzo/core/log.h"
#include "quzo/core/msgu.h"
#include "quzo/core/reprocess_mark.h"
#include "quzo/core/trim.h"
#include "quzo/notify/act_notify.h"
#include "quzo/notify/notification.h"
#include "quzo/notify/notification_trap.h"
#include "quzo/notify/notify_settings.h"

namespace quzo {
namespace {

// Microseconds since 1970.
unsigned long long time_of_day() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<unsigned long long>(
        std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

bool send_mail(Notification& mail, KvIsAdapter& adapter) {
    bool has = false;
    if (!createNotification(mail) || !addressNotification(mail) || !hasRecipient(mail, has)) {
        return false;
    }
    if (!has) {
        ActionLog::L1("No valid recipient in notification message.");
        return true; // there may still be a trap to send
    }
    return fillNotification(mail) && sendNotification(mail, adapter);
}

} // namespace

bool createNotification(Notification& mail) {
    mail.message.reset(KvMsg_CreateMailMessage());
    if (mail.message == nullptr) {
        ActionLog::L1("Failed to create Message object instance.");
        return false;
    }
    mail.root = mail.message->getRootEntity();
    if (mail.root == nullptr) {
        ActionLog::L1("Cannot retrieve root Entity from the composing notification message.");
        return false;
    }
    if (mail.msg != nullptr) {
        mail.messageId =
            notificationMessageId(notifySettings().scannerId, time_of_day(), mail.msg->getIdentifier());
    }
    return true;
}

bool hasRecipient(const Notification& mail, bool& has) {
    std::string all;
    std::list<std::string> recipients;
    if (!msgu::getRcpt(mail.message.get(), all, recipients)) {
        ActionLog::L1("Failed to get recipient address(es) from notification message.");
        return false;
    }
    has = false;
    for (const std::string& recipient : recipients) {
        has = has || !withoutSpaces(recipient).empty();
    }
    return true;
}

bool sendNotification(Notification& mail, KvIsAdapter& adapter) {
    unsigned error = 0;
    if (mail.session->getRecipientCount() == 0) {
        ActionLog::L2("Skip SMTP notification due to zero recipient.");
    } else if (mail.area.attachMessage && !notifySettings().skipScan) {
        const ReprocessMark mark(mail.tokens, mail.root, "notification");
        adapter.submitForScan(error, mail.message.get(), 1);
    } else {
        adapter.sendComposed(error, mail.message.get());
    }
    mail.session.reset();
    mail.message.reset();
    if (error != 0) {
        ActionLog::L1("Failed to send notification through SMTP Adapter, error %u.", error);
        return false;
    }
    return true;
}

bool ActNotify::_runNameObj(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& /*msgConsumed*/,
                            TokenMap<ScanToken>& tokens, KvIsAdapter& adapter, const uiNotifyArea& area) {
    return guarded("ActNotify::_runNameObj", false, [&] {
        std::string snmp;
        {
            Notification mail{area, msg, originalMsg, tokens, {}, {}, {}, {}, nullptr, {}};
            if (!makeNotificationTexts(area, msg, tokens, mail.texts) || !send_mail(mail, adapter)) {
                return false;
            }
            snmp.swap(mail.texts.snmp);
        }
        return sendNotificationTrap(area, snmp);
    });
}

} // namespace quzo
