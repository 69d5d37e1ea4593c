// Whether an action gives back the setting text it was given.
#pragma once

#include <string>

#include "host/policy/action_type.h"
#include "platform/base/finding.h"

namespace quzo::host {

// Makes the scanner-side action from `setting` and compares what it serialises to. `fields` are those that
// the text was made from, or null when the text itself was given. Blanks that an x-header text loses around
// its parts are no difference; `setting` then becomes the text without them. False with a fault that names
// the field, or "setting". True without a look for types that this build does not have or that have no
// setting text.
bool checkComesBack(const PolicyActionType& type, std::string& setting, const Fields* fields,
                    platform::Finding& fault);

} // namespace quzo::host
