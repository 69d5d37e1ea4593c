// Making actions by their type.
#pragma once

#include <memory>

#include "quzo/core/action.h"

namespace quzo {

// Whether this build has the class that carries out actions of the type; false for a code that is no type.
bool hasAction(QuzoAction::ActionType type) noexcept;

// A new scanner-side action of the type, which has no settings yet: they come with construct(), which a
// decrypt mark does without. The caller owns it. Null where hasAction() is false, and, with a level-1 line,
// when memory runs out. To be called after InitActionLib(), from any thread.
std::unique_ptr<QuzoAction> createAction(QuzoAction::ActionType type) noexcept;

} // namespace quzo
