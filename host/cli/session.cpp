// The order matters: the library is started with whatever settings could be read, because the policy can be
// checked only then, and a person wants to see the faults of both files at once.
#include "host/cli/session.h"

#include <algorithm>

#include "host/cli/exit_code.h"
#include "host/policy/policy_objects.h"
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

// The two queues that the library asks for by directory are those that the settings give it.
platform::QueuePlaces queuePlaces(platform::IniSettings& settings) {
    platform::QueuePlaces places;
    places.spool = settings.platform().spool;
    settings.getValue("queue_quarantine", places.quarantine, "general", 0);
    settings.getValue("queue_archive", places.archive, "general", 0);
    return places;
}

} // namespace

void Session::refuse(const Fault& fault, ErrorOutput& err) {
    ++errors_;
    exitCode_ = std::max(exitCode_, fault.exitCode); // a wrong setting stays wrong: 78 before 75
    err.say(fault);
}

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
    queues_ = std::make_unique<platform::Queues>(queuePlaces(settings_));
    // Without its objects a policy would show faults that are none.
    if (!policyFile.empty() && readObjects(iniFile, err)) {
        readPolicy(policyFile, err);
        checkQueues(policyFile, err);
    }
    return errors_ == 0;
}

bool Session::readObjects(const std::string& iniFile, ErrorOutput& err) {
    const platform::PlatformSettings platform = settings_.platform();
    if (platform.store.empty()) {
        return true;
    }
    const auto fault = [&](const platform::StoreFault& problem) {
        const bool later = problem.remedy() == platform::StoreRemedy::TryAgain;
        refuse({later ? kExitTryAgain : kExitConfiguration, iniFile + ": store", problem.text, {}}, err);
        return false;
    };
    auto store = platform::ObjectStore::open({platform.store, {}});
    if (!store) {
        return fault(store.fault());
    }
    auto objects = platform::StoredNamedObjects::load(*store, platform.tenant);
    if (!objects) {
        return fault(objects.fault());
    }
    objects_ = std::move(*objects);
    store_ = std::move(*store);
    return true;
}

void Session::recordReferences(ErrorOutput& err) {
    if (!store_ || policy_ == nullptr) {
        return;
    }
    const auto done = store_->setReferences(settings_.platform().tenant, objectReferences(*policy_));
    if (!done) {
        err.say({0,
                 "store",
                 "warning: the policy's references to objects are not recorded (" + done.fault().text + ")",
                 {}});
    }
    store_.reset();
}

// Refuses a policy whose messages would have nowhere to go.
void Session::checkQueues(const std::string& policyFile, ErrorOutput& err) {
    if (policy_ == nullptr) {
        return;
    }
    for (const Rule& rule : policy_->rules) {
        for (const RuleAction& action : rule.actions) {
            const auto queue = queueOf(*action.type);
            if (queue && queues_->find(*queue) == nullptr) {
                refuse({kExitConfiguration, policyFile + ":" + std::to_string(action.line),
                        "rule " + std::to_string(rule.id) + ": " + action.type->name + " needs the " +
                            platform::queueName(*queue) + " queue, and there is none",
                        "set spool in [platform] and give the settings with -c"},
                       err);
            }
        }
    }
}

void Session::readSettings(const std::string& iniFile, ErrorOutput& err) {
    if (!iniFile.empty()) {
        settings_.load(iniFile);
        for (const platform::Finding& finding : settings_.check()) {
            const bool isError = finding.severity == platform::Finding::Severity::Error;
            ++(isError ? errors_ : warnings_);
            std::string where = iniFile + (finding.line != 0 ? ":" + std::to_string(finding.line) : "");
            exitCode_ = isError ? kExitConfiguration : exitCode_;
            err.say({kExitConfiguration, std::move(where), (isError ? "" : "warning: ") + finding.message,
                     finding.advice});
        }
    }
    const platform::PlatformSettings platform = settings_.platform();
    scannerOptions_.limits = platform.limits;
    scannerOptions_.rawValues = platform.rawValues;
    scannerOptions_.onLimit = onLimitOf(platform.onLimit);
}

void Session::openLog(const std::string& iniFile, ErrorOutput& err) {
    const platform::PlatformSettings platform = settings_.platform();
    std::string problem;
    log_ = platform::FileLog::open(platform.log, platform.logLevel, problem);
    if (log_ == nullptr) {
        refuse(
            {kExitConfiguration, iniFile, "the log " + platform.log + " cannot be opened (" + problem + ")",
             "see to log in [platform]"},
            err);
    }
}

void Session::readPolicy(const std::string& policyFile, ErrorOutput& err) {
    LoadedPolicy loaded = loadPolicyFile(policyFile, objects_.get());
    for (const Finding& finding : loaded.findings) {
        const bool isError = finding.severity == Finding::Severity::Error;
        ++(isError ? errors_ : warnings_);
        exitCode_ = isError ? kExitConfiguration : exitCode_;
        Finding shown = finding;
        shown.problem.insert(0, isError ? "" : "warning: ");
        err.line("quzo: " + describe(shown, policyFile));
    }
    policy_ = std::move(loaded.policy);
    if (policy_ == nullptr && errors_ == 0) {
        refuse({kExitConfiguration, policyFile, "cannot be used", {}}, err);
    }
}

} // namespace quzo::host
