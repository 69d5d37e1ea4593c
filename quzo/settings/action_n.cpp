// The named-object id list: how actions refer to templates, stamps and areas.
#include "quzo/settings/action_n.h"

#include "quzo/core/guard.h"
#include "quzo/core/log.h"
#include "quzo/settings/positional.h"
#include "quzo/settings/setting_text.h"

namespace quzo {
namespace {

// Separators are one character each, whatever it is: stored lists were written with several.
bool read_id_list(const SettingText& text, std::vector<unsigned>& ids) {
    char* end = nullptr;
    const unsigned long count = readSettingNumber(text.begin(), end);
    if (count == 0) {
        return false;
    }
    for (unsigned long read = 0; read < count; ++read) {
        if (end >= text.end()) {
            return false;
        }
        const char* const start = end + 1;
        const unsigned long id = readSettingNumber(start, end);
        if (end == start) {
            return false;
        }
        ids.push_back(static_cast<unsigned>(id));
    }
    return true;
}

} // namespace

bool QuzoActionN::construct(const char* setting, unsigned length) {
    return guarded("QuzoActionN::construct", false, [&] {
        if (getNamedObjectIds(setting, static_cast<int>(length), namedObjIds)) {
            return true;
        }
        const SettingText shown(setting, length < 32 ? length : 32);
        ActionLog::L1("Failed to construct Action %s with setting: '%.32s' (max 32 chars)",
                      getActionName(getType()), shown.begin());
        return false;
    });
}

std::string QuzoActionN::serialize() {
    return guarded("QuzoActionN::serialize", std::string(), [&] {
        if (namedObjIds.empty()) {
            return std::string("0-0");
        }
        std::string text = std::to_string(namedObjIds.size());
        for (const unsigned id : namedObjIds) {
            text.append("-").append(std::to_string(id));
        }
        return text;
    });
}

bool QuzoActionN::takeAction(KvMsgMailMessage* /*msg*/, const KvMsgMailMessage* /*originalMsg*/,
                             bool& /*msgConsumed*/, TokenMap<ScanToken>& /*tokens*/, KvIsAdapter& /*adapter*/,
                             const NamedObjMgrForScanner& /*namedObjects*/) {
    return false;
}

bool QuzoActionN::getNamedObjectIds(const char* setting, int length, std::vector<unsigned>& ids) {
    if (setting == nullptr || length <= 0) {
        return false;
    }
    return guarded("QuzoActionN::getNamedObjectIds", false,
                   [&] { return read_id_list(SettingText(setting, static_cast<unsigned>(length)), ids); });
}

} // namespace quzo
