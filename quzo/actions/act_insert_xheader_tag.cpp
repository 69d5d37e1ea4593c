// Writing one configured header field.
#include "quzo/actions/act_insert_xheader_tag.h"

#include "quzo/core/guard.h"
#include "quzo/core/log.h"
#include "quzo/core/message.h"
#include "quzo/core/msgu.h"
#include "quzo/settings/ui_insert_xheader_tag.h"

namespace quzo {

bool ActInsertXHeaderTag::init(GlobalSetting& /*settings*/, LogMsg& /*log*/) { return true; }

bool ActInsertXHeaderTag::construct(const char* setting, unsigned length) {
    return guarded("ActInsertXHeaderTag::construct", false, [&] {
        headerName.clear();
        headerValue.clear();
        if (setting == nullptr || length == 0) {
            return false;
        }
        uiInsertXHeaderTag parsed;
        if (!parsed.construct(setting, length)) {
            // The refused text may hold anything, so the line shows none of it.
            ActionLog::L1("Failed to construct Action %s with setting: '%.32s' (max 32 chars)",
                          "InsertXHeaderTag", "");
            return false;
        }
        parsed.getXHeaderTag(headerName, headerValue);
        return !headerName.empty() && !headerValue.empty();
    });
}

std::string ActInsertXHeaderTag::serialize() {
    return guarded("ActInsertXHeaderTag::serialize", std::string(), [&] {
        uiInsertXHeaderTag settings;
        settings.headerName = headerName;
        settings.headerValue = headerValue;
        return settings.serialize();
    });
}

bool ActInsertXHeaderTag::takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* /*originalMsg*/,
                                     bool& msgConsumed, TokenMap<ScanToken>& /*tokens*/,
                                     KvIsAdapter& /*adapter*/,
                                     const NamedObjMgrForScanner& /*namedObjects*/) {
    return guarded("ActInsertXHeaderTag::takeAction", false, [&] {
        msgConsumed = false;
        if (msg == nullptr || headerName.empty() || headerValue.empty()) {
            return false;
        }
        KvMsgEntity* root = msg->getRootEntity();
        if (root == nullptr) {
            return false;
        }
        if (msgu::setHeader(root, headerName.c_str(), headerValue.c_str(), nullptr)) {
            return true;
        }
        ActionLog::L2("Failed to set header '%s'.", headerName.c_str());
        return false;
    });
}

} // namespace quzo
