// See notified_sender.h.
#include "host/scan/notified_sender.h"

#include <string_view>

#include "host/policy/policy_objects.h"
#include "host/scan/automatic_message.h"
#include "quzo/core/log.h"
#include "quzo/settings/ui_notify_area.h"

namespace quzo::host {

void spareAutomaticSender(const Rule& rule, const NamedObjMgrForScanner& objects, const std::string& sender,
                          const ReceivedHeader& header) {
    for (const RuleAction& action : rule.actions) {
        if (action.type->type != QuzoAction::ActionType::Notify) {
            continue;
        }
        for (const unsigned id : objectIdsOf(*action.type, action.setting)) {
            auto* area = dynamic_cast<uiNotifyArea*>(objects.find(id));
            if (area == nullptr || !area->notifySender) {
                continue;
            }
            const std::string_view sign = signOfAutomatic(sender, header);
            if (!sign.empty()) {
                area->notifySender = false;
                ActionLog::L2("Rule %u does not notify the sender: %.*s shows that the message is automatic.",
                              static_cast<unsigned>(rule.id), static_cast<int>(sign.size()), sign.data());
            }
        }
    }
}

} // namespace quzo::host
