// The section [milter] of quzo.ini: where a mail server finds quzo, and whose word counts.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/network.h"
#include "platform/base/next_hop.h"
#include "platform/config/ini_file.h"

namespace quzo::platform {

// Where to listen.
struct MilterSocket {
    enum class Family : std::uint8_t { Unix, Inet, Inet6 };

    // Reads "unix:/absolute/path", "inet:PORT@HOST" (a name or an IPv4 address) or "inet6:PORT@[ADDRESS]". A
    // path has at most 107 bytes, since a socket's address has no room for more. Nothing for any other text.
    static std::optional<MilterSocket> parse(std::string_view text);

    Family family = Family::Unix;
    std::string place{};    // the path, or the host without brackets
    std::uint16_t port = 0; // not of Unix

    friend bool operator==(const MilterSocket&, const MilterSocket&) = default;
};

struct MilterSettings {
    MilterSocket socket{MilterSocket::Family::Unix, "/run/quzo/milter.sock", 0};
    std::string control;              // path of the socket for commands; empty: milter.control in the spool
    Networks trustedAddresses;        // of clients whose marks and header fields are believed
    std::string rescanDaemonName;     // of the mail server's service that brings mail back; empty: none
    std::optional<NextHop> rescanHop; // where that service listens; none: nothing is sent there
    // Header fields by which another scanner tells what it found; empty: none.
    std::string headerVirusName;
    std::string headerWholeMail;
    std::string headerDeleteAll;

    friend bool operator==(const MilterSettings&, const MilterSettings&) = default;
};

// What the file says, with the defaults for what it leaves out or says wrongly; of a list, what can be read.
MilterSettings readMilterSettings(const IniFile& file);

// What a value of the kind KeyType::Milter has to be; empty when it is that. Lists are checkMilterSettings's.
std::string expectedOfMilter(std::string_view key, std::string_view value);

// One error for each entry of trusted_addresses that is no network, and one for a rescan_hop whose mail would
// come in as everybody's.
Findings checkMilterSettings(const IniFile& file);

} // namespace quzo::platform
