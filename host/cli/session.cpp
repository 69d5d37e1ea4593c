// The order matters: the library is started with whatever settings could be read, because the policy can be
// checked only then, and a person wants to see the faults of both files at once.
#include "host/cli/session.h"

#include <algorithm>

#include "host/base/exit_code.h"
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

bool Session::start(const std::string& iniFile, const std::string& policyFile, ErrorOutput& err,
                    Purpose purpose) {
    purpose_ = purpose;
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
    if (!policyFile.empty()) {
        readPolicy(iniFile, policyFile, err);
        checkQueues(policyFile, err);
    }
    return errors_ == 0;
}

bool Session::openStore(bool make) {
    platform::StoreSettings settings;
    settings.connection = settings_.platform().store;
    settings.make = make;
    auto store = platform::ObjectStore::open(settings);
    if (!store) {
        storeFault_ = store.fault();
        return false;
    }
    store_ = std::move(*store);
    return true;
}

void Session::readObjects() {
    if (settings_.platform().store.empty()) {
        return;
    }
    if (!openStore(purpose_ == Purpose::Work)) {
        if (storeFault_->trouble == platform::StoreTrouble::Absent) {
            storeFault_.reset();
            objects_ = platform::StoredNamedObjects::none();
        }
        return;
    }
    auto objects = platform::StoredNamedObjects::load(*store_, settings_.platform().tenant);
    if (!objects) {
        storeFault_ = objects.fault();
        return;
    }
    objects_ = std::move(*objects);
}

void Session::recordReferences(bool alsoNone, ErrorOutput& err) {
    if (policy_ == nullptr || settings_.platform().store.empty() || (!store_ && !alsoNone)) {
        return;
    }
    if (store_ || openStore(false)) {
        const auto done = store_->setReferences(settings_.platform().tenant, objectReferences(*policy_));
        if (!done) {
            storeFault_ = done.fault();
        }
    }
    if (storeFault_ && storeFault_->trouble != platform::StoreTrouble::Absent) {
        err.say({0,
                 "store",
                 "warning: the policy's references to objects are not recorded (" + storeFault_->text + ")",
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
    log_ = platform::FileLog::open(platform.log, platform.logLevel, problem, purpose_ == Purpose::Work);
    if (log_ == nullptr) {
        refuse(
            {kExitConfiguration, iniFile, "the log " + platform.log + " cannot be opened (" + problem + ")",
             "see to log in [platform]"},
            err);
    }
}

void Session::readPolicy(const std::string& iniFile, const std::string& policyFile, ErrorOutput& err) {
    LoadedPolicy loaded = loadPolicyFile(policyFile, ObjectSource([this] {
                                             readObjects();
                                             return objects_.get();
                                         }));
    if (purpose_ == Purpose::Check && objects_ == nullptr && !storeFault_) {
        readObjects();
    }
    if (storeFault_) {
        // Without its objects a policy shows faults that are none.
        const bool later = storeFault_->remedy() == platform::StoreRemedy::TryAgain;
        refuse({later ? kExitTryAgain : kExitConfiguration, iniFile + ": store", storeFault_->text, {}}, err);
        return;
    }
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
