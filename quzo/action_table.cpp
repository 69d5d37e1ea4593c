// Which class carries out which type, and where its settings are read at start-up: from the first row to the
// last. That order is part of the contract with the host.
#include "quzo/action_table.h"

#include "quzo/actions/act_archive.h"
#include "quzo/actions/act_delete.h"
#include "quzo/actions/act_delete_attachment.h"
#include "quzo/actions/act_ferrowick.h"
#include "quzo/actions/act_handoff.h"
#include "quzo/actions/act_insert_xheader_tag.h"
#include "quzo/actions/act_markers.h"
#include "quzo/actions/act_postpone.h"
#include "quzo/actions/act_quarantine.h"
#include "quzo/actions/act_readdress.h"
#include "quzo/actions/act_stamp.h"
#include "quzo/actions/act_tag_subject.h"
#include "quzo/notify/act_notify.h"

namespace quzo {
namespace {

using Type = QuzoAction::ActionType;

template <typename Action>
std::unique_ptr<QuzoAction> make() {
    return std::make_unique<Action>();
}

constexpr ActionClass kClasses[] = {
    {"ActArchive", Type::Archive, make<ActArchive>, ActArchive::init},
    {"ActVirusClean", Type::VirusClean, make<ActVirusClean>, ActVirusClean::init},
    {"ActDelete", Type::Delete, make<ActDelete>, ActDelete::init},
    {"ActReaddress", Type::Readdress, make<ActReaddress>, ActReaddress::init},
    {"ActDeleteAttachment", Type::DeleteAttachment, make<ActDeleteAttachment>, ActDeleteAttachment::init},
    {"ActPostpone", Type::Postpone, make<ActPostpone>, ActPostpone::init},
    {"ActBcc", Type::Bcc, make<ActBcc>, ActBcc::init},
    {"ActQuarantine", Type::Quarantine, make<ActQuarantine>, ActQuarantine::init},
    {"ActTagSubject", Type::TagSubject, make<ActTagSubject>, ActTagSubject::init},
    {"ActStamp", Type::Stamp, make<ActStamp>, ActStamp::init},
    {"ActNotify", Type::Notify, make<ActNotify>, ActNotify::init},
    {"ActHandoff", Type::Handoff, make<ActHandoff>, ActHandoff::init},
    {"ActFerrowick", Type::Ferrowick, make<ActFerrowick>, ActFerrowick::init},
    {"ActInsertXHeaderTag", Type::InsertXHeaderTag, make<ActInsertXHeaderTag>, ActInsertXHeaderTag::init},
    {"ActIBEEncrypt", Type::IBEEncrypt, make<ActIBEEncrypt>, ActIBEEncrypt::init},
    {"ActIBEDecrypt", Type::IBEDecrypt, make<ActIBEDecrypt>, nullptr},
    {"ActIBEReEncrypt", Type::IBEReEncrypt, make<ActIBEReEncrypt>, nullptr},
};

} // namespace

std::span<const ActionClass> actionClasses() { return kClasses; }

} // namespace quzo
