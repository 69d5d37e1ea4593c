// quzo check: what would keep a policy or its settings from being used, before any mail is there.
#include <fmt/format.h>

#include <cstddef>
#include <string>

#include "host/base/exit_code.h"
#include "host/cli/commands.h"
#include "host/cli/session.h"
#include "host/policy/policy_advice.h"
#include "platform/store/connection_target.h"
#include "platform/store/store_fault.h"

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

// Says what the policy asks for in vain; returns how many lines that were.
std::size_t advise(const CheckOptions& options, const Policy& policy, Console& console) {
    const Findings findings = adviceOn(policy);
    for (Finding finding : findings) {
        finding.problem.insert(0, "warning: ");
        console.err.line("quzo: " + describe(finding, options.policyFile));
    }
    return findings.size();
}

// Without a policy nobody has opened the store; a connection string that cannot be read is a fault all the
// same.
MaybeFault connectionFault(const CheckOptions& options, const Session& session) {
    const std::string store = session.settings().platform().store;
    try {
        if (!store.empty()) {
            platform::parseConnection(store);
        }
        return std::nullopt;
    } catch (const platform::StoreFailure& failure) {
        return Fault{kExitConfiguration, options.iniFile + ": store", failure.fault().text, {}};
    }
}

} // namespace

int runCheck(const CheckOptions& options, Console& console) {
    if (options.iniFile.empty() && options.policyFile.empty()) {
        return console.err.say(
            {kExitUsage, "check", "there is nothing to check", "give -c FILE, -p FILE or both"});
    }
    Session session;
    if (!session.start(options.iniFile, options.policyFile, console.err, Session::Purpose::Check)) {
        return session.exitCode();
    }
    if (const MaybeFault fault = connectionFault(options, session)) {
        return console.err.say(*fault);
    }
    std::string text = "ok: ";
    std::size_t warnings = session.warnings();
    if (session.policy() != nullptr) {
        text += counted(session.policy()->rules.size(), "rule") + ", " +
                counted(actionsOf(*session.policy()), "action") + ", ";
        warnings += advise(options, *session.policy(), console);
    }
    console.out.write(text + counted(warnings, "warning") + "\n");
    return kExitOk;
}

} // namespace quzo::host
