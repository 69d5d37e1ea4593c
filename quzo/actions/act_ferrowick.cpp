// Sample feedback: one mail for each marked entity. The receiver reads the versions off the subject, whose
// labels are an agreement with it. Nothing in here allocates between two mails, so that running out of memory
// can never make a failure of what was sent.
#include "quzo/actions/act_ferrowick.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "quzo/actions/entity_list.h"
#include "quzo/core/adapter.h"
#include "quzo/core/guard.h"
#include "quzo/core/handles.h"
#include "quzo/core/log.h"
#include "quzo/core/message.h"
#include "quzo/core/msgu.h"

namespace quzo {
namespace {

constexpr std::string_view kMailbox = QUZO_FEEDBACK_MAILBOX;
constexpr std::size_t kLineSize = 1024; // bytes, with the NUL

// Set by init, then only read.
std::string& notify_queue() {
    static std::string dir;
    return dir;
}

// The subject of feedback mails.
std::array<char, kLineSize>& pattern_info() {
    static std::array<char, kLineSize> line;
    return line;
}

void load_pattern_info(const std::string& path) {
    static constexpr const char* kKeys[] = {
        "virus_engine_version",    "virus_pattern_version",     "brisk_scan_agent_pattern_version",
        "spyware_pattern_version", "ferrowick_pattern_version", "ferrowick_exception_version"};
    const ConfigFileOnDisk file(path.c_str());
    if (!file.isLoaded()) {
        ActionLog::L2("load pattern info failed,file:%s", path.c_str());
        return;
    }
    std::array<std::string, std::size(kKeys)> versions;
    for (std::size_t i = 0; i < versions.size(); ++i) {
        file.getparam("update", kKeys[i], versions[i]);
    }
    std::snprintf(pattern_info().data(), kLineSize,
                  "QUZO Corvane Feedback:  skarn: %s, xpf$kal: %s, dmor$uvq: %s, rbwfix: %s, kvblack: %s, "
                  "kvwhite: %s",
                  versions[0].c_str(), versions[1].c_str(), versions[2].c_str(), versions[3].c_str(),
                  versions[4].c_str(), versions[5].c_str());
    ActionLog::L2("load pattern info success:%s", pattern_info().data());
}

// Envelope and header fields.
bool address(KvMsgMailMessage* mail, KvMsgEntity* root) {
    if (!msgu::setRcpt(mail, kMailbox.data(), false)) {
        ActionLog::L1("Failed to set recipient address(es) into notification message, length %u byte(s).",
                      static_cast<unsigned>(kMailbox.size()));
        return false;
    }
    const SessionHandle session(mail->getSessionInfo());
    if (session == nullptr) {
        ActionLog::L1("Invalid session information in notification message.");
        return false;
    }
    session->setSender("QUZO");
    msgu::setHeader(root, "Subject", pattern_info().data(), nullptr);
    msgu::setHeader(root, "Content-Transfer-Encoding", "7bit", nullptr);
    msgu::setHeader(root, "TO", kMailbox.data(), nullptr);
    return true;
}

} // namespace

bool ActFerrowick::init(GlobalSetting& settings, LogMsg& /*log*/) {
    return guarded("ActFerrowick::init", false, [&] {
        std::snprintf(pattern_info().data(), kLineSize, "%s", "QUZO Corvane Feedback");
        notify_queue().clear();
        std::string home;
        if (settings.getValue("queue_notify", notify_queue(), "general", 0) != 0 ||
            settings.getValue("quzo_home", home, "general", 0) != 0) {
            return false;
        }
        load_pattern_info(home.append("/config/scanner.info"));
        return true;
    });
}

const char* ActFerrowick::feedbackMailbox() { return kMailbox.data(); }

bool ActFerrowick::hasFeedbackMailbox() { return !kMailbox.ends_with(".invalid"); }

bool ActFerrowick::takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* /*originalMsg*/,
                              bool& /*msgConsumed*/, TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                              const NamedObjMgrForScanner& /*namedObjects*/) {
    return guarded("ActFerrowick::takeAction", false, [&] {
        std::vector<KvMsgEntity*> entities;
        if (!readWholeEntityList(tokens.valueOrEmpty(ScanToken::SampleEntities), entities)) {
            ActionLog::L2("No marked MIME Entities for ferrowick.");
            return true;
        }
        bool done = true;
        for (KvMsgEntity* entity : entities) {
            if (!msgu::existEntity(msg, entity)) {
                continue;
            }
            done = _do_Corvane_Feedback(entity, adapter) && done;
            if (!done) { // said of those behind the first failure too, also when they were sent
                const auto shown = static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(entity));
                ActionLog::L2("Failed to ferrowick the MIME Entity (0x%08X, id=%u).", shown, shown);
            }
        }
        return done;
    });
}

bool ActFerrowick::_do_Corvane_Feedback(KvMsgEntity* entity, KvIsAdapter& adapter) {
    return guarded("ActFerrowick::_do_Corvane_Feedback", false, [&] {
        const MessageHandle mail(KvMsg_CreateMailMessage());
        if (mail == nullptr) {
            ActionLog::L1("Failed to create Message object instance.");
            return false;
        }
        KvMsgEntity* root = mail->getRootEntity();
        if (root == nullptr) {
            ActionLog::L1("Cannot retrieve root Entity from the composing notification message.");
            return false;
        }
        if (!address(mail.get(), root)) {
            return false;
        }
        if (const int error = root->insertChildEntity(entity, -1); error != 0) {
            ActionLog::L1("Insert child entity failed:%d", error);
            return false;
        }
        unsigned ignored = 0; // a feedback that cannot be sent keeps no message from going on
        adapter.sendComposed(ignored, mail.get());
        return true;
    });
}

} // namespace quzo
