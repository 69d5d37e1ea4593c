// What rooms below find wrong, in the one form in which programs tell it.
#pragma once

#include <string>

#include "host/base/fault.h"
#include "platform/base/finding.h"
#include "platform/store/store_fault.h"
#include "platform/store/store_format.h"

namespace quzo::host {

// Of settings, or of a policy, that were read from `file`: errors refuse them (78).
Fault faultOf(const platform::Finding& finding, const std::string& file);

// Of the store that the settings in `iniFile` name: a request that it refuses is 65, one for something that
// is not there 66, what a later moment may cure 75, anything else 78.
Fault faultOf(const platform::StoreFault& fault, const std::string& iniFile);

// What people should know of a store that was brought to a newer format when it was opened; nothing of any
// other.
MaybeFault upgradeNotice(const platform::StoreFormat& format, const std::string& iniFile);

} // namespace quzo::host
