// Postponing: only the adapter's error number counts, not what its operation returns.
#include "quzo/actions/act_postpone.h"

#include "quzo/core/adapter.h"
#include "quzo/core/guard.h"
#include "quzo/core/log.h"
#include "quzo/settings/ui_postpone.h"

namespace quzo {
namespace {

// The last minute of the day.
constexpr int kEndHour = 23;
constexpr int kEndMinute = 59;

} // namespace

bool ActPostpone::init(GlobalSetting& /*settings*/, LogMsg& /*log*/) { return true; }

bool ActPostpone::construct(const char* setting, unsigned length) {
    return guarded("ActPostpone::construct", false, [&] {
        uiPostpone parsed;
        if (!parsed.construct(setting, length)) {
            return false;
        }
        hour = static_cast<unsigned>(parsed.hour);
        minute = static_cast<unsigned>(parsed.min);
        return true;
    });
}

std::string ActPostpone::serialize() {
    return guarded("ActPostpone::serialize", std::string(), [&] {
        uiPostpone settings;
        settings.hour = static_cast<int>(hour);
        settings.min = static_cast<int>(minute);
        return settings.serialize();
    });
}

bool ActPostpone::takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* /*originalMsg*/,
                             bool& msgConsumed, TokenMap<ScanToken>& /*tokens*/, KvIsAdapter& adapter,
                             const NamedObjMgrForScanner& /*namedObjects*/) {
    msgConsumed = true;
    unsigned error = 0;
    adapter.postponeMessage(error, msg, static_cast<unsigned char>(hour), static_cast<unsigned char>(minute),
                            kEndHour, kEndMinute);
    if (error != 0) {
        ActionLog::L1("Failed to postpone a message, error %u.", error);
        return false;
    }
    return true;
}

} // namespace quzo
