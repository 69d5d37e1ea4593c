// An installation: what its settings name, opened and checked for a program that is to work with it.
#pragma once

#include <cstdint>
#include <ctime>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "host/base/fault.h"
#include "host/gateway/message_line.h"
#include "host/gateway/snapshot.h"
#include "platform/config/quzo_settings.h"
#include "platform/mta/notice_ledger.h"
#include "platform/queue/queues.h"
#include "platform/store/object_store.h"

namespace quzo::host {

// What a program needs of an installation. What it does not need is not opened.
struct Needs {
    enum class Store : std::uint8_t {
        ForPolicy, // its objects, when the policy refers to one
        Checked,   // the same, and it is looked at also when no rule refers to it
        Open,      // the settings must name one, and it stays open for store()
    };

    std::string iniFile;                           // empty: the built-in settings
    std::string policyFile;                        // empty: a policy without rules
    std::optional<unsigned> tenant = std::nullopt; // whose objects; none: the settings' tenant
    Store store = Store::ForPolicy;

    // The library, the log and the snapshot. Without it store() and settings() are all there is.
    bool library = true;

    // Messages will be run through the policy: one whose actions need a queue that is not there is refused.
    bool run = true;

    // Also find what the policy asks for in vain or hardly means.
    bool advice = false;

    // Make the log and the store where they are not there. Without it nothing on disk is made or changed, and
    // a store that is not there has no objects.
    bool make = true;

    // Log nothing, wherever the log is.
    bool quiet = false;
};

// The library's static state refers to the log, so there is one installation at a time and it lives as long
// as actions are used. Opened and given to other threads by one; only snapshot(), queues() and reload() may
// then be used by several.
class Installation {
public:
    Installation() = default;
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;

    // Opens what is needed, once. False when a finding is an error: then nothing may be done with it. Every
    // fault of settings and policy is found, not only the first.
    bool open(Needs needs);

    // What was found, in the order in which people should read it.
    const Faults& findings() const { return findings_; }

    // Reads settings and policy again and takes the objects as they are in the store by then. Without errors
    // snapshot() gives the new one from then on, and messages in hand finish with theirs; with an error among
    // what it returns all stays as it is. The library's own settings, log, queues, store and tenant are
    // those of open(): a change of them takes a new process, and is a warning here.
    Faults reload();

    // Null without Needs::library, and before an open() without errors.
    std::shared_ptr<const Snapshot> snapshot() const;

    // Never null after an open() with Needs::library; without directories in the settings it has no queues.
    platform::Queues* queues() const { return queues_.get(); }

    // Cleans up after killed processes in the queues, when the policy's actions use any and it is due, and
    // does what sendNoticeSummaries() does, at most once an hour. A fault is a warning: what cannot be tidied
    // up is in nobody's way.
    MaybeFault tidyQueuesIfDue(std::time_t now);

    // Puts mails into the outgoing queue that sum up the notifications which were held back in an hour that
    // is over; for programs that work on the queues, as often as they like. A fault is a warning: what could
    // not be sent waits for the next time. After an open() with Needs::library.
    MaybeFault sendNoticeSummaries(std::time_t now);

    // Tells the store which objects the policy refers to, so that nobody removes them, and closes it unless
    // it stays open. A fault is a warning: the messages can be worked on all the same. For a policy that
    // refers to none the store is opened when `alsoNone` asks for it.
    MaybeFault recordReferences(bool alsoNone);

    // Only with Needs::Store::Open.
    platform::ObjectStore& store() { return *store_; }
    unsigned tenant() const;

    // Where messages are told of; null when the settings do not ask for it, and with Needs::make off.
    const MessageLog* messageLog() const { return messageLog_ ? &*messageLog_ : nullptr; }

    // Those of open().
    const platform::IniSettings& settings() const { return settings_; }

private:
    struct Loaded;

    bool startLibrary();
    void openNeededStore();
    Loaded load();
    void readObjects(Loaded& loaded);
    void readPolicy(Loaded& loaded);
    void checkQueues(Loaded& loaded) const;
    void addAdvice(Loaded& loaded) const;

    Needs needs_;
    Faults findings_;
    platform::IniSettings settings_;
    std::unique_ptr<platform::FileLog> log_;
    std::optional<MessageLog> messageLog_;
    std::unique_ptr<platform::Queues> queues_;
    std::shared_ptr<platform::NoticeLedger> notices_; // null without a spool
    std::optional<platform::ObjectStore> store_;      // when it has been opened

    std::mutex reloading_; // one at a time
    mutable std::mutex mutex_;
    std::shared_ptr<const Snapshot> snapshot_; // guarded by mutex_
};

} // namespace quzo::host
