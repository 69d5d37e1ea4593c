// The order matters: the library is started with whatever settings could be read, because the policy can be
// checked only then, and a person wants to see the faults of both files at once.
#include "host/gateway/installation.h"

#include <utility>

#include "host/base/exit_code.h"
#include "host/gateway/finding_faults.h"
#include "host/gateway/settings_change.h"
#include "host/policy/policy_advice.h"
#include "host/policy/policy_objects.h"
#include "platform/config/resources.h"
#include "platform/log/file_log.h"
#include "platform/snmp/snmp.h"
#include "platform/store/connection_target.h"
#include "quzo/core/init_action_lib.h"

namespace quzo::host {
namespace {

using platform::ObjectStore;
using platform::StoredNamedObjects;
using platform::StoreFault;
using platform::StoreTrouble;

// The two queues that the library asks for by directory are those that the settings give it.
platform::QueuePlaces queuePlaces(platform::IniSettings& settings) {
    platform::QueuePlaces places;
    places.spool = settings.platform().spool;
    settings.getValue("queue_quarantine", places.quarantine, "general", 0);
    settings.getValue("queue_archive", places.archive, "general", 0);
    return places;
}

// Beside the queues, since it counts for all of them. Null without a spool.
std::shared_ptr<platform::NoticeLedger> noticeLedger(std::string spool) {
    if (spool.empty()) {
        return nullptr;
    }
    spool += spool.ends_with('/') ? "notices" : "/notices";
    return std::make_shared<platform::NoticeLedger>(std::move(spool));
}

// Reads the file, if there is one, and gives what is wrong with it.
Faults loadSettings(const std::string& iniFile, platform::IniSettings& settings) {
    Faults faults;
    if (!iniFile.empty()) {
        settings.load(iniFile);
        for (const platform::Finding& finding : settings.check()) {
            faults.push_back(faultOf(finding, iniFile));
        }
    }
    return faults;
}

// A store that nobody opened; a connection string that cannot be read is a fault all the same.
std::optional<StoreFault> connectionFault(const std::string& connection) {
    try {
        platform::parseConnection(connection);
        return std::nullopt;
    } catch (const platform::StoreFailure& failure) {
        return failure.fault();
    }
}

} // namespace

// A snapshot in the making.
struct Installation::Loaded {
    Faults findings;
    std::shared_ptr<const Policy> policy = std::make_shared<const Policy>();
    std::shared_ptr<const StoredNamedObjects> objects;
    std::optional<StoreFault> storeFault;
};

unsigned Installation::tenant() const { return needs_.tenant.value_or(settings_.platform().tenant); }

bool Installation::open(Needs needs) {
    needs_ = std::move(needs);
    findings_ = loadSettings(needs_.iniFile, settings_);
    if (needs_.library && !startLibrary()) {
        return false;
    }
    if (needs_.store == Needs::Store::Open && !hasErrors(findings_)) {
        openNeededStore();
    }
    if (needs_.library && (needs_.store != Needs::Store::Open || store_)) {
        Loaded loaded = load();
        findings_.insert(findings_.end(), loaded.findings.begin(), loaded.findings.end());
        if (!hasErrors(findings_)) {
            snapshot_ = std::make_shared<const Snapshot>(std::move(loaded.policy), std::move(loaded.objects),
                                                         scannerOptionsOf(settings_.platform()),
                                                         noticeOptionsOf(settings_.platform(), notices_));
        }
    }
    return !hasErrors(findings_);
}

bool Installation::startLibrary() {
    const platform::PlatformSettings platform = settings_.platform();
    std::string problem;
    log_ = needs_.quiet ? platform::FileLog::open("stderr", 0, problem)
                        : platform::FileLog::open(platform.log, platform.logLevel, problem, needs_.make);
    if (log_ == nullptr) {
        findings_.push_back({kExitConfiguration, needs_.iniFile,
                             "the log " + platform.log + " cannot be opened (" + problem + ")",
                             "see to log in [platform]"});
        return false;
    }
    if (needs_.make && platform.logMessages != platform::PlatformSettings::LogMessages::Off) {
        messageLog_.emplace(*log_, platform.logMessages);
    }
    std::string locale;
    settings_.getValue("locale", locale, "general", 0);
    platform::setResourceLocale(locale);
    platform::loadResources(); // before threads start; without texts there are built-in names
    platform::configureSnmp(settings_.snmp());
    InitActionLib(settings_, *log_);
    queues_ = std::make_unique<platform::Queues>(queuePlaces(settings_));
    notices_ = noticeLedger(platform.spool);
    return true;
}

void Installation::openNeededStore() {
    const std::string connection = settings_.platform().store;
    if (connection.empty()) {
        findings_.push_back({kExitConfiguration, needs_.iniFile, "there is no store",
                             "set store in [platform], such as sqlite3:///var/lib/quzo/store.db"});
        return;
    }
    auto opened = ObjectStore::open({.connection = connection, .author = {}, .make = needs_.make});
    if (opened) {
        store_ = std::move(*opened);
        if (MaybeFault notice = upgradeNotice(store_->format(), needs_.iniFile)) {
            findings_.push_back(*std::move(notice));
        }
    } else {
        findings_.push_back(faultOf(opened.fault(), needs_.iniFile));
    }
}

Installation::Loaded Installation::load() {
    Loaded loaded;
    const std::string store = settings_.platform().store;
    if (!needs_.policyFile.empty()) {
        readPolicy(loaded);
    } else if (needs_.store == Needs::Store::Open) {
        readObjects(loaded);
    } else if (needs_.store == Needs::Store::Checked && !store.empty()) {
        loaded.storeFault = connectionFault(store);
    }
    if (loaded.storeFault) {
        // Without its objects a policy shows faults that are none.
        loaded.policy = std::make_shared<const Policy>();
        loaded.findings = {faultOf(*loaded.storeFault, needs_.iniFile)};
        return loaded;
    }
    if (needs_.run) {
        checkQueues(loaded);
    }
    if (needs_.advice && !hasErrors(findings_) && !hasErrors(loaded.findings)) {
        addAdvice(loaded);
    }
    return loaded;
}

void Installation::readObjects(Loaded& loaded) {
    const std::string connection = settings_.platform().store;
    if (connection.empty()) {
        return;
    }
    if (needs_.store != Needs::Store::Open) {
        auto opened = ObjectStore::open({.connection = connection, .author = {}, .make = needs_.make});
        if (!opened && opened.fault().trouble == StoreTrouble::Absent) {
            loaded.objects = StoredNamedObjects::none();
            return;
        }
        if (!opened) {
            loaded.storeFault = opened.fault();
            return;
        }
        store_ = std::move(*opened);
        if (MaybeFault notice = upgradeNotice(store_->format(), needs_.iniFile)) {
            loaded.findings.push_back(*std::move(notice));
        }
    }
    auto objects = StoredNamedObjects::load(*store_, tenant());
    if (objects) {
        loaded.objects = std::move(*objects);
    } else {
        loaded.storeFault = objects.fault();
    }
}

void Installation::readPolicy(Loaded& loaded) {
    bool asked = false;
    const auto objects = [&] {
        asked = true;
        readObjects(loaded);
        return loaded.objects.get();
    };
    LoadedPolicy read = loadPolicyFile(needs_.policyFile, ObjectSource(objects));
    if (!asked && needs_.store != Needs::Store::ForPolicy) {
        objects();
    }
    for (const platform::Finding& finding : read.findings) {
        Fault fault = faultOf(finding, needs_.policyFile);
        if (fault.isError() && read.readError == ENOENT) {
            fault.exitCode = kExitNoInput;
        }
        loaded.findings.push_back(std::move(fault));
    }
    if (read.policy != nullptr) {
        loaded.policy = std::move(read.policy);
    } else if (!hasErrors(loaded.findings)) {
        loaded.findings.push_back({kExitConfiguration, needs_.policyFile, "cannot be used", {}});
    }
}

// Refuses a policy whose messages would have nowhere to go.
void Installation::checkQueues(Loaded& loaded) const {
    for (const Rule& rule : loaded.policy->rules) {
        for (const RuleAction& action : rule.actions) {
            for (const platform::QueueKind queue : queuesOf(*action.type)) {
                if (queues_->find(queue) == nullptr) {
                    loaded.findings.push_back(
                        {kExitConfiguration, needs_.policyFile + ":" + std::to_string(action.line),
                         "rule " + std::to_string(rule.id) + ": " + action.type->name + " needs the " +
                             platform::queueName(queue) + " queue, and there is none",
                         "set spool in [platform] and give the settings with -c"});
                }
            }
        }
    }
}

void Installation::addAdvice(Loaded& loaded) const {
    const bool hasNextHop = settings_.platform().nextHop.has_value();
    for (const platform::Finding& finding : adviceOn(*loaded.policy, hasNextHop, loaded.objects.get())) {
        loaded.findings.push_back(faultOf(finding, needs_.policyFile));
    }
}

Faults Installation::reload() {
    const std::scoped_lock one(reloading_);
    platform::IniSettings settings;
    Faults findings = loadSettings(needs_.iniFile, settings);
    Loaded loaded = load();
    findings.insert(findings.end(), loaded.findings.begin(), loaded.findings.end());
    if (hasErrors(findings)) {
        return findings;
    }
    for (const std::string& key : keysForRestart(settings_.file(), settings.file())) {
        findings.push_back(Fault::warning(needs_.iniFile, key + " has changed and is read at the start only",
                                          "start the program anew"));
    }
    ScannerOptions options = scannerOptionsOf(settings.platform());
    options.rawValues = settings_.platform().rawValues; // the library reads that setting too
    auto snapshot =
        std::make_shared<const Snapshot>(std::move(loaded.policy), std::move(loaded.objects),
                                         std::move(options), noticeOptionsOf(settings.platform(), notices_));
    const std::scoped_lock lock(mutex_);
    snapshot_ = std::move(snapshot);
    return findings;
}

std::shared_ptr<const Snapshot> Installation::snapshot() const {
    const std::scoped_lock lock(mutex_);
    return snapshot_;
}

} // namespace quzo::host
