// SNMP traps as the settings want them. SendSNMPTrap (quzo/core/snmp.h) sends them.
#pragma once

#include "platform/config/snmp_settings.h"

namespace quzo::platform {

// Part of start-up, before any thread sends a trap; once in a program. Without it the defaults hold.
void configureSnmp(SnmpSettings settings);

// While one exists, traps of its thread are checked, and reported as sent, but none is: for runs that only
// show what there would be. One at a time.
class HeldTraps {
public:
    explicit HeldTraps(bool held);
    ~HeldTraps();
    HeldTraps(const HeldTraps&) = delete;
    HeldTraps& operator=(const HeldTraps&) = delete;

private:
    const bool before_;
};

} // namespace quzo::platform
