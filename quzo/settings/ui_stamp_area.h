// Stamp texts.
#pragma once

#include <memory>
#include <string>

#include "quzo/settings/named_obj.h"

namespace quzo {

// A disclaimer. Text form: position, mode, stamp text, description: "1:2:5:Hello:1:D:".
class uiStampArea : public QuzoNamedObj {
public:
    bool construct(const char* setting, unsigned length) override;
    std::string serialize() override;
    NaObjType getType() const override { return NaObjType::StampArea; }
    std::unique_ptr<QuzoNamedObj> clone() const override { return std::make_unique<uiStampArea>(*this); }

    std::string description;     // carried with the object; no action reads it
    unsigned position = 0;       // 1: before the body text, any other value: after it
    unsigned signedTnefMode = 0; // 2: signed and TNEF messages are stamped too
    std::string stampText;       // UTF-8 with %TOKEN% names, byte 0x03 between lines
};

} // namespace quzo
