// The table of settings. A key that is read anywhere has its line here; what is not here is reported to the
// administrator as not being read.
#include "platform/config/known_keys.h"

#include <algorithm>
#include <string>

#include "platform/base/host_name.h"
#include "platform/base/nearest.h"
#include "platform/base/numbers.h"
#include "platform/message/structure/limits.h"

namespace quzo::platform {

namespace {

constexpr std::string_view kGeneral = "general";
constexpr std::string_view kMessage = "MessageModule";
constexpr std::string_view kNotification = "General-Notification";
constexpr std::string_view kPlatform = "platform";
constexpr std::string_view kSnmp = "snmp";
constexpr std::string_view kRunner = "runner";
constexpr std::string_view kMilter = "milter";

template <typename Test>
bool anyChoice(std::string_view choices, Test&& test) {
    while (!choices.empty()) {
        const std::size_t end = std::min(choices.find('|'), choices.size());
        if (test(choices.substr(0, end))) {
            return true;
        }
        choices.remove_prefix(std::min(end + 1, choices.size()));
    }
    return false;
}

} // namespace

const std::vector<KnownKey>& knownKeys() {
    static const std::vector<KnownKey> keys = {
        {kGeneral, "locale", KeyType::Text},
        {kGeneral, "useQUZOLocaleForNotificationTime", KeyType::YesNo, "no"},
        {kGeneral, "NumOfBlankLineBeforeStampMessage", KeyType::Integer, "0"},
        {kGeneral, "queue_quarantine", KeyType::Path, {}, {}, "quarantine below spool"},
        {kGeneral, "queue_archive", KeyType::Path, {}, {}, "archive below spool"},
        {kGeneral, "queue_notify", KeyType::Path, {}, {}, "notify below spool"},
        {kGeneral, "quzo_home", KeyType::Path},
        {kMessage, "DefaultSourceCharset", KeyType::Charset, "utf-8"},
        {kMessage, "UseMailCharsetAsDestinationCharset", KeyType::Switch, "0"},
        {kMessage, "UseUTF8AsPreferCharsetForStamp", KeyType::Switch, "0"},
        {kMessage, "PreferCharsetAsUTF8", KeyType::Switch, "0"},
        {kMessage, "TagNotEncoding", KeyType::Switch, "0"},
        {kMessage, "TagDirectly", KeyType::Switch, "0"},
        {kMessage, "IgnoreInsertError", KeyType::Switch, "0"},
        {kMessage, "InsertStampAsAttachment", KeyType::Switch, "0"},
        {kMessage, "DisclaimerLineLimit", KeyType::Integer, "990"},
        {kMessage, "RemoveQuzoMsgID", KeyType::Switch, "0"},
        {kMessage, "IgnoreSnmpError", KeyType::Switch, "0"},
        {kNotification, "PreferredCharset", KeyType::Charset, "utf-8"},
        {kNotification, "SNMPServer", KeyType::Text},
        {kNotification, "Community", KeyType::Text, "xq7amb", {}, {}, true},
        {kNotification, "MailFrom", KeyType::Text, {}, {}, "QUZO@ and the name of the host"},
        {kNotification, "NotificationSkipScan", KeyType::Switch, "0"},
        {kNotification, "NotificationHideRecipients", KeyType::Switch, "0"},
        {kNotification, "NotificationGetSenderFromMIME", KeyType::Switch, "0"},
        {"quzo_manager", "scanner_id", KeyType::Integer, "0"},
        {kPlatform, "store", KeyType::Prefix, {}, "sqlite3://|postgresql://", {}, true},
        {kPlatform, "hostname", KeyType::Host},
        {kPlatform, "spool", KeyType::Path},
        {kPlatform, "tenant", KeyType::Count, "0"},
        {kPlatform, "next_hop", KeyType::NextHop, {}, {}, {}, true},
        {kPlatform, "tls", KeyType::Choice, "try", "off|try|require"},
        {kPlatform, "tls_ca", KeyType::Path, {}, {}, "the system's"},
        {kPlatform, "timeout", KeyType::Positive, "300"},
        {kPlatform, "limit_message", KeyType::Size, "0", {}, {}, false, kMaxMessageBytes},
        {kPlatform, "limit_header", KeyType::Size, "32M"},
        {kPlatform, "limit_fields", KeyType::Count, "100000"},
        {kPlatform, "limit_nesting", KeyType::Count, "100"},
        {kPlatform, "limit_parts", KeyType::Count, "10000"},
        {kPlatform, "limit_recipients", KeyType::Count, "50000"},
        {kPlatform, "on_limit", KeyType::Choice, "refuse", "defer|pass|refuse"},
        {kPlatform, "stamp_once", KeyType::YesNo, "no"},
        {kPlatform, "removal_note", KeyType::YesNo, "no"},
        {kPlatform, "notify_limit", KeyType::Count, "20"},
        {kPlatform, "notify_automatic", KeyType::YesNo, "no"},
        {kPlatform, "notify_auto_submitted", KeyType::YesNo, "yes"},
        {kPlatform, "log", KeyType::Path, "stderr"},
        {kPlatform, "log_level", KeyType::Choice, "1", "0|1|2|3"},
        {kPlatform, "log_messages", KeyType::Choice, "off", "off|text|json"},
        {kSnmp, "version", KeyType::Choice, "2c", "1|2c|3"},
        {kSnmp, "enterprise", KeyType::Snmp, "1.3.6.1.4.1.8072.9999.9999"},
        {kSnmp, "user", KeyType::Snmp},
        {kSnmp, "level", KeyType::Choice, "authPriv", "noAuthNoPriv|authNoPriv|authPriv"},
        {kSnmp, "auth_protocol", KeyType::Choice, "SHA-256", "MD5|SHA|SHA-224|SHA-256|SHA-384|SHA-512"},
        {kSnmp, "auth_passphrase", KeyType::Snmp, {}, {}, {}, true},
        {kSnmp, "priv_protocol", KeyType::Choice, "AES", "AES|AES-192|AES-256"},
        {kSnmp, "priv_passphrase", KeyType::Snmp, {}, {}, {}, true},
        {kSnmp, "engine_id", KeyType::Snmp, {}, {}, "of hostname"},
        {kRunner, "retry_first", KeyType::Duration, "5m"},
        {kRunner, "retry_longest", KeyType::Duration, "4h"},
        {kRunner, "give_up_after", KeyType::Duration, "5d"},
        {kRunner, "poll", KeyType::Duration, "10s"},
        {kMilter, "socket", KeyType::Milter, "unix:/run/quzo/milter.sock"},
        {kMilter, "control", KeyType::Milter, {}, {}, "milter.control in the spool"},
        {kMilter, "trusted_addresses", KeyType::Milter},
        {kMilter, "rescan_daemon_name", KeyType::Text},
        {kMilter, "rescan_hop", KeyType::NextHop, {}, {}, {}, true},
        {kMilter, "header_virus_name", KeyType::Milter},
        {kMilter, "header_whole_mail", KeyType::Milter},
        {kMilter, "header_delete_all", KeyType::Milter},
        {kMilter, "figures_address", KeyType::Milter},
        {kMilter, "figures_file", KeyType::Path},
    };
    return keys;
}

const KnownKey* findKnownKey(std::string_view section, std::string_view key) {
    for (const KnownKey& known : knownKeys()) {
        if (known.section == section && known.key == key) {
            return &known;
        }
    }
    return nullptr;
}

bool isKnownSection(std::string_view section) {
    const auto& keys = knownKeys();
    return std::any_of(keys.begin(), keys.end(),
                       [&](const KnownKey& known) { return known.section == section; });
}

std::string_view nearestKey(std::string_view section, std::string_view name) {
    std::vector<std::string_view> keys;
    for (const KnownKey& known : knownKeys()) {
        if (known.section == section) {
            keys.push_back(known.key);
        }
    }
    return nearestWord(name, keys);
}

std::string_view nearestSection(std::string_view name) {
    std::vector<std::string_view> sections;
    for (const KnownKey& known : knownKeys()) {
        sections.push_back(known.section);
    }
    return nearestWord(name, sections);
}

std::string_view sectionOfKey(std::string_view key) {
    for (const KnownKey& known : knownKeys()) {
        if (known.key == key) {
            return known.section;
        }
    }
    return {};
}

bool isSize(const KnownKey& known, std::string_view text) {
    const auto size = parseSize(text);
    return size && (known.most == 0 || *size <= known.most);
}

bool isHost(std::string_view text) {
    std::string plain;
    // Behind an "@" an address without brackets would be none.
    return text.find(':') == std::string_view::npos && !text.ends_with('.') && readHostName(text, plain);
}

bool isDuration(std::string_view text) { return parseDuration(text).value_or(0) > 0; }

bool isChoice(std::string_view text, std::string_view choices) {
    return anyChoice(choices, [&](std::string_view choice) { return text == choice; });
}

bool hasPrefix(std::string_view text, std::string_view prefixes) {
    return anyChoice(prefixes, [&](std::string_view prefix) {
        return text.size() > prefix.size() && text.substr(0, prefix.size()) == prefix;
    });
}

} // namespace quzo::platform
