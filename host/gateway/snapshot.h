// What messages are judged by: policy, named objects and the settings of a scan, all of one moment.
#pragma once

#include <memory>
#include <string>

#include "host/policy/policy.h"
#include "host/scan/scanner.h"
#include "platform/config/quzo_settings.h"
#include "platform/store/stored_named_objects.h"

namespace quzo::host {

// Immutable: any number of threads may use one, and whoever holds one works with it to the end, whatever is
// loaded meanwhile. It owns all that it refers to. What the library itself reads of the settings at its start
// (InitActionLib) is not in it: that stays for the life of the process, as do the log and the queues.
class Snapshot {
public:
    // `policy` must not be null. `objects` may be: there is no store, or nothing refers to it.
    Snapshot(std::shared_ptr<const Policy> policy,
             std::shared_ptr<const platform::StoredNamedObjects> objects, ScannerOptions options);

    // Without a policy file it has no rules.
    const Policy& policy() const { return scanner_.policy(); }

    // Null when there are none.
    const platform::StoredNamedObjects* objects() const { return objects_.get(); }

    // With the limits of messages, and the name under which this host writes mail: that of the settings, else
    // of the policy, else the machine's.
    const ScannerOptions& options() const { return scanner_.options(); }
    const std::string& hostname() const { return options().hostname; }

    const Scanner& scanner() const { return scanner_; }

private:
    std::shared_ptr<const platform::StoredNamedObjects> objects_;
    Scanner scanner_;
};

// What the settings say about scans.
ScannerOptions scannerOptionsOf(const platform::PlatformSettings& settings);

} // namespace quzo::host
