// The templates of an action, one after the other. What one of them makes is in run_name_obj.cpp.
#include "quzo/notify/act_notify.h"

#include "quzo/core/guard.h"
#include "quzo/core/log.h"
#include "quzo/core/message.h"
#include "quzo/core/msgu.h"
#include "quzo/core/named_obj_cache.h"
#include "quzo/core/reprocess_mark.h"
#include "quzo/notify/notify_settings.h"

namespace quzo {
namespace {

// Whether the message is a notification that went through the scanner. Its mark alone says nothing: anybody
// could write one.
bool is_notification(KvMsgMailMessage* msg, const TokenMap<ScanToken>& tokens) {
    if (msg == nullptr || tokens.valueOrEmpty(ScanToken::Reprocessed) != "yes") {
        return false;
    }
    std::string type;
    return msgu::getHeader(msg->getRootEntity(), kReprocessTypeHeader, type) && type == "notification";
}

// The template with this id; null, said at level 1, when there is none.
const uiNotifyArea* find_template(const NamedObjMgrForScanner& namedObjects, unsigned id) {
    const QuzoNamedObj* object = namedObjects.find(id);
    if (object == nullptr) {
        ActionLog::L1("Invalid name object type reference. id=%u", id);
        return nullptr;
    }
    // An object may claim a type that it is not; both have to agree.
    const auto* area = dynamic_cast<const uiNotifyArea*>(object);
    if (object->getType() != QuzoNamedObj::NaObjType::NotifyArea || area == nullptr) {
        ActionLog::L1("Incorrect name object type reference. type=%u",
                      static_cast<unsigned>(object->getType()));
        return nullptr;
    }
    return area;
}

} // namespace

bool ActNotify::init(GlobalSetting& settings, LogMsg& /*log*/) {
    return guarded("ActNotify::init", true, [&] {
        readNotifySettings(settings);
        return true;
    });
}

bool ActNotify::takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& msgConsumed,
                           TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                           const NamedObjMgrForScanner& namedObjects) {
    msgConsumed = false;
    return guarded("ActNotify::takeAction", false, [&] {
        if (namedObjIds.empty()) {
            return false;
        }
        if (is_notification(msg, tokens)) {
            ActionLog::L2("Skip SMTP notification due to it's a notification mail already.");
            return true;
        }
        for (const unsigned id : namedObjIds) {
            const uiNotifyArea* area = find_template(namedObjects, id);
            if (area == nullptr) {
                return false;
            }
            if (!_runNameObj(msg, originalMsg, msgConsumed, tokens, adapter, *area)) {
                ActionLog::L1("Failed to send out notification, named '%s' (id=%u).",
                              area->description.c_str(), id);
                return false;
            }
        }
        return true;
    });
}

} // namespace quzo
