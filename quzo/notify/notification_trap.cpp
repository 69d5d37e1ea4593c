// The trap goes out after the mail, also when the mail had nobody to go to.
#include "quzo/notify/notification_trap.h"

#include "quzo/core/log.h"
#include "quzo/core/snmp.h"
#include "quzo/notify/notify_settings.h"
#include "quzo/settings/ui_notify_area.h"

namespace quzo {

bool sendNotificationTrap(const uiNotifyArea& area, const std::string& text) {
    if (!area.sendSnmpTrap || area.snmpMessage.empty()) {
        return true;
    }
    const NotifySettings& settings = notifySettings();
    if (settings.snmpServer.empty()) {
        ActionLog::L2("Ignore SNMP Trap due to missing server address.");
        return true;
    }
    const int error = SendSNMPTrap(settings.snmpServer.c_str(), area.snmpTrapType, settings.community.c_str(),
                                   text.c_str(), 0);
    if (error == 0) {
        return true;
    }
    if (settings.ignoreSnmpError) {
        ActionLog::L2("Ignore SNMP Trap sending error. (%u)", static_cast<unsigned>(error));
        return true;
    }
    ActionLog::L1("Failed to send SNMP Trap, error: %u.", static_cast<unsigned>(error));
    return false;
}

} // namespace quzo
