// The order matters: the library is started with whatever settings could be read, because the policy can be
// checked only then, and a person wants to see the faults of both files at once.
#include "host/cli/session.h"

#include "host/cli/exit_code.h"
#include "host/cli/fault.h"
#include "platform/config/resources.h"
#include "platform/log/file_log.h"
#include "quzo/core/init_action_lib.h"

namespace quzo::host {
namespace {

OnLimit onLimitOf(platform::PlatformSettings::OnLimit setting) {
    switch (setting) {
        case platform::PlatformSettings::OnLimit::Pass:
            return OnLimit::Pass;
        case platform::PlatformSettings::OnLimit::Refuse:
            return OnLimit::Fail;
        case platform::PlatformSettings::OnLimit::Defer:
            break;
    }
    return OnLimit::Defer;
}

} // namespace

bool Session::start(const std::string& iniFile, const std::string& policyFile, ErrorOutput& err) {
    readSettings(iniFile, err);
    openLog(iniFile, err);
    if (log_ == nullptr) {
        return false;
    }
    std::string locale;
    settings_.getValue("locale", locale, "general", 0);
    platform::setResourceLocale(locale);
    platform::loadResources(); // before threads start; without texts there are built-in names
    InitActionLib(settings_, *log_);
    if (!policyFile.empty()) {
        readPolicy(policyFile, err);
    }
    return errors_ == 0;
}

void Session::readSettings(const std::string& iniFile, ErrorOutput& err) {
    if (!iniFile.empty()) {
        settings_.load(iniFile);
        for (const platform::Finding& finding : settings_.check()) {
            const bool isError = finding.severity == platform::Finding::Severity::Error;
            ++(isError ? errors_ : warnings_);
            std::string where = iniFile + (finding.line != 0 ? ":" + std::to_string(finding.line) : "");
            err.say({kExitConfiguration, std::move(where), (isError ? "" : "warning: ") + finding.message,
                     finding.advice});
        }
    }
    const platform::PlatformSettings platform = settings_.platform();
    scannerOptions_.limits = platform.limits;
    scannerOptions_.onLimit = onLimitOf(platform.onLimit);
}

void Session::openLog(const std::string& iniFile, ErrorOutput& err) {
    const platform::PlatformSettings platform = settings_.platform();
    std::string problem;
    log_ = platform::FileLog::open(platform.log, platform.logLevel, problem);
    if (log_ == nullptr) {
        ++errors_;
        err.say({kExitConfiguration, iniFile,
                 "the log " + platform.log + " cannot be opened (" + problem + ")",
                 "see to log in [platform]"});
    }
}

void Session::readPolicy(const std::string& policyFile, ErrorOutput& err) {
    LoadedPolicy loaded = loadPolicyFile(policyFile);
    for (const Finding& finding : loaded.findings) {
        const bool isError = finding.severity == Finding::Severity::Error;
        ++(isError ? errors_ : warnings_);
        Finding shown = finding;
        shown.problem.insert(0, isError ? "" : "warning: ");
        err.line("quzo: " + describe(shown, policyFile));
    }
    policy_ = std::move(loaded.policy);
    if (policy_ == nullptr && errors_ == 0) {
        ++errors_;
        err.say({kExitConfiguration, policyFile, "cannot be used", {}});
    }
}

} // namespace quzo::host
