// The one table of action classes.
#pragma once

#include <memory>
#include <span>

#include "quzo/core/action.h"
#include "quzo/core/log.h"
#include "quzo/core/settings_source.h"

namespace quzo {

// A class that carries out a type. A type is taken into the build by its row.
struct ActionClass {
    const char* name;
    QuzoAction::ActionType type;
    std::unique_ptr<QuzoAction> (*make)(); // throws std::bad_alloc; null: this build does not have the class
    bool (*init)(GlobalSetting& settings, LogMsg& log); // null: it reads no settings of its own
};

// All of them, in the order in which they are initialised; each type once.
std::span<const ActionClass> actionClasses();

} // namespace quzo
