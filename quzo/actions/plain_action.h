// The base of scanner-side actions that carry their settings in themselves.
#pragma once

#include "quzo/core/action.h"

namespace quzo {

// Answers for an action that needs neither the message as received nor named objects.
class PlainAction : public QuzoAction {
public:
    bool requiresOriginalMsg() override { return false; }

    using QuzoAction::getNamedObjectIds;
    bool getNamedObjectIds(const char* /*setting*/, int /*length*/, std::vector<unsigned>& /*ids*/) override {
        return true;
    }
};

} // namespace quzo
