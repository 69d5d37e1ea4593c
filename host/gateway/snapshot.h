// What messages are judged by: policy, named objects and the settings of a scan, all of one moment.
#pragma once

#include <memory>
#include <string>

#include "host/policy/policy.h"
#include "host/scan/scanner.h"
#include "platform/config/quzo_settings.h"
#include "platform/mta/notice_ledger.h"
#include "platform/store/stored_named_objects.h"

namespace quzo::host {

// What becomes of the notifications that actions compose.
struct NoticeOptions {
    std::shared_ptr<platform::NoticeLedger> ledger{}; // null: they are not counted, and there is no limit
    unsigned limit = 0;                               // an hour, for one recipient and rule; 0: none
    bool autoSubmitted = false;                       // they say that a program wrote them
};

// Immutable: any number of threads may use one, and whoever holds one works with it to the end, whatever is
// loaded meanwhile. It owns all that it refers to. What the library itself reads of the settings at its start
// (InitActionLib) is not in it: that stays for the life of the process, as do the log and the queues.
class Snapshot {
public:
    // `policy` must not be null. `objects` may be: there is no store, or nothing refers to it.
    Snapshot(std::shared_ptr<const Policy> policy,
             std::shared_ptr<const platform::StoredNamedObjects> objects, ScannerOptions options,
             NoticeOptions notices = {});

    // Without a policy file it has no rules.
    const Policy& policy() const { return scanner_.policy(); }

    // Null when there are none.
    const platform::StoredNamedObjects* objects() const { return objects_.get(); }

    // With the limits of messages, and the name under which this host writes mail: that of the settings, else
    // of the policy, else the machine's.
    const ScannerOptions& options() const { return scanner_.options(); }
    const std::string& hostname() const { return options().hostname; }

    const Scanner& scanner() const { return scanner_; }

    const NoticeOptions& notices() const { return notices_; }

private:
    std::shared_ptr<const platform::StoredNamedObjects> objects_;
    Scanner scanner_;
    NoticeOptions notices_;
};

// What the settings say about scans.
ScannerOptions scannerOptionsOf(const platform::PlatformSettings& settings);

// What the settings say about notifications, which are counted in `ledger`.
NoticeOptions noticeOptionsOf(const platform::PlatformSettings& settings,
                              std::shared_ptr<platform::NoticeLedger> ledger);

} // namespace quzo::host
