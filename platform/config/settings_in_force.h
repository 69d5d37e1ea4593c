// What every known key of quzo.ini says, for people who ask where a value comes from.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/config/known_keys.h"
#include "platform/config/quzo_settings.h"

namespace quzo::platform {

struct SettingInForce {
    const KnownKey* known = nullptr; // lives as long as the process
    std::string value;               // as programs have it, paths placed; empty: none, or hidden
    std::size_t line = 0;            // of the file; 0: the file does not say, and the default holds
    bool hidden = false;             // it may hold a password: `value` is not told
};

// All keys in the order of the table. Of settings whose check() found no error; with one, programs do not
// start, and its value is the one that is written there.
std::vector<SettingInForce> settingsInForce(IniSettings& settings);

// The default in words: "no", "archive below spool"; "none" when there is none.
std::string defaultText(const KnownKey& known);

} // namespace quzo::platform
