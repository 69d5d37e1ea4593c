// Settings of the subject tagging action.
#pragma once

#include <string>

#include "quzo/settings/ui_action.h"

namespace quzo {

// Setting text: "T" or "F" for the flag, then the tag as it stands.
class uiTagSubject : public UiAction {
public:
    // False for texts of less than 2 bytes. Any first byte but "T" clears the flag.
    bool construct(const char* setting, unsigned length) override;
    std::string serialize() override;
    ActionType getType() const override { return ActionType::TagSubject; }

    // Both return 0. `text` must not be null.
    virtual int setTagSubjectAction(bool flag, const char* text);
    virtual int getTagSubjectAction(bool& flag, std::string& text);

    bool tagFlag = false; // tag signed and encrypted messages too
    std::string tagText;  // in UTF-8; may hold %TOKEN% names
};

} // namespace quzo
