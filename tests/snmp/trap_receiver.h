// A receiver of traps for one test: Net-SNMP's snmptrapd on a loopback port, in the foreground, with its
// files in a temporary folder. It ends with the object, and also with the program.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace quzo::test {

struct ReceivedTrap {
    std::string version;    // "1", or "2" for the form that versions 2c and 3 share
    std::string enterprise; // of version 1, in numbers with a dot in front
    std::string generic;    // of version 1
    std::string specific;   // of version 1
    std::string agent;      // of version 1
    std::string security;   // what snmptrapd says of version and community or user
    std::string kind;       // the trap's identifier; of version 2
    std::string textName;   // of the one variable beside time and identifier
    std::string text;
    std::size_t variables = 0;
};

class TrapReceiver {
public:
    static bool isInstalled();

    // Lines for its configuration; every community is taken when `anyCommunity`. Throws std::runtime_error
    // when it does not start.
    explicit TrapReceiver(const std::string& configuration = "", bool anyCommunity = true,
                          const std::string& address = "127.0.0.1");
    ~TrapReceiver();
    TrapReceiver(const TrapReceiver&) = delete;
    TrapReceiver& operator=(const TrapReceiver&) = delete;

    std::string server() const; // for SendSNMPTrap

    // Waits until that many have arrived, or gives up after 10 seconds; returns all there are.
    std::vector<ReceivedTrap> waitFor(std::size_t count) const;

private:
    std::filesystem::path folder_;
    std::string address_;
    std::uint16_t port_ = 0;
    pid_t process_ = -1;
};

} // namespace quzo::test
