// Settings of the X-header action.
#pragma once

#include <string>

#include "quzo/settings/ui_action.h"

namespace quzo {

// Setting text: the field name, ":" and the value, at most 512 printable ASCII characters. Blanks around the
// two parts are dropped; neither may be empty.
class uiInsertXHeaderTag : public UiAction {
public:
    bool construct(const char* setting, unsigned length) override;
    std::string serialize() override;
    ActionType getType() const override { return ActionType::InsertXHeaderTag; }

    virtual void getXHeaderTag(std::string& name, std::string& value);
    // Stores both as they are, without any check.
    virtual void setXHeaderTag(std::string& name, std::string& value);

    std::string headerName; // without the colon
    std::string headerValue;

private:
    // Copies `text`, up to `length` bytes or its first NUL, into `out`. False unless it has 1 to 512
    // characters, all of them printable ASCII, and a colon among them.
    bool _checkXHeaderTagValidation(const char* text, int length, std::string& out);
};

} // namespace quzo
