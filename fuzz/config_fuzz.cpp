// Configuration: quzo.ini and policies are read or refused with findings that name their place; nothing in
// between.
#include <memory>

#include "fuzz_input.h"
#include "host/policy/policy.h"
#include "platform/config/ini_file.h"
#include "quzo/tokens/action_utils.h"

namespace quzo::fuzz {
namespace {

void readIni(std::string_view text) {
    platform::IniFile file;
    std::vector<platform::IniProblem> problems;
    const bool good = file.parse(text, problems);
    require(good == problems.empty(), "a fault without a word, or a word without a fault");
    std::size_t last = 0;
    for (const platform::IniProblem& problem : problems) {
        require(!problem.message.empty(), "a finding without a text");
        require(problem.line == 0 || problem.line >= last, "findings out of order");
        last = problem.line;
    }
    for (const auto& [name, section] : file.sections()) {
        for (const auto& [key, entry] : section.entries) {
            require(text.find(entry.value) != std::string_view::npos, "a value that is not in the text");
        }
    }
}

void readPolicy(std::string_view text) {
    const host::LoadedPolicy loaded = host::loadPolicy(text);
    require((loaded.policy == nullptr) == host::hasErrors(loaded.findings),
            "a policy with errors, or none without");
}

} // namespace
} // namespace quzo::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool ready = [] {
        quzo::ActionUtils::_build_token_string_table();
        return true;
    }();
    quzo::fuzz::require(ready, "start-up");
    if (size == 0) {
        return 0;
    }
    const std::string_view text = quzo::fuzz::textOf(data + 1, size - 1);
    if (data[0] % 2 == 0) {
        quzo::fuzz::readIni(text);
    } else {
        quzo::fuzz::readPolicy(text);
    }
    return 0;
}
