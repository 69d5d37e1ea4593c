// Copying a message into an archive area.
#include "quzo/actions/act_archive.h"

#include "quzo/actions/area_lookup.h"
#include "quzo/core/adapter.h"
#include "quzo/core/guard.h"
#include "quzo/core/log.h"

namespace quzo {
namespace {

constexpr std::size_t kMaxDescription = 255;

// Set by init, then only read.
std::string& queue_dir() {
    static std::string dir;
    return dir;
}

} // namespace

bool ActArchive::init(GlobalSetting& settings, LogMsg& /*log*/) {
    return guarded("ActArchive::init", false, [&] {
        queue_dir().clear();
        return settings.getValue("queue_archive", queue_dir(), "general", 0) == 0;
    });
}

bool ActArchive::takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* /*originalMsg*/,
                            bool& /*msgConsumed*/, TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                            const NamedObjMgrForScanner& namedObjects) {
    return guarded("ActArchive::takeAction", false, [&] {
        if (namedObjIds.empty()) {
            return false;
        }
        const unsigned id = namedObjIds.front();
        const Area* area = findArea(namedObjects, id, QuzoNamedObj::NaObjType::ArchiveArea);
        if (area == nullptr) {
            return false;
        }
        tokens.set(ScanToken::ArchiveAging, agingText(*area));
        tokens.set(ScanToken::ArchiveAreaId, std::to_string(id));
        tokens.set(ScanToken::ArchiveArea, area->description);
        const std::string description = area->description.substr(0, kMaxDescription);
        int error = 0;
        if (adapter.archiveMessage(error, msg, "", queue_dir().c_str(), description.c_str()) != 0) {
            ActionLog::L1("Failed to archive the message. err=0x%08X(%ud), path='%s'",
                          static_cast<unsigned>(error), static_cast<unsigned>(error), queue_dir().c_str());
            return false;
        }
        return true;
    });
}

} // namespace quzo
