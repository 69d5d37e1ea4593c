// SNMP traps as the settings want them. SendSNMPTrap (quzo/core/snmp.h) sends them.
#pragma once

#include "platform/config/snmp_settings.h"

namespace quzo::platform {

// Part of start-up, before any thread sends a trap; once in a program. Without it the defaults hold.
void configureSnmp(SnmpSettings settings);

} // namespace quzo::platform
