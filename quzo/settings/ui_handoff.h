// Settings of the hand-off action.
#pragma once

#include <string>

#include "quzo/settings/ui_action.h"

namespace quzo {

// Where to hand a message to. Setting text: a blob with the keys "ip" and "port".
class uiHandoff : public UiActionWithoutObjects {
public:
    bool construct(const char* setting, unsigned length) override;
    std::string serialize() override;
    ActionType getType() const override { return ActionType::Handoff; }

    std::string ip; // address or name of the host
    int port = 0;
};

} // namespace quzo
