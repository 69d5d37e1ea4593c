// Start-up: the texts, every action class in the order of the table, the token tables.
//
// The order is part of the contract with the host: the texts come first because they install the log that all
// later steps write to, and the token tables come last. A step's result is ignored, since a step that fails
// has said why and works with its built-in values; `quzo check` is what tells an administrator what is
// missing.
#include "quzo/core/init_action_lib.h"

#include "quzo/action_table.h"
#include "quzo/tokens/action_utils.h"

bool InitActionLib(quzo::GlobalSetting& settings, quzo::LogMsg& log) {
    quzo::ActionUtils::init(settings, log);
    for (const quzo::ActionClass& row : quzo::actionClasses()) {
        if (row.init != nullptr) {
            row.init(settings, log);
        }
    }
    quzo::ActionUtils::_build_token_string_table();
    return true;
}
