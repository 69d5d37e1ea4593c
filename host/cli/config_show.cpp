// quzo config show: every setting with its value, its default and the line that set it.
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <string>
#include <vector>

#include "host/base/exit_code.h"
#include "host/cli/commands.h"
#include "host/gateway/installation.h"
#include "platform/base/column_text.h"
#include "platform/base/visible_text.h"
#include "platform/config/settings_in_force.h"

namespace quzo::host {
namespace {

using platform::SettingInForce;

constexpr std::size_t kMostValueColumns = 60; // wider values push their line, and no other, to the right

// "quzo.ini:3", or "default".
std::string placeOf(const SettingInForce& setting, const std::string& iniFile) {
    return setting.line == 0 ? "default" : iniFile + ":" + std::to_string(setting.line);
}

std::string shownValue(const SettingInForce& setting) {
    if (setting.hidden) {
        return "(set, not shown)";
    }
    if (!setting.value.empty()) {
        return platform::visibleText(setting.value);
    }
    return setting.line != 0 ? "(empty)" : "(" + defaultText(*setting.known) + ")";
}

std::string padded(const std::string& text, std::size_t columns) {
    const std::size_t taken = platform::columnsOf(text);
    return text + std::string(taken < columns ? columns - taken : 0, ' ');
}

std::string table(const std::vector<SettingInForce>& settings, const std::string& iniFile) {
    std::size_t keys = 0;
    std::size_t values = 0;
    std::size_t defaults = 0;
    for (const SettingInForce& setting : settings) {
        keys = std::max(keys, setting.known->key.size());
        values = std::max(values, std::min(platform::columnsOf(shownValue(setting)), kMostValueColumns));
        defaults = std::max(defaults, defaultText(*setting.known).size());
    }
    std::string text;
    std::string_view section;
    for (const SettingInForce& setting : settings) {
        if (section != setting.known->section) {
            text += fmt::format("{}[{}]\n", section.empty() ? "" : "\n", setting.known->section);
            section = setting.known->section;
        }
        text += fmt::format("{:<{}}  {}  {:<{}}  {}\n", setting.known->key, keys,
                            padded(shownValue(setting), values), defaultText(*setting.known), defaults,
                            platform::visibleText(placeOf(setting, iniFile)));
    }
    return text;
}

std::string jsonLines(const std::vector<SettingInForce>& settings, const std::string& iniFile) {
    using Json = nlohmann::ordered_json;
    const auto orNull = [](std::string_view text) { return text.empty() ? Json() : Json(text); };
    std::string text;
    for (const SettingInForce& setting : settings) {
        const bool none = setting.hidden || (setting.value.empty() && setting.line == 0);
        const Json line = {{"section", setting.known->section},
                           {"key", setting.known->key},
                           {"value", none ? Json() : Json(setting.value)},
                           {"hidden", setting.hidden},
                           {"default", orNull(setting.known->usual)},
                           {"set_at", setting.line == 0 ? Json() : Json(placeOf(setting, iniFile))}};
        text += line.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n";
    }
    return text;
}

} // namespace

int runConfigShow(const ConfigShowOptions& options, Console& console) {
    Installation installation;
    const bool usable =
        installation.open({.iniFile = options.iniFile, .policyFile = {}, .library = false, .make = false});
    const int exitCode = console.err.say(installation.findings());
    if (!usable) {
        return exitCode;
    }
    platform::IniSettings settings = installation.settings();
    const std::vector<SettingInForce> all = platform::settingsInForce(settings);
    console.out.write(options.json ? jsonLines(all, options.iniFile) : table(all, options.iniFile));
    return kExitOk;
}

} // namespace quzo::host
