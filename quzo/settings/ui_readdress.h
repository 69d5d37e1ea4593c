// Settings of the re-address and blind-copy actions.
#pragma once

#include <string>

#include "quzo/settings/ui_action.h"

namespace quzo {

// The new recipients, separated by ";". Setting text: a blob with the key "rcpt".
class uiReaddress : public UiActionWithoutObjects {
public:
    bool construct(const char* setting, unsigned length) override;
    std::string serialize() override;
    ActionType getType() const override { return ActionType::Readdress; }

    // The text of `rcpt`; holds until it is set anew.
    virtual const char* getRcpt();
    // Replaces `rcpt`. The pointer must not be null.
    virtual void setRcpt(const char* recipients);

    std::string rcpt;
};

// Reads and writes exactly as uiReaddress.
class uiBcc : public uiReaddress {
public:
    ActionType getType() const override { return ActionType::Bcc; }
};

} // namespace quzo
