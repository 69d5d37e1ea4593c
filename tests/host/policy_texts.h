// Texts of policies, and what is told of them.
#pragma once

#include <string>

#include "host/policy/policy.h"

namespace quzo::host {

// The findings, one a line.
inline std::string told(const LoadedPolicy& loaded) {
    std::string all;
    for (const platform::Finding& finding : loaded.findings) {
        all += describe(finding, "p.toml") + "\n";
    }
    return all;
}

// A rule around a condition or an action list, whose text begins at line 3.
inline std::string ruleWith(const std::string& lines) { return "[[rule]]\nid = 10\n" + lines + "\n"; }
inline std::string withWhen(const std::string& when) { return ruleWith("stop = true\nwhen = " + when); }
inline std::string withAction(const std::string& action) {
    return ruleWith("when = { always = true }\nactions = [" + action + "]");
}

} // namespace quzo::host
