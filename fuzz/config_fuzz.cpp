// Configuration: quzo.ini and policies are read or refused with findings that name their place; nothing in
// between. Each input is read as both.
#include <algorithm>
#include <memory>

#include "fuzz_input.h"
#include "host/policy/policy.h"
#include "platform/config/ini_file.h"
#include "platform/config/quzo_settings.h"
#include "quzo/tokens/action_utils.h"

namespace quzo::fuzz {
namespace {

std::size_t linesOf(std::string_view text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
}

void readIni(std::string_view text) {
    platform::IniFile file;
    platform::Findings problems;
    const bool good = file.parse(text, problems);
    require(good == problems.empty(), "a fault without a word, or a word without a fault");
    std::size_t last = 0;
    for (const platform::Finding& problem : problems) {
        require(!problem.problem.empty(), "a finding without a text");
        require(problem.line == 0 || problem.line >= last, "findings out of order");
        require(problem.line <= linesOf(text), "a finding behind the end");
        last = problem.line;
    }
    for (const auto& [name, section] : file.sections()) {
        for (const auto& [key, entry] : section.entries) {
            require(text.find(entry.value) != std::string_view::npos, "a value that is not in the text");
        }
    }
}

// What is wrong is told, and what is used all the same is a value of its kind.
void readSettings(std::string_view text) {
    platform::IniSettings settings;
    const bool good = settings.parse(text);
    const auto findings = settings.check();
    const bool anyError = std::any_of(findings.begin(), findings.end(), [](const platform::Finding& finding) {
        require(!finding.problem.empty(), "a finding without a text");
        return finding.severity == platform::Finding::Severity::Error;
    });
    require(good || anyError, "a line that nobody can read is no error");
    const platform::PlatformSettings used = settings.platform();
    require(used.timeout > 0 && used.logLevel >= 0 && used.logLevel <= 3, "a value out of range is used");
}

void readPolicy(std::string_view text) {
    const host::LoadedPolicy loaded = host::loadPolicy(text);
    require((loaded.policy == nullptr) == platform::hasErrors(loaded.findings),
            "a policy with errors, or none without");
    for (const platform::Finding& finding : loaded.findings) {
        require(!finding.problem.empty() && finding.line <= linesOf(text), "a finding without text or place");
        const std::string shown = platform::describe(finding, "policy.toml");
        require(
            std::none_of(shown.begin(), shown.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; }),
            "a finding with a control character");
    }
    if (loaded.policy == nullptr) {
        return;
    }
    for (const host::Rule& rule : loaded.policy->rules) {
        require(rule.id != 0, "a rule without a number");
        for (const host::RuleAction& action : rule.actions) {
            const auto made = host::makeAction(*action.type, action.setting);
            require(made != nullptr && made->serialize() == action.setting,
                    "an action that refuses its setting");
        }
    }
}

} // namespace
} // namespace quzo::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool ready = [] {
        quzo::ActionUtils::_build_token_string_table();
        return true;
    }();
    quzo::fuzz::require(ready, "start-up");
    const std::string_view text = quzo::fuzz::textOf(data, size);
    quzo::fuzz::readIni(text);
    quzo::fuzz::readSettings(text);
    quzo::fuzz::readPolicy(text);
    return 0;
}
