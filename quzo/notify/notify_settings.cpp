// Reading the settings of notifications. Their order is part of the contract with the host.
#include "quzo/notify/notify_settings.h"

#include "quzo/core/log.h"

namespace quzo {
namespace {

constexpr char kModule[] = "MessageModule";
constexpr char kNotification[] = "General-Notification";

NotifySettings& kept() {
    static NotifySettings settings;
    return settings;
}

void read_flag(GlobalSetting& settings, const char* key, const char* section, bool& flag) {
    int value = 0;
    if (settings.getIntValue(key, value, section, 0) == 0) {
        flag = value != 0;
    }
}

bool read_text(GlobalSetting& settings, const char* key, std::string& text) {
    return settings.getValue(key, text, kNotification, 0) == 0;
}

void read_snmp(GlobalSetting& settings, NotifySettings& read) {
    if (read_text(settings, "SNMPServer", read.snmpServer)) {
        ActionLog::L3("SNMP server address: %s", read.snmpServer.c_str());
    } else {
        ActionLog::L2("No SNMP server address configured. SNMP Trap for notification will be ignored.");
    }
    if (read_text(settings, "Community", read.community)) {
        ActionLog::L3("SNMP Community string: %s", read.community.c_str());
    } else {
        ActionLog::L2("Missing community string, default is 'xq7amb'.");
    }
}

} // namespace

const NotifySettings& notifySettings() { return kept(); }

void readNotifySettings(GlobalSetting& settings) {
    kept() = NotifySettings();
    NotifySettings& read = kept();
    read_flag(settings, "IgnoreSnmpError", kModule, read.ignoreSnmpError);
    read_snmp(settings, read);
    if (read_text(settings, "MailFrom", read.mailFrom)) {
        ActionLog::L3("SMTP Notification Mail From:");
    } else {
        ActionLog::L2("SMTP Notification Mail From is empty.");
    }
    read_flag(settings, "NotificationSkipScan", kNotification, read.skipScan);
    read_flag(settings, "NotificationHideRecipients", kNotification, read.hideRecipients);
    read_flag(settings, "NotificationGetSenderFromMIME", kNotification, read.senderFromMime);
    int id = 0;
    if (settings.getIntValue("scanner_id", id, "quzo_manager", 0) == 0) {
        read.scannerId = static_cast<unsigned>(id);
    }
}

} // namespace quzo
