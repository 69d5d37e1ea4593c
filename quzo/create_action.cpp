// Making actions by their type.
#include "quzo/core/create_action.h"

#include <algorithm>

#include "quzo/action_table.h"
#include "quzo/core/guard.h"

namespace quzo {
namespace {

using Maker = std::unique_ptr<QuzoAction> (*)();

Maker maker_of(QuzoAction::ActionType type) {
    const auto classes = actionClasses();
    const auto row = std::find_if(classes.begin(), classes.end(),
                                  [type](const ActionClass& known) { return known.type == type; });
    return row == classes.end() ? nullptr : row->make;
}

} // namespace

bool hasAction(QuzoAction::ActionType type) noexcept { return maker_of(type) != nullptr; }

std::unique_ptr<QuzoAction> createAction(QuzoAction::ActionType type) noexcept {
    const Maker maker = maker_of(type);
    return guarded("createAction", std::unique_ptr<QuzoAction>(),
                   [maker] { return maker == nullptr ? nullptr : maker(); });
}

} // namespace quzo
