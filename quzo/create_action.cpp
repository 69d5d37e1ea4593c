// Which class carries out which type. A type is taken into the build by its row here.
#include "quzo/core/create_action.h"

#include <algorithm>
#include <iterator>

#include "quzo/actions/act_archive.h"
#include "quzo/actions/act_delete.h"
#include "quzo/actions/act_insert_xheader_tag.h"
#include "quzo/actions/act_markers.h"
#include "quzo/actions/act_quarantine.h"
#include "quzo/actions/act_readdress.h"
#include "quzo/actions/act_tag_subject.h"
#include "quzo/core/guard.h"

namespace quzo {
namespace {

using Type = QuzoAction::ActionType;
using Maker = std::unique_ptr<QuzoAction> (*)();

template <typename Action>
std::unique_ptr<QuzoAction> make() {
    return std::make_unique<Action>();
}

struct Row {
    Type type;
    Maker make;
};

constexpr Row kClasses[] = {
    {Type::Archive, make<ActArchive>},
    {Type::Delete, make<ActDelete>},
    {Type::Quarantine, make<ActQuarantine>},
    {Type::Readdress, make<ActReaddress>},
    {Type::VirusClean, make<ActVirusClean>},
    {Type::TagSubject, make<ActTagSubject>},
    {Type::Bcc, make<ActBcc>},
    {Type::InsertXHeaderTag, make<ActInsertXHeaderTag>},
    {Type::IBEDecrypt, make<ActIBEDecrypt>},
    {Type::IBEEncrypt, make<ActIBEEncrypt>},
    {Type::IBEReEncrypt, make<ActIBEReEncrypt>},
};

Maker maker_of(Type type) {
    const auto* row = std::find_if(std::begin(kClasses), std::end(kClasses),
                                   [type](const Row& known) { return known.type == type; });
    return row == std::end(kClasses) ? nullptr : row->make;
}

} // namespace

bool hasAction(QuzoAction::ActionType type) noexcept { return maker_of(type) != nullptr; }

std::unique_ptr<QuzoAction> createAction(QuzoAction::ActionType type) noexcept {
    const Maker maker = maker_of(type);
    return guarded("createAction", std::unique_ptr<QuzoAction>(),
                   [maker] { return maker == nullptr ? nullptr : maker(); });
}

} // namespace quzo
