// A word between two percent signs is taken for a token that was meant when it is near to one, or is written
// in capitals, as tokens are.
#include "host/policy/token_doubts.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "platform/base/nearest.h"
#include "platform/base/visible_text.h"
#include "quzo/tokens/action_utils.h"

namespace quzo::host {
namespace {

constexpr std::size_t kShortest = 3; // letters; fewer are no token's

// The names of all tokens without their percent signs.
std::vector<std::string_view> tokenNames() {
    std::vector<std::string_view> names;
    for (const TokenEntry* entry = ActionUtils::getTokenNames(); entry->name[0] != '\0'; ++entry) {
        const std::string_view name = entry->name;
        names.push_back(name.substr(1, name.size() - 2));
    }
    return names;
}

bool isTokenLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == '&';
}

} // namespace

platform::Findings doubtsOfTokens(std::string_view text) {
    platform::Findings findings;
    const std::vector<std::string_view> names = tokenNames();
    for (std::size_t open = text.find('%'); open != std::string_view::npos; open = text.find('%', open)) {
        ++open;
        const std::string_view rest = text.substr(open);
        const auto size = static_cast<std::size_t>(std::find_if_not(rest.begin(), rest.end(), isTokenLetter) -
                                                   rest.begin());
        const std::string_view word = rest.substr(0, size);
        if (size == rest.size() || rest[size] != '%') {
            continue;
        }
        if (std::find(names.begin(), names.end(), word) != names.end()) {
            open += size + 1;
            continue;
        }
        const std::string_view near = platform::nearestWord(word, names);
        const bool shouted =
            std::none_of(word.begin(), word.end(), [](char c) { return c >= 'a' && c <= 'z'; });
        if (size >= kShortest && (shouted || !near.empty())) {
            findings.push_back(
                {platform::Finding::Severity::Warning,
                 0,
                 {},
                 platform::quotedText("%" + std::string(word) + "%") + " is no token and stays as it is",
                 near.empty() ? "see `quzo tokens`" : "did you mean '%" + std::string(near) + "%'?"});
        }
    }
    return findings;
}

} // namespace quzo::host
