// The SNMP trap of a notification.
#pragma once

#include <string>

namespace quzo {

class uiNotifyArea;

// Sends `text` as the template's trap, if the template asks for one and a server is configured. False, said
// at level 1, when it could not be sent and that is not to be ignored.
bool sendNotificationTrap(const uiNotifyArea& area, const std::string& text);

} // namespace quzo
