// What a command about named objects stands on: the settings, the store, and for some the library.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/admin/object_admin.h"
#include "host/cli/console/console.h"
#include "host/cli/object/object_options.h"
#include "host/gateway/installation.h"

namespace quzo::host {

// All arguments outlive it.
class ObjectSession {
public:
    enum class Purpose : std::uint8_t {
        Store,   // the settings and the store
        Policy,  // and the policy of -p
        Preview, // and messages are run through it; nothing is made
    };

    ObjectSession(const ObjectOptions& options, Console& console) : options_(options), console_(console) {}

    // Reads KIND and opens the installation. False when something is wrong, which has been said; exitCode()
    // is then what the program should end with.
    bool open(Purpose purpose = Purpose::Store);

    // What KIND says; none when it was left out.
    std::optional<platform::ObjectKind> kind() const { return kind_; }
    ObjectAdmin& admin() { return *admin_; }
    const Installation& installation() const { return installation_; }

    // Says a fault and keeps its exit code.
    int say(const Fault& fault);

    int exitCode() const { return exitCode_; }

private:
    const ObjectOptions& options_;
    Console& console_;
    Installation installation_;
    std::optional<ObjectAdmin> admin_; // once it is open
    std::optional<platform::ObjectKind> kind_;
    int exitCode_ = 0;
};

// The kind of that name; a fault of the command line when there is none.
MaybeFault readKind(const std::string& name, platform::ObjectKind& kind);

} // namespace quzo::host
