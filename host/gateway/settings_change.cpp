// See settings_change.h.
#include "host/gateway/settings_change.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <string_view>

namespace quzo::host {
namespace {

using platform::IniFile;

bool isOfSnapshot(std::string_view section, std::string_view key) {
    constexpr std::string_view kKeys[] = {
        "hostname", "notify_auto_submitted", "notify_automatic", "notify_limit",
        "on_limit", "removal_note",          "stamp_once"};
    return section == "platform" && (key.starts_with("limit_") ||
                                     std::find(std::begin(kKeys), std::end(kKeys), key) != std::end(kKeys));
}

// Adds the keys of `some` whose values `others` does not have.
void addDifferent(const IniFile& some, const IniFile& others, std::set<std::string>& out) {
    for (const auto& [section, content] : some.sections()) {
        for (const auto& [key, entry] : content.entries) {
            const IniFile::Entry* other = others.find(section, key);
            if ((other == nullptr || other->value != entry.value) && !isOfSnapshot(section, key)) {
                std::string name = "[";
                out.insert(name.append(section).append("] ").append(key));
            }
        }
    }
}

} // namespace

std::vector<std::string> keysForRestart(const IniFile& before, const IniFile& after) {
    std::set<std::string> keys;
    addDifferent(before, after, keys);
    addDifferent(after, before, keys);
    return {keys.begin(), keys.end()};
}

} // namespace quzo::host
