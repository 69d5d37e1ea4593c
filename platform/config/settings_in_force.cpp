// See settings_in_force.h.
#include "platform/config/settings_in_force.h"

namespace quzo::platform {
namespace {

SettingInForce inForce(const KnownKey& known, IniSettings& settings) {
    const std::string section(known.section);
    const std::string key(known.key);
    const IniFile::Entry* entry = settings.file().find(section, key);
    SettingInForce setting;
    setting.known = &known;
    setting.line = entry != nullptr ? entry->line : 0;
    setting.hidden = known.secret && entry != nullptr && !entry->value.empty();
    if (!setting.hidden && settings.getValue(key.c_str(), setting.value, section.c_str(), 0) != 0) {
        setting.value = known.usual;
    }
    return setting;
}

} // namespace

std::vector<SettingInForce> settingsInForce(IniSettings& settings) {
    std::vector<SettingInForce> all;
    for (const KnownKey& known : knownKeys()) {
        all.push_back(inForce(known, settings));
    }
    return all;
}

std::string defaultText(const KnownKey& known) {
    const std::string_view text = known.usual.empty() ? known.made : known.usual;
    return std::string(text.empty() ? "none" : text);
}

} // namespace quzo::platform
