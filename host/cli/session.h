// What a command that works with messages stands on: settings, log, named objects, queues, policy.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "host/base/fault.h"
#include "host/cli/console/error_output.h"
#include "host/policy/policy.h"
#include "host/scan/scanner.h"
#include "platform/config/quzo_settings.h"
#include "platform/queue/queues.h"
#include "platform/store/object_store.h"
#include "platform/store/stored_named_objects.h"
#include "quzo/core/log.h"

namespace quzo::host {

// The library's static state refers to the log, so a session lives as long as actions are used, and there is
// one at a time.
class Session {
public:
    enum class Purpose : std::uint8_t {
        Work,
        Look,  // nothing is made: neither the log nor the store, and a store that is not there has no objects
        Check, // the same, and the store is opened also when no rule needs it
    };

    // Reads the settings, starts the library and loads the policy; each file name may be empty, for the
    // built-in settings and for no policy. The store is opened when the policy refers to a named object, or
    // for a check. Every fault and warning is said, each on a line of its own. False when one of them is an
    // error; then nothing may be done with messages. exitCode() is then what the program should end with.
    bool start(const std::string& iniFile, const std::string& policyFile, ErrorOutput& err,
               Purpose purpose = Purpose::Work);

    // Tells the store which objects the policy refers to, so that nobody removes them, and closes it. A fault
    // is a warning: the messages can be worked on all the same. For a policy that refers to none the store is
    // opened when `alsoNone` asks for it.
    void recordReferences(bool alsoNone, ErrorOutput& err);

    // Null without a policy file.
    const std::shared_ptr<const Policy>& policy() const { return policy_; }
    const ScannerOptions& scannerOptions() const { return scannerOptions_; }

    // As they were in the store at start; null without a store, and when the policy refers to none. Threads
    // may share it.
    const platform::StoredNamedObjects* namedObjects() const { return objects_.get(); }

    // Never null; without directories in the settings it has no queues.
    platform::Queues* queues() { return queues_.get(); }

    const platform::IniSettings& settings() const { return settings_; }

    unsigned warnings() const { return warnings_; }
    int exitCode() const { return exitCode_; }

private:
    void readSettings(const std::string& iniFile, ErrorOutput& err);
    void openLog(const std::string& iniFile, ErrorOutput& err);
    bool openStore(bool make);
    void readObjects();
    void readPolicy(const std::string& iniFile, const std::string& policyFile, ErrorOutput& err);
    void checkQueues(const std::string& policyFile, ErrorOutput& err);
    void refuse(const Fault& fault, ErrorOutput& err);

    platform::IniSettings settings_;
    std::unique_ptr<LogMsg> log_;
    Purpose purpose_ = Purpose::Work;
    std::optional<platform::ObjectStore> store_; // when it has been opened
    std::optional<platform::StoreFault> storeFault_;
    std::unique_ptr<platform::StoredNamedObjects> objects_;
    std::unique_ptr<platform::Queues> queues_;
    std::shared_ptr<const Policy> policy_;
    ScannerOptions scannerOptions_;
    int exitCode_ = 0;
    unsigned errors_ = 0;
    unsigned warnings_ = 0;
};

} // namespace quzo::host
