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
        {kGeneral, "useQUZOLocaleForNotificationTime", KeyType::YesNo},
        {kGeneral, "NumOfBlankLineBeforeStampMessage", KeyType::Integer},
        {kGeneral, "queue_quarantine", KeyType::Path},
        {kGeneral, "queue_archive", KeyType::Path},
        {kGeneral, "queue_notify", KeyType::Path},
        {kGeneral, "quzo_home", KeyType::Path},
        {kMessage, "DefaultSourceCharset", KeyType::Charset},
        {kMessage, "UseMailCharsetAsDestinationCharset", KeyType::Switch},
        {kMessage, "UseUTF8AsPreferCharsetForStamp", KeyType::Switch},
        {kMessage, "PreferCharsetAsUTF8", KeyType::Switch},
        {kMessage, "TagNotEncoding", KeyType::Switch},
        {kMessage, "TagDirectly", KeyType::Switch},
        {kMessage, "IgnoreInsertError", KeyType::Switch},
        {kMessage, "InsertStampAsAttachment", KeyType::Switch},
        {kMessage, "DisclaimerLineLimit", KeyType::Integer},
        {kMessage, "RemoveQuzoMsgID", KeyType::Switch},
        {kMessage, "IgnoreSnmpError", KeyType::Switch},
        {kNotification, "PreferredCharset", KeyType::Charset},
        {kNotification, "SNMPServer", KeyType::Text},
        {kNotification, "Community", KeyType::Text, {}, true},
        {kNotification, "MailFrom", KeyType::Text},
        {kNotification, "NotificationSkipScan", KeyType::Switch},
        {kNotification, "NotificationHideRecipients", KeyType::Switch},
        {kNotification, "NotificationGetSenderFromMIME", KeyType::Switch},
        {"quzo_manager", "scanner_id", KeyType::Integer},
        {kPlatform, "store", KeyType::Prefix, "sqlite3://|postgresql://", true},
        {kPlatform, "hostname", KeyType::Host},
        {kPlatform, "spool", KeyType::Path},
        {kPlatform, "tenant", KeyType::Count},
        {kPlatform, "next_hop", KeyType::NextHop, {}, true},
        {kPlatform, "tls", KeyType::Choice, "off|try|require"},
        {kPlatform, "tls_ca", KeyType::Path},
        {kPlatform, "timeout", KeyType::Positive},
        {kPlatform, "limit_message", KeyType::Size, {}, false, kMaxMessageBytes},
        {kPlatform, "limit_header", KeyType::Size},
        {kPlatform, "limit_fields", KeyType::Count},
        {kPlatform, "limit_nesting", KeyType::Count},
        {kPlatform, "limit_parts", KeyType::Count},
        {kPlatform, "limit_recipients", KeyType::Count},
        {kPlatform, "on_limit", KeyType::Choice, "defer|pass|refuse"},
        {kPlatform, "stamp_once", KeyType::YesNo},
        {kPlatform, "removal_note", KeyType::YesNo},
        {kPlatform, "notify_limit", KeyType::Count},
        {kPlatform, "notify_automatic", KeyType::YesNo},
        {kPlatform, "notify_auto_submitted", KeyType::YesNo},
        {kPlatform, "log", KeyType::Path},
        {kPlatform, "log_level", KeyType::Choice, "0|1|2|3"},
        {kSnmp, "version", KeyType::Choice, "1|2c|3"},
        {kSnmp, "enterprise", KeyType::Snmp},
        {kSnmp, "user", KeyType::Snmp},
        {kSnmp, "level", KeyType::Choice, "noAuthNoPriv|authNoPriv|authPriv"},
        {kSnmp, "auth_protocol", KeyType::Choice, "MD5|SHA|SHA-224|SHA-256|SHA-384|SHA-512"},
        {kSnmp, "auth_passphrase", KeyType::Snmp, {}, true},
        {kSnmp, "priv_protocol", KeyType::Choice, "AES|AES-192|AES-256"},
        {kSnmp, "priv_passphrase", KeyType::Snmp, {}, true},
        {kSnmp, "engine_id", KeyType::Snmp},
        {kRunner, "retry_first", KeyType::Duration},
        {kRunner, "retry_longest", KeyType::Duration},
        {kRunner, "give_up_after", KeyType::Duration},
        {kRunner, "poll", KeyType::Duration},
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
