// The marker actions. Their whole work is to be there: the scanner reads their type and notes the mark. The
// misspelt words of the decryption marker's lines are what log watchers look for.
#include "quzo/actions/act_markers.h"

#include "quzo/core/log.h"
#include "quzo/settings/ui_fieldless.h"

namespace quzo {

bool ActVirusClean::init(GlobalSetting& /*settings*/, LogMsg& /*log*/) { return true; }

bool ActVirusClean::construct(const char* /*setting*/, unsigned /*length*/) { return true; }

std::string ActVirusClean::serialize() { return {}; }

bool ActVirusClean::takeAction(KvMsgMailMessage* /*msg*/, const KvMsgMailMessage* /*originalMsg*/,
                               bool& /*msgConsumed*/, TokenMap<ScanToken>& /*tokens*/,
                               KvIsAdapter& /*adapter*/, const NamedObjMgrForScanner& /*namedObjects*/) {
    return true;
}

bool ActIBEEncrypt::init(GlobalSetting& /*settings*/, LogMsg& /*log*/) { return true; }

bool ActIBEEncrypt::construct(const char* /*setting*/, unsigned /*length*/) { return true; }

std::string ActIBEEncrypt::serialize() {
    uiIBEEncrypt settings;
    return settings.serialize();
}

bool ActIBEEncrypt::takeAction(KvMsgMailMessage* /*msg*/, const KvMsgMailMessage* /*originalMsg*/,
                               bool& /*msgConsumed*/, TokenMap<ScanToken>& /*tokens*/,
                               KvIsAdapter& /*adapter*/, const NamedObjMgrForScanner& /*namedObjects*/) {
    return true;
}

bool ActIBEReEncrypt::init(GlobalSetting& settings, LogMsg& log) {
    return ActIBEEncrypt::init(settings, log);
}

bool ActIBEDecrypt::init(GlobalSetting& /*settings*/, LogMsg& /*log*/) {
    ActionLog::L1("ERROR: Should't enter function ActIBEDecrypt::init");
    return true;
}

bool ActIBEDecrypt::construct(const char* /*setting*/, unsigned /*length*/) {
    ActionLog::L1("ERROR: Should't enter function ActIBEDecrypt::construct");
    return true;
}

std::string ActIBEDecrypt::serialize() {
    ActionLog::L1("ERROR: Should't enter function ActIBEDecrypt::serialize");
    return {};
}

bool ActIBEDecrypt::takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* /*originalMsg*/,
                               bool& msgConsumed, TokenMap<ScanToken>& /*tokens*/, KvIsAdapter& /*adapter*/,
                               const NamedObjMgrForScanner& /*namedObjects*/) {
    msgConsumed = false;
    return msg != nullptr;
}

} // namespace quzo
