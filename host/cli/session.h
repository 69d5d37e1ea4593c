// What a command that works with messages stands on: settings, log, policy.
#pragma once

#include <memory>
#include <string>

#include "host/cli/error_output.h"
#include "host/policy/policy.h"
#include "host/scan/scanner.h"
#include "platform/config/quzo_settings.h"
#include "quzo/core/log.h"

namespace quzo::host {

// The library's static state refers to the log, so a session lives as long as actions are used, and there is
// one at a time.
class Session {
public:
    // Reads the settings, starts the library and loads the policy; each file name may be empty, for the
    // built-in settings and for no policy. Every fault and warning is said, each on a line of its own. False
    // when one of them is an error; then nothing may be done with messages.
    bool start(const std::string& iniFile, const std::string& policyFile, ErrorOutput& err);

    // Null without a policy file.
    const std::shared_ptr<const Policy>& policy() const { return policy_; }
    const ScannerOptions& scannerOptions() const { return scannerOptions_; }

    unsigned warnings() const { return warnings_; }

private:
    void readSettings(const std::string& iniFile, ErrorOutput& err);
    void openLog(const std::string& iniFile, ErrorOutput& err);
    void readPolicy(const std::string& policyFile, ErrorOutput& err);

    platform::IniSettings settings_;
    std::unique_ptr<LogMsg> log_;
    std::shared_ptr<const Policy> policy_;
    ScannerOptions scannerOptions_;
    unsigned errors_ = 0;
    unsigned warnings_ = 0;
};

} // namespace quzo::host
