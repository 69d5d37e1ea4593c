// Handing a message over: the adapter keeps it with the server's name, and the queue behind it delivers.
#include "quzo/actions/act_handoff.h"

#include "quzo/core/adapter.h"
#include "quzo/core/guard.h"
#include "quzo/core/log.h"
#include "quzo/settings/setting_text.h"
#include "quzo/settings/ui_handoff.h"

namespace quzo {
namespace {

// Set by init, then only read.
bool s_remove_message_id = false;

} // namespace

bool ActHandoff::init(GlobalSetting& settings, LogMsg& /*log*/) {
    return guarded("ActHandoff::init", true, [&] {
        int value = 0;
        s_remove_message_id =
            settings.getIntValue("RemoveQuzoMsgID", value, "MessageModule", 0) == 0 && value != 0;
        return true;
    });
}

bool ActHandoff::removesMessageId() { return s_remove_message_id; }

bool ActHandoff::construct(const char* setting, unsigned length) {
    return guarded("ActHandoff::construct", false, [&] {
        uiHandoff parsed;
        if (!parsed.construct(setting, length)) {
            const SettingText shown(setting, length < 32 ? length : 32);
            ActionLog::L1("Failed to construct Action %s with setting: '%.32s' (max 32 chars)", "Handoff",
                          shown.begin());
            return false;
        }
        host.swap(parsed.ip);
        port = static_cast<unsigned>(parsed.port);
        return true;
    });
}

std::string ActHandoff::serialize() {
    return guarded("ActHandoff::serialize", std::string(), [&] {
        uiHandoff settings;
        settings.ip = host;
        settings.port = static_cast<int>(port);
        return settings.serialize();
    });
}

bool ActHandoff::takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* /*originalMsg*/, bool& msgConsumed,
                            TokenMap<ScanToken>& /*tokens*/, KvIsAdapter& adapter,
                            const NamedObjMgrForScanner& /*namedObjects*/) {
    if (host.empty() || port == 0) {
        return false;
    }
    msgConsumed = true;
    unsigned error = 0;
    if (adapter.handoffMessage(error, msg, host.c_str(), port) != 0) {
        ActionLog::L1("Failed to hand off a message. err=0x%08X(%ud),ip='%s',port='%d'", error, error,
                      host.c_str(), static_cast<int>(port));
        return false;
    }
    return true;
}

} // namespace quzo
