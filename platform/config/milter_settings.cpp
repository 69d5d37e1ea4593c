// Values of [milter]. One function for each kind says what it is, for the check and for the reading.
#include "platform/config/milter_settings.h"

#include <sys/un.h>

#include <algorithm>
#include <utility>

#include "platform/base/ascii.h"
#include "platform/base/host_name.h"
#include "platform/base/numbers.h"
#include "platform/base/visible_text.h"
#include "platform/config/figures_settings.h"
#include "platform/config/known_keys.h"
#include "platform/message/values/field_text.h"

namespace quzo::platform {
namespace {

constexpr std::string_view kMilter = "milter";
constexpr std::string_view kTrusted = "trusted_addresses";
constexpr std::string_view kRescanName = "rescan_daemon_name";
constexpr std::string_view kRescanHop = "rescan_hop";
constexpr std::size_t kMostPath = sizeof(sockaddr_un::sun_path) - 1; // bytes
constexpr std::size_t kMostShown = 64;                               // bytes of an entry in a fault

// Calls the function with each entry of a list that is separated by commas, without the blanks around it. An
// empty list has no entries.
template <typename Each>
void forEachEntry(std::string_view list, Each&& each) {
    while (!trimmed(list).empty()) {
        const std::size_t end = std::min(list.find(','), list.size());
        each(trimmed(list.substr(0, end)));
        list.remove_prefix(std::min(end + 1, list.size()));
    }
}

// The entry's value when it is one of its key's kind, else the default.
std::string valueOf(const IniFile& file, std::string_view key) {
    const IniFile::Entry* entry = file.find(kMilter, key);
    if (entry != nullptr && expectedOfMilter(key, entry->value).empty()) {
        return entry->value;
    }
    const KnownKey* known = findKnownKey(kMilter, key);
    return std::string(known != nullptr ? known->usual : std::string_view());
}

} // namespace

std::optional<MilterSocket> MilterSocket::parse(std::string_view text) {
    const std::size_t colon = std::min(text.find(':'), text.size());
    const std::string_view family = text.substr(0, colon);
    std::string_view place = text.substr(std::min(colon + 1, text.size()));
    if (family == "unix") {
        const bool absolute = place.starts_with('/') && !place.ends_with('/') && place.size() <= kMostPath &&
                              !hasControlBytes(place);
        return absolute ? std::optional(MilterSocket{Family::Unix, std::string(place), 0}) : std::nullopt;
    }
    const std::size_t at = place.find('@');
    if ((family != "inet" && family != "inet6") || at == std::string_view::npos) {
        return std::nullopt;
    }
    MilterSocket socket;
    socket.family = family == "inet" ? Family::Inet : Family::Inet6;
    const auto port = parseNumber<std::uint16_t>(place.substr(0, at));
    place.remove_prefix(at + 1);
    const bool isV6 = place.find(':') != std::string_view::npos;
    if (!port || *port == 0 || !readHostName(place, socket.place) ||
        isV6 != (socket.family == Family::Inet6) || isV6 != place.starts_with('[')) {
        return std::nullopt;
    }
    socket.port = *port;
    return socket;
}

std::string expectedOfMilter(std::string_view key, std::string_view value) {
    if (key == "socket") {
        return MilterSocket::parse(value) ? ""
                                          : "unix:/absolute/path (107 bytes at most), inet:PORT@HOST or "
                                            "inet6:PORT@[ADDRESS]";
    }
    if (key == "figures_address") {
        return value.empty() || LoopbackPort::parse(value)
                   ? ""
                   : "127.0.0.1:PORT, which only this machine reaches; a proxy of yours may show it to "
                     "others";
    }
    if (key == "control") {
        return value.empty() || MilterSocket::parse("unix:" + std::string(value))
                   ? ""
                   : "an absolute path of at most 107 bytes";
    }
    if (key.starts_with("header_")) {
        return value.empty() || validFieldName(value) ? "" : "the name of a header field, such as X-Virus";
    }
    return {};
}

MilterSettings readMilterSettings(const IniFile& file) {
    MilterSettings settings;
    settings.socket = MilterSocket::parse(valueOf(file, "socket")).value_or(settings.socket);
    forEachEntry(valueOf(file, kTrusted), [&](std::string_view entry) {
        if (const auto network = Network::parse(entry)) {
            settings.trustedAddresses.push_back(*network);
        }
    });
    settings.control = valueOf(file, "control");
    settings.rescanDaemonName = valueOf(file, kRescanName);
    settings.rescanHop = readNextHop(valueOf(file, kRescanHop));
    settings.headerVirusName = valueOf(file, "header_virus_name");
    settings.headerWholeMail = valueOf(file, "header_whole_mail");
    settings.headerDeleteAll = valueOf(file, "header_delete_all");
    return settings;
}

Findings checkMilterSettings(const IniFile& file) {
    Findings findings;
    const IniFile::Entry* hop = file.find(kMilter, kRescanHop);
    if (hop != nullptr && !hop->value.empty() &&
        (valueOf(file, kRescanName).empty() || valueOf(file, kTrusted).empty())) {
        findings.push_back({Finding::Severity::Error,
                            hop->line,
                            {},
                            "what is sent to rescan_hop would be judged as new mail, again and again",
                            "set rescan_daemon_name and trusted_addresses as well"});
    }
    const IniFile::Entry* trusted = file.find(kMilter, kTrusted);
    forEachEntry(trusted != nullptr ? std::string_view(trusted->value) : std::string_view(),
                 [&](std::string_view entry) {
                     if (!Network::parse(entry) && findings.size() < IniFile::kMaxProblems) {
                         findings.push_back(
                             {Finding::Severity::Error,
                              trusted->line,
                              {},
                              quotedText(entry.substr(0, kMostShown)) + " of trusted_addresses is no network",
                              "write address/bits with no bits behind the length, such as 127.0.0.0/8 "
                              "or ::1/128"});
                     }
                 });
    return findings;
}

} // namespace quzo::platform
