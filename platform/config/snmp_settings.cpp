// Values of [snmp]. One function says what each has to be, for the check and for the reading.
#include "platform/config/snmp_settings.h"

#include <optional>

#include "platform/base/hex.h"
#include "platform/config/known_keys.h"

namespace quzo::platform {
namespace {

constexpr std::string_view kSnmp = "snmp";
// RFC 3411's and 3414's limits, in bytes.
constexpr std::size_t kLeastEngineId = 5;
constexpr std::size_t kMostEngineId = 32;
constexpr std::size_t kMostEngineText = 27;
constexpr std::size_t kMostUser = 32;
constexpr std::size_t kLeastPassphrase = 8;

std::optional<std::string> bytesOfHex(std::string_view text) {
    if (text.starts_with("0x")) {
        text.remove_prefix(2);
    }
    std::string bytes;
    for (std::size_t at = 0; at + 1 < text.size(); at += 2) {
        const int high = hexDigit(text[at]);
        const int low = hexDigit(text[at + 1]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<char>(high * 16 + low));
    }
    return text.size() % 2 == 0 ? std::optional(std::move(bytes)) : std::nullopt;
}

bool isEngineId(std::string_view text) {
    const auto bytes = bytesOfHex(text);
    return bytes && bytes->size() >= kLeastEngineId && bytes->size() <= kMostEngineId &&
           bytes->find_first_not_of('\0') != std::string::npos &&
           bytes->find_first_not_of('\xFF') != std::string::npos;
}

// RFC 3411's form for a text under Net-SNMP's enterprise number, 8072.
std::string engineIdOf(std::string_view hostname) {
    using namespace std::string_literals;
    return "\x80\x00\x1F\x88\x04"s.append(hostname.substr(0, kMostEngineText));
}

// The entry's value when it is one of its key's kind, else the default.
std::string valueOf(const IniFile& file, std::string_view key) {
    const IniFile::Entry* entry = file.find(kSnmp, key);
    const KnownKey* known = findKnownKey(kSnmp, key);
    if (known == nullptr) {
        return {};
    }
    if (entry == nullptr || (known->type == KeyType::Choice && !isChoice(entry->value, known->choices)) ||
        (known->type == KeyType::Snmp && !expectedOfSnmp(key, entry->value).empty())) {
        return std::string(known->usual);
    }
    return entry->value;
}

} // namespace

std::string expectedOfSnmp(std::string_view key, std::string_view value) {
    if (key == "enterprise") {
        return parseObjectIdentifier(value) ? ""
                                            : "an object identifier in numbers, such as 1.3.6.1.4.1.8072";
    }
    if (key == "engine_id") {
        return isEngineId(value) ? "" : "5 to 32 bytes in hexadecimal digits, such as 80001f8804677731";
    }
    if (key == "user") {
        return value.size() <= kMostUser ? "" : "a name of at most 32 bytes";
    }
    return value.size() >= kLeastPassphrase ? "" : "a passphrase of 8 characters or more";
}

SnmpSettings readSnmpSettings(const IniFile& file, const std::string& hostname) {
    SnmpSettings settings;
    const std::string version = valueOf(file, "version");
    settings.version = version == "1"   ? SnmpSettings::Version::V1
                       : version == "3" ? SnmpSettings::Version::V3
                                        : SnmpSettings::Version::V2c;
    const auto enterprise = parseObjectIdentifier(valueOf(file, "enterprise"));
    settings.enterprise = enterprise.value_or(settings.enterprise);
    settings.user = valueOf(file, "user");
    const std::string level = valueOf(file, "level");
    settings.level = level == "noAuthNoPriv" ? SnmpSettings::Level::NoAuthNoPriv
                     : level == "authNoPriv" ? SnmpSettings::Level::AuthNoPriv
                                             : SnmpSettings::Level::AuthPriv;
    settings.authProtocol = valueOf(file, "auth_protocol");
    settings.authPassphrase = valueOf(file, "auth_passphrase");
    settings.privProtocol = valueOf(file, "priv_protocol");
    settings.privPassphrase = valueOf(file, "priv_passphrase");
    settings.engineId = bytesOfHex(valueOf(file, "engine_id")).value_or("");
    if (settings.engineId.empty()) {
        settings.engineId = engineIdOf(hostname);
    }
    return settings;
}

Findings checkSnmpSettings(const IniFile& file) {
    const IniFile::Entry* version = file.find(kSnmp, "version");
    if (version == nullptr || version->value != "3") {
        return {};
    }
    Findings findings;
    const auto need = [&](const char* key) {
        const IniFile::Entry* entry = file.find(kSnmp, key);
        if (entry == nullptr || entry->value.empty()) {
            findings.push_back({Finding::Severity::Error,
                                version->line,
                                {},
                                std::string("version 3 of [snmp] has no ") + key,
                                std::string("give ") + key + " or a lower level"});
        }
    };
    const std::string level = valueOf(file, "level");
    need("user");
    if (level != "noAuthNoPriv") {
        need("auth_passphrase");
    }
    if (level == "authPriv") {
        need("priv_passphrase");
    }
    return findings;
}

} // namespace quzo::platform
