// The section [snmp] of quzo.ini: how traps are sent.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/base/object_identifier.h"
#include "platform/config/ini_file.h"

namespace quzo::platform {

struct SnmpSettings {
    enum class Version : std::uint8_t { V1, V2c, V3 };
    enum class Level : std::uint8_t { NoAuthNoPriv, AuthNoPriv, AuthPriv };

    Version version = Version::V2c;
    ObjectIdentifier enterprise = {1, 3, 6, 1, 4, 1, 8072, 9999, 9999}; // Net-SNMP's playpen
    // Of version 3 only.
    std::string user;
    Level level = Level::AuthPriv;
    std::string authProtocol = "SHA-256";
    std::string authPassphrase;
    std::string privProtocol = "AES";
    std::string privPassphrase;
    std::string engineId; // bytes

    friend bool operator==(const SnmpSettings&, const SnmpSettings&) = default;
};

// What the file says, with the defaults for what it leaves out or says wrongly. Without an engine
// identifier there, it is made of `hostname`, so that it stays the same from one start to the next.
SnmpSettings readSnmpSettings(const IniFile& file, const std::string& hostname);

// What a value of the kind KeyType::Snmp has to be; empty when it is that.
std::string expectedOfSnmp(std::string_view key, std::string_view value);

// What version 3 lacks, at its line.
Findings checkSnmpSettings(const IniFile& file);

} // namespace quzo::platform
