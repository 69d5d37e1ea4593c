// The table of settings. A key that is read anywhere has its line here; what is not here is reported to the
// administrator as not being read.
#include "platform/config/known_keys.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string>

#include "platform/base/host_name.h"
#include "platform/message/structure/limits.h"

namespace quzo::platform {

namespace {

constexpr std::string_view kGeneral = "general";
constexpr std::string_view kMessage = "MessageModule";
constexpr std::string_view kNotification = "General-Notification";
constexpr std::string_view kPlatform = "platform";

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// The number of characters to insert, take out or exchange, without regard to case; at most `most` + 1.
std::size_t distance(std::string_view a, std::string_view b, std::size_t most) {
    if (std::max(a.size(), b.size()) - std::min(a.size(), b.size()) > most) {
        return most + 1;
    }
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j < row.size(); ++j) {
        row[j] = j;
    }
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j < row.size(); ++j) {
            const std::size_t exchanged = diagonal + (lower(a[i - 1]) == lower(b[j - 1]) ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, exchanged});
        }
    }
    return std::min(row.back(), most + 1);
}

// Keeps the nearest of the names that it is shown.
class Nearest {
public:
    // More than half of the name wrong is another name.
    explicit Nearest(std::string_view name)
        : name_(name), best_(std::min<std::size_t>(name.size() / 2, 16) + 1) {}

    void consider(std::string_view candidate) {
        const std::size_t steps = distance(name_, candidate, best_);
        if (steps < best_) {
            best_ = steps;
            found_ = candidate;
        }
    }

    std::string_view found() const { return found_; }

private:
    std::string_view name_;
    std::size_t best_;
    std::string_view found_;
};

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
        {kPlatform, "next_hop", KeyType::Prefix, "smtp://|smtps://", true},
        {kPlatform, "tls", KeyType::Choice, "off|try|require"},
        {kPlatform, "timeout", KeyType::Positive},
        {kPlatform, "limit_message", KeyType::Size, {}, false, kMaxMessageBytes},
        {kPlatform, "limit_header", KeyType::Size},
        {kPlatform, "limit_fields", KeyType::Count},
        {kPlatform, "limit_nesting", KeyType::Count},
        {kPlatform, "limit_parts", KeyType::Count},
        {kPlatform, "limit_recipients", KeyType::Count},
        {kPlatform, "on_limit", KeyType::Choice, "defer|pass|refuse"},
        {kPlatform, "log", KeyType::Path},
        {kPlatform, "log_level", KeyType::Choice, "0|1|2|3"},
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
    Nearest nearest(name);
    for (const KnownKey& known : knownKeys()) {
        if (known.section == section) {
            nearest.consider(known.key);
        }
    }
    return nearest.found();
}

std::string_view nearestSection(std::string_view name) {
    Nearest nearest(name);
    for (const KnownKey& known : knownKeys()) {
        nearest.consider(known.section);
    }
    return nearest.found();
}

std::string_view sectionOfKey(std::string_view key) {
    for (const KnownKey& known : knownKeys()) {
        if (known.key == key) {
            return known.section;
        }
    }
    return {};
}

std::optional<int> parseInteger(std::string_view text) {
    int number = 0;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (problem != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

std::optional<std::size_t> parseSize(std::string_view text, bool withUnits) {
    unsigned shift = 0;
    if (withUnits && !text.empty()) {
        const std::size_t unit = std::string_view("kmg").find(lower(text.back()));
        if (unit != std::string_view::npos) {
            shift = static_cast<unsigned>(10 * (unit + 1));
            text.remove_suffix(1);
        }
    }
    std::size_t number = 0;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (problem != std::errc() || end != text.data() + text.size() ||
        number > (std::numeric_limits<std::size_t>::max() >> shift)) {
        return std::nullopt;
    }
    return number << shift;
}

bool isSize(const KnownKey& known, std::string_view text) {
    const auto size = parseSize(text, true);
    return size && (known.most == 0 || *size <= known.most);
}

bool isHost(std::string_view text) {
    std::string plain;
    // Behind an "@" an address without brackets would be none.
    return text.find(':') == std::string_view::npos && !text.ends_with('.') && readHostName(text, plain);
}

bool isChoice(std::string_view text, std::string_view choices) {
    return anyChoice(choices, [&](std::string_view choice) { return text == choice; });
}

bool hasPrefix(std::string_view text, std::string_view prefixes) {
    return anyChoice(prefixes, [&](std::string_view prefix) {
        return text.size() > prefix.size() && text.substr(0, prefix.size()) == prefix;
    });
}

} // namespace quzo::platform
