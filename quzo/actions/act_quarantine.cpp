// Putting a message into a quarantine area.
//
// The message is marked before it is stored, so that a later release through the scanner skips the rule that
// put it there, and the mark's rules are taken back at once, whatever the store said.
#include "quzo/actions/act_quarantine.h"

#include "quzo/actions/area_lookup.h"
#include "quzo/core/adapter.h"
#include "quzo/core/guard.h"
#include "quzo/core/log.h"
#include "quzo/core/message.h"
#include "quzo/core/quarantine_path.h"
#include "quzo/core/reprocess_mark.h"
#include "quzo/settings/ui_quarantine_area.h"

namespace quzo {
namespace {

void publish_aging(const Area& area, TokenMap<ScanToken>& tokens) {
    if (area.agingEnabled) {
        ActionLog::L3("Aging of the quarantined message is %u day(s).", area.agingDays);
    } else {
        ActionLog::L2("Aging of the quarantined message is off.");
    }
    tokens.set(ScanToken::QuarantineAging, agingText(area));
}

bool store(KvMsgMailMessage* msg, TokenMap<ScanToken>& tokens, KvIsAdapter& adapter) {
    const ReprocessMark mark(tokens, msg != nullptr ? msg->getRootEntity() : nullptr, "quarantine");
    if (!mark.placed()) {
        ActionLog::L3("Cannot place reprocessing information into malformed message.");
    }
    const std::string& queue = quarantineQueueDir();
    char path[KvIsAdapter::kPathSize] = {};
    int error = 0;
    if (adapter.quarantineMessage(error, msg, "", queue.c_str(), path) != 0) {
        ActionLog::L1("Failed to quarantine the message. err=0x%08X(%ud), path='%s'",
                      static_cast<unsigned>(error), static_cast<unsigned>(error), queue.c_str());
        return false;
    }
    path[KvIsAdapter::kPathSize - 1] = '\0';
    // The message is stored: a token that cannot be kept must not make a failure of that.
    return guarded("ActQuarantine::takeAction", true, [&] {
        tokens.set(ScanToken::QuarantinePath, path);
        return true;
    });
}

} // namespace

bool ActQuarantine::init(GlobalSetting& settings, LogMsg& /*log*/) {
    return guarded("ActQuarantine::init", false, [&] {
        std::string dir;
        const bool found = settings.getValue("queue_quarantine", dir, "general", 0) == 0;
        setQuarantineQueueDir(dir);
        return found;
    });
}

void ActQuarantine::_genQuarantinePath(std::string& path, const KvMsgMailMessage* msg) {
    guarded("ActQuarantine::_genQuarantinePath", false, [&] {
        if (msg != nullptr) {
            path = quarantinePath(quarantineQueueDir(), msg->getIdentifier());
        }
        return true;
    });
}

void ActQuarantine::fillInTokenMap(TokenMap<ScanToken>& tokens, const NamedObjMgrForScanner& namedObjects) {
    guarded("ActQuarantine::fillInTokenMap", false, [&] {
        if (namedObjIds.empty()) {
            return false;
        }
        const unsigned id = namedObjIds.front();
        tokens.set(ScanToken::QuarantineAreaId, std::to_string(id));
        const auto* area = dynamic_cast<const uiQuarantineArea*>(namedObjects.find(id));
        if (area == nullptr) {
            ActionLog::L1("Invalid name object type reference. id=%u", id);
            return false;
        }
        tokens.set(ScanToken::QuarantineArea, area->description);
        return true;
    });
}

bool ActQuarantine::takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* /*originalMsg*/,
                               bool& msgConsumed, TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                               const NamedObjMgrForScanner& namedObjects) {
    msgConsumed = true;
    return guarded("ActQuarantine::takeAction", false, [&] {
        if (namedObjIds.empty()) {
            return false;
        }
        const Area* area =
            findArea(namedObjects, namedObjIds.front(), QuzoNamedObj::NaObjType::QuarantineArea);
        if (area == nullptr) {
            return false;
        }
        publish_aging(*area, tokens);
        return store(msg, tokens, adapter);
    });
}

} // namespace quzo
