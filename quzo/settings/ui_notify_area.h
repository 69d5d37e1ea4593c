// Notification templates.
#pragma once

#include <memory>
#include <string>

#include "quzo/settings/named_obj.h"

namespace quzo {

// Text form: six strings and seven numbers, "1:A:3:abc:0::2:Hi:4:Body:0::1:0:0:0:0:0:0:". Texts are UTF-8.
class uiNotifyArea : public QuzoNamedObj {
public:
    bool construct(const char* setting, unsigned length) override;
    std::string serialize() override;
    NaObjType getType() const override { return NaObjType::NotifyArea; }
    std::unique_ptr<QuzoNamedObj> clone() const override { return std::make_unique<uiNotifyArea>(*this); }

    std::string description; // carried with the object; no action reads it
    std::string sender;      // address
    std::string recipients;  // addresses separated by ";"
    std::string subject;     // may hold tokens, as may the next two
    std::string message;
    std::string snmpMessage;
    bool notifySender = false;     // also to the original message's sender
    bool notifyRecipients = false; // also to its recipients
    bool sendSnmpTrap = false;     // also as a trap that carries snmpMessage
    bool specificTrap = false;     // derived from snmpTrapType by every construct()
    unsigned snmpTrapType = 0;
    bool attachMessage = false;         // with a copy of the scanned message
    bool attachModifiedMessage = false; // that copy as the actions have changed it, not as it arrived
};

} // namespace quzo
