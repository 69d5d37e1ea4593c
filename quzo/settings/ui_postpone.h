// Settings of the postpone action.
#pragma once

#include <string>

#include "quzo/settings/ui_action.h"

namespace quzo {

// The time of day from which a message may go. Setting text: a blob with the keys "hour" and "min". The
// numbers are taken as they stand; whoever acts on them judges their range.
class uiPostpone : public UiActionWithoutObjects {
public:
    bool construct(const char* setting, unsigned length) override;
    std::string serialize() override;
    ActionType getType() const override { return ActionType::Postpone; }

    int hour = 0;
    int min = 0;
};

} // namespace quzo
