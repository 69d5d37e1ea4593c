// snmptrapd writes each trap between two marks, with its strings in hexadecimal digits, since texts may hold
// anything.
#include "trap_receiver.h"

#include <arpa/inet.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <thread>

namespace quzo::test {
namespace {

namespace fs = std::filesystem;
constexpr const char* kProgram = "/usr/sbin/snmptrapd";
constexpr std::string_view kBegin = "@@BEGIN|";
constexpr std::string_view kEnd = "@@END\n";

std::uint16_t freePort(bool ipv6) {
    const int socket = ::socket(ipv6 ? AF_INET6 : AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in6 six{};
    six.sin6_family = AF_INET6;
    six.sin6_addr = in6addr_loopback;
    sockaddr_in four{};
    four.sin_family = AF_INET;
    four.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* address = ipv6 ? reinterpret_cast<sockaddr*>(&six) : reinterpret_cast<sockaddr*>(&four);
    socklen_t size = ipv6 ? sizeof six : sizeof four;
    if (::bind(socket, address, size) != 0 || ::getsockname(socket, address, &size) != 0) {
        throw std::runtime_error("no free port");
    }
    ::close(socket);
    return ntohs(ipv6 ? six.sin6_port : four.sin_port);
}

std::string readAll(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string cutOff(std::string& text, std::string_view separator) {
    const std::size_t end = std::min(text.find(separator), text.size());
    std::string front = text.substr(0, end);
    text.erase(0, end + separator.size());
    return front;
}

// The bytes of 'Hex-STRING: 61 62 \n63', or of '""'.
std::string readBytes(const std::string& value) {
    const std::string_view mark = "Hex-STRING: ";
    std::string bytes;
    if (!value.starts_with(mark)) {
        return value == "\"\"" ? "" : "not in hexadecimal digits: " + value;
    }
    std::string digits = value.substr(mark.size());
    std::erase_if(digits, [](char c) { return c == ' ' || c == '\n'; });
    for (std::size_t at = 0; at + 1 < digits.size(); at += 2) {
        bytes.push_back(static_cast<char>(std::stoi(digits.substr(at, 2), nullptr, 16)));
    }
    return bytes;
}

ReceivedTrap readTrap(std::string record) {
    ReceivedTrap trap;
    trap.version = cutOff(record, "|");
    trap.enterprise = cutOff(record, "|");
    trap.generic = cutOff(record, "|");
    trap.specific = cutOff(record, "|");
    trap.agent = cutOff(record, "|");
    trap.security = cutOff(record, "|@|");
    while (!record.empty()) {
        std::string variable = cutOff(record, "\t");
        const std::string name = cutOff(variable, " = ");
        if (name == ".1.3.6.1.6.3.1.1.4.1.0") {
            trap.kind = variable.substr(variable.find('.'));
        } else if (name != ".1.3.6.1.2.1.1.3.0") {
            trap.textName = name;
            trap.text = readBytes(variable);
        }
        ++trap.variables;
    }
    return trap;
}

} // namespace

bool TrapReceiver::isInstalled() { return ::access(kProgram, X_OK) == 0; }

TrapReceiver::TrapReceiver(const std::string& configuration, bool anyCommunity, const std::string& address)
    : address_(address), port_(freePort(address.find(':') != std::string::npos)) {
    std::string pattern = fs::temp_directory_path() / "quzo-snmptrapd-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot make " + pattern);
    }
    folder_ = pattern;
    std::ofstream(folder_ / "snmptrapd.conf")
        << "disableAuthorization " << (anyCommunity ? "yes" : "no") << "\n"
        << "format1 " << kBegin << "1|%N|%w|%q|%a|%P|@|%v@@END\\n\nformat2 " << kBegin
        << "2|||||%P|@|%v@@END\\n\n"
        << configuration;
    const std::string place = (address.find(':') != std::string::npos ? "udp6:" : "udp:") + server();
    const std::string file = folder_ / "snmptrapd.conf";
    const std::string log = folder_ / "log";
    const std::string search = "SNMPCONFPATH=" + folder_.string();
    const std::string state = "SNMP_PERSISTENT_DIR=" + (folder_ / "state").string();
    const char* const environment[] = {search.c_str(), state.c_str(), nullptr};
    const pid_t parent = ::getpid();
    process_ = ::fork();
    if (process_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() == parent) {
            ::execle(kProgram, kProgram, "-f", "-n", "-C", "-c", file.c_str(), "-Lf", log.c_str(), "-On",
                     "-Ox", "-m", "", place.c_str(), nullptr, environment);
        }
        ::_exit(127);
    }
    // It says its version when it listens.
    for (int tries = 0; readAll(log).find("NET-SNMP version") == std::string::npos; ++tries) {
        if (tries == 1000 || ::waitpid(process_, nullptr, WNOHANG) != 0) {
            throw std::runtime_error("snmptrapd does not start: " + readAll(log));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

TrapReceiver::~TrapReceiver() {
    ::kill(process_, SIGTERM);
    ::waitpid(process_, nullptr, 0);
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

std::string TrapReceiver::server() const {
    const bool ipv6 = address_.find(':') != std::string::npos;
    return (ipv6 ? "[" + address_ + "]:" : address_ + ":") + std::to_string(port_);
}

std::vector<ReceivedTrap> TrapReceiver::waitFor(std::size_t count) const {
    std::vector<std::string> records;
    for (int tries = 0; tries < 1000; ++tries) {
        records.clear();
        const std::string log = readAll(folder_ / "log");
        for (std::size_t at = 0; (at = log.find(kBegin, at)) != std::string::npos;) {
            const std::size_t end = log.find(kEnd, at);
            if (end == std::string::npos) {
                break;
            }
            records.push_back(log.substr(at + kBegin.size(), end - at - kBegin.size()));
            at = end;
        }
        if (records.size() >= count) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    std::vector<ReceivedTrap> traps;
    std::transform(records.begin(), records.end(), std::back_inserter(traps), readTrap);
    return traps;
}

} // namespace quzo::test
