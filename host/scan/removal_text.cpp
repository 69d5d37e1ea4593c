// The localised texts have the places %RULE% and %VIRUS%, which are filled in here; those of the part itself
// stay for the message, which knows it.
#include "host/scan/removal_text.h"

#include <algorithm>
#include <string_view>

#include "platform/base/visible_text.h"
#include "platform/config/resources.h"
#include "quzo/core/settings_source.h"

namespace quzo::host {
namespace {

std::string localised(const char* key, const char* fallback) {
    std::string text;
    KvCachedResbundle(platform::kRemovalBundle).getString(key, text);
    return text.empty() ? fallback : text;
}

void replaceFirst(std::string& text, std::string_view place, const std::string& value) {
    if (const std::size_t at = text.find(place); at != std::string::npos) {
        text.replace(at, place.size(), value);
    }
}

} // namespace

bool removesParts(const RuleAction& action) {
    return action.type->type == QuzoAction::ActionType::DeleteAttachment;
}

bool removesParts(const Rule& rule) {
    return std::any_of(rule.actions.begin(), rule.actions.end(),
                       [](const RuleAction& action) { return removesParts(action); });
}

std::string removalText(const Rule& rule, const TokenMap<ScanToken>& tokens) {
    const std::string virus = platform::visibleText(tokens.valueOrEmpty(ScanToken::VirusName));
    std::string text =
        virus.empty()
            ? localised("IDS_REMOVED", "[The attachment %NAME% (%TYPE%, %SIZE% bytes) was removed: %RULE%]")
            : localised("IDS_REMOVED_VIRUS",
                        "[The attachment %NAME% (%TYPE%, %SIZE% bytes) was removed: %RULE%; found: %VIRUS%]");
    replaceFirst(text, "%VIRUS%", virus);
    replaceFirst(text, "%RULE%", platform::visibleText(rule.name));
    return text;
}

} // namespace quzo::host
