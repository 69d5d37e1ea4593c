// The text form of notification templates.
#include "quzo/settings/ui_notify_area.h"

#include "quzo/core/guard.h"
#include "quzo/settings/positional.h"
#include "quzo/settings/setting_text.h"

namespace quzo {
namespace {

long read_number(const char*& cursor) {
    char* end = nullptr;
    long value = 0;
    _get_numeric_data(value, cursor, end);
    return value;
}

} // namespace

bool uiNotifyArea::construct(const char* setting, unsigned length) {
    return guarded("uiNotifyArea::construct", false, [&] {
        const SettingText text(setting, length);
        if (text.empty()) {
            return false;
        }
        const char* cursor = text.begin();
        char* end = nullptr;
        unsigned budget = length;
        for (std::string* field : {&description, &sender, &recipients, &subject, &message, &snmpMessage}) {
            if (!_get_string_data(*field, cursor, end, budget)) {
                return false;
            }
        }
        for (bool* flag : {&notifySender, &notifyRecipients, &sendSnmpTrap, &specificTrap}) {
            *flag = read_number(cursor) != 0;
        }
        snmpTrapType = static_cast<unsigned>(read_number(cursor));
        attachMessage = read_number(cursor) != 0;
        attachModifiedMessage = read_number(cursor) != 0;
        // The text's own flag does not count.
        specificTrap = snmpTrapType >= 3 && snmpTrapType != 26;
        return true;
    });
}

std::string uiNotifyArea::serialize() {
    return guarded("uiNotifyArea::serialize", std::string(), [&] {
        std::string text;
        text.reserve(1024);
        for (const std::string* field :
             {&description, &sender, &recipients, &subject, &message, &snmpMessage}) {
            appendSettingString(text, *field);
        }
        for (const bool flag : {notifySender, notifyRecipients, sendSnmpTrap, specificTrap}) {
            appendSettingNumber(text, flag ? 1 : 0);
        }
        appendSettingNumber(text, snmpTrapType);
        for (const bool flag : {attachMessage, attachModifiedMessage}) {
            appendSettingNumber(text, flag ? 1 : 0);
        }
        return text;
    });
}

} // namespace quzo
