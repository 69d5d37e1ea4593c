// Start-up: the one ordered list of what is initialised.
//
// The order is part of the contract with the host: the texts come first because they install the log that all
// later steps write to, and the token tables come last. A step's result is ignored, since a step that fails
// has said why and works with its built-in values; `quzo check` is what tells an administrator what is
// missing.
#include "quzo/core/init_action_lib.h"

#include "quzo/actions/act_archive.h"
#include "quzo/actions/act_delete.h"
#include "quzo/actions/act_insert_xheader_tag.h"
#include "quzo/actions/act_markers.h"
#include "quzo/actions/act_quarantine.h"
#include "quzo/actions/act_readdress.h"
#include "quzo/actions/act_tag_subject.h"
#include "quzo/tokens/action_utils.h"

namespace quzo {
namespace {

using InitStep = bool (*)(GlobalSetting& settings, LogMsg& log);

bool build_token_tables(GlobalSetting& /*settings*/, LogMsg& /*log*/) {
    ActionUtils::_build_token_string_table();
    return true;
}

struct Row {
    const char* name;
    InitStep init; // null: this build does not have the class
};

constexpr Row kSteps[] = {
    {"ActionUtils", ActionUtils::init},
    {"ActArchive", ActArchive::init},
    {"ActVirusClean", ActVirusClean::init},
    {"ActDelete", ActDelete::init},
    {"ActReaddress", ActReaddress::init},
    {"ActDeleteAttachment", nullptr},
    {"ActPostpone", nullptr},
    {"ActBcc", ActBcc::init},
    {"ActQuarantine", ActQuarantine::init},
    {"ActTagSubject", ActTagSubject::init},
    {"ActStamp", nullptr},
    {"ActNotify", nullptr},
    {"ActHandoff", nullptr},
    {"ActFerrowick", nullptr},
    {"ActInsertXHeaderTag", ActInsertXHeaderTag::init},
    {"ActIBEEncrypt", ActIBEEncrypt::init},
    {"token tables", build_token_tables},
};

} // namespace
} // namespace quzo

bool InitActionLib(quzo::GlobalSetting& settings, quzo::LogMsg& log) {
    for (const quzo::Row& step : quzo::kSteps) {
        if (step.init != nullptr) {
            step.init(settings, log);
        }
    }
    return true;
}
