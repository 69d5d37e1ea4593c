// quzo check: what would keep a policy or its settings from being used, before any mail is there.
#include <fmt/format.h>

#include <cstddef>
#include <string>

#include "host/base/exit_code.h"
#include "host/cli/commands.h"
#include "host/gateway/installation.h"
#include "host/gateway/standard_files.h"

namespace quzo::host {
namespace {

std::string counted(std::size_t number, const char* noun) {
    return fmt::format("{} {}{}", number, noun, number == 1 ? "" : "s");
}

std::size_t actionsOf(const Policy& policy) {
    std::size_t count = 0;
    for (const Rule& rule : policy.rules) {
        count += rule.actions.size();
    }
    return count;
}

} // namespace

int runCheck(const CheckOptions& options, Console& console) {
    if (options.iniFile.empty() && options.policyFile.empty()) {
        return console.err.say(
            {kExitUsage, "check", "there is nothing to check",
             std::string("give -c FILE, -p FILE or both, or keep them in ") + standardFolder()});
    }
    Installation installation;
    const bool usable = installation.open({.iniFile = options.iniFile,
                                           .policyFile = options.policyFile,
                                           .store = Needs::Store::Checked,
                                           .advice = true,
                                           .make = false});
    const int exitCode = console.err.say(installation.findings());
    if (!usable) {
        return exitCode;
    }
    std::string text = "ok: ";
    if (!options.policyFile.empty()) {
        const Policy& policy = installation.snapshot()->policy();
        text += counted(policy.rules.size(), "rule") + ", " + counted(actionsOf(policy), "action") + ", ";
    }
    console.out.write(text + counted(installation.findings().size(), "warning") + "\n");
    return kExitOk;
}

} // namespace quzo::host
