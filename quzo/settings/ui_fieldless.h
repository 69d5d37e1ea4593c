// The administration-side objects of actions without settings.
#pragma once

#include <string>

#include "quzo/settings/ui_action.h"

namespace quzo {

// Accepts any setting and writes the empty one.
template <QuzoAction::ActionType actionType>
class UiFieldless : public UiActionWithoutObjects {
public:
    bool construct(const char* /*setting*/, unsigned /*length*/) override { return true; }
    std::string serialize() override { return {}; }
    ActionType getType() const override { return actionType; }
};

class uiDelete : public UiFieldless<QuzoAction::ActionType::Delete> {};

// The empty text it writes makes the scanner-side action delete marked attachments only.
class uiDeleteAttachment : public UiFieldless<QuzoAction::ActionType::DeleteAttachment> {};

class uiVirusClean : public UiFieldless<QuzoAction::ActionType::VirusClean> {};

class uiFerrowick : public UiFieldless<QuzoAction::ActionType::Ferrowick> {};

// Writes a fixed note of 23 characters, so that a stored rule shows what it is; nobody reads it back.
class uiIBEEncrypt : public UiFieldless<QuzoAction::ActionType::IBEEncrypt> {
public:
    std::string serialize() override;
};

} // namespace quzo
