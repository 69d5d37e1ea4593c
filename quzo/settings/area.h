// What quarantine and archive areas have in common.
#pragma once

#include <string>

#include "quzo/settings/named_obj.h"

namespace quzo {

// An area of a queue: how long what is stored there stays. Not a type of its own: an action asks for the kind
// of area that it works with and refuses the other.
class Area : public QuzoNamedObj {
public:
    // Text form: the days and the description, "30:1:Q:". The flag is derived: on unless the days are 0.
    bool construct(const char* setting, unsigned length) override;

    // Writes 0 days, in the object too, when aging is off.
    std::string serialize() override;

    std::string description; // shown to users as the area's name
    unsigned agingDays = 0;  // days after which what is stored here goes
    bool agingEnabled = false;
};

} // namespace quzo
