// What a command about named objects stands on: the settings, the store, and for some the library.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/cli/console/console.h"
#include "host/cli/object/object_options.h"
#include "host/policy/policy.h"
#include "platform/config/quzo_settings.h"
#include "platform/store/object_store.h"
#include "quzo/core/log.h"

namespace quzo::host {

// The library's static state refers to the log, so there is one session at a time. All arguments outlive it.
class ObjectSession {
public:
    ObjectSession(const ObjectOptions& options, Console& console) : options_(options), console_(console) {}

    // Reads KIND and the settings, and opens the store. False when something is wrong, which has been said;
    // exitCode() is then what the program should end with. So it is with everything here that returns bool.
    bool open();

    // What KIND says; none when it was left out.
    std::optional<platform::ObjectKind> kind() const { return kind_; }
    unsigned tenant() const { return tenant_; }
    platform::ObjectStore& store() { return *store_; }
    const platform::IniSettings& settings() const { return settings_; }

    // The object of KIND and NAME; none, and said, when there is none.
    std::optional<platform::StoredObject> find();

    // Starts the library, without which no policy and no token can be read.
    bool startLibrary();

    // Loads the policy of -p, with the store's objects as they are now; null when it has faults. After
    // startLibrary().
    std::shared_ptr<const Policy> loadPolicy(const platform::StoredNamedObjects& objects);
    // The same objects, for the scanner; null when the store cannot be read.
    std::unique_ptr<platform::StoredNamedObjects> loadObjects();

    // Says a fault and keeps its exit code.
    int say(const Fault& fault);
    int say(const platform::StoreFault& fault);

    int exitCode() const { return exitCode_; }

private:
    bool readSettings();

    const ObjectOptions& options_;
    Console& console_;
    platform::IniSettings settings_;
    std::optional<platform::ObjectKind> kind_;
    unsigned tenant_ = 0;
    std::optional<platform::ObjectStore> store_;
    std::unique_ptr<LogMsg> log_;
    int exitCode_ = 0;
};

// The kind of that name; a fault of the command line when there is none.
MaybeFault readKind(const std::string& name, platform::ObjectKind& kind);

// What a fault of the store makes the program end with.
int exitCodeOf(const platform::StoreFault& fault);

// The bytes of a file, or of standard input for "-". A fault when it cannot be read or has more than
// `maxBytes`.
MaybeFault readWhole(const std::string& path, std::size_t maxBytes, std::string& bytes);

} // namespace quzo::host
