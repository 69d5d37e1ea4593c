// Values of quzo.ini: looked up exactly, with the host's defaults below, and read by the kinds of the table
// of known keys, so that the check before a run and the run itself cannot disagree.
#include "platform/config/quzo_settings.h"

#include <exception>
#include <filesystem>

#include "platform/base/host_name.h"
#include "platform/base/numbers.h"
#include "platform/config/known_keys.h"
#include "platform/log/file_log.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {

namespace {

constexpr std::string_view kPlatform = "platform";
constexpr std::string_view kSqlite = "sqlite3://";

// What the host says when the file does not: queue directories, charsets and numbers. Of the other keys the
// library wants to know that they are missing.
std::optional<std::string> defaultValue(const KnownKey& known, std::string_view spool) {
    const std::string_view key = known.key;
    if (known.type == KeyType::Charset || known.type == KeyType::Integer) {
        return std::string(known.usual);
    }
    constexpr std::string_view queue = "queue_";
    if (known.section == "general" && key.starts_with(queue) && !spool.empty()) {
        std::string path(spool);
        path += spool.back() == '/' ? "" : "/";
        path += key.substr(queue.size());
        return path;
    }
    return std::nullopt;
}

template <typename Work>
int guardedRead(Work&& work) noexcept {
    try {
        return std::forward<Work>(work)();
    } catch (const std::exception&) {
        return kErrorNoMemory;
    }
}

} // namespace

bool IniSettings::load(const std::string& path) {
    folder_ = std::filesystem::path(path).parent_path().string();
    return file_.load(path, problems_);
}

bool IniSettings::parse(std::string_view text) {
    folder_.clear();
    return file_.parse(text, problems_);
}

std::string IniSettings::placed(const KnownKey* known, const std::string& value) const {
    if (known == nullptr || folder_.empty()) {
        return value;
    }
    const bool file = known->type == KeyType::Path && !(known->key == "log" && FileLog::isWord(value));
    std::size_t at = 0;
    if (!file) {
        if (known->key != "store" || !value.starts_with(kSqlite)) {
            return value;
        }
        at = kSqlite.size();
    }
    if (value.size() == at || value[at] == '/') {
        return value;
    }
    return value.substr(0, at) + folder_ + (folder_.ends_with('/') ? "" : "/") + value.substr(at);
}

std::optional<std::string> IniSettings::lookUp(std::string_view section, std::string_view key) const {
    const KnownKey* known = findKnownKey(section, key);
    if (const IniFile::Entry* entry = file_.find(section, key)) {
        return placed(known, entry->value);
    }
    if (known == nullptr) {
        return std::nullopt;
    }
    const IniFile::Entry* spool = file_.find(kPlatform, "spool");
    return defaultValue(
        *known, spool != nullptr ? placed(findKnownKey(kPlatform, "spool"), spool->value) : std::string());
}

int IniSettings::getValue(const char* key, std::string& value, const char* section, int /*reserved*/) {
    return guardedRead([&]() -> int {
        if (key == nullptr || section == nullptr) {
            return kErrorInvalidArgument;
        }
        auto found = lookUp(section, key);
        if (!found) {
            return kErrorNotFound;
        }
        value = std::move(*found);
        return kErrorNone;
    });
}

int IniSettings::getIntValue(const char* key, int& value, const char* section, int /*reserved*/) {
    return guardedRead([&]() -> int {
        if (key == nullptr || section == nullptr) {
            return kErrorInvalidArgument;
        }
        const auto found = lookUp(section, key);
        const auto number = found ? parseNumber<int>(*found) : std::nullopt;
        if (!number) {
            return kErrorNotFound;
        }
        value = *number;
        return kErrorNone;
    });
}

PlatformSettings IniSettings::platform() const {
    PlatformSettings settings;
    // The value of a key, when it is one of the key's kind.
    const auto text = [&](std::string_view key) -> std::optional<std::string> {
        const IniFile::Entry* entry = file_.find(kPlatform, key);
        const KnownKey* known = findKnownKey(kPlatform, key);
        if (entry == nullptr || known == nullptr ||
            (known->type == KeyType::Choice && !isChoice(entry->value, known->choices)) ||
            (known->type == KeyType::Prefix && !hasPrefix(entry->value, known->choices)) ||
            (known->type == KeyType::Host && !isHost(entry->value)) ||
            (known->type == KeyType::Size && !isSize(*known, entry->value))) {
            return std::nullopt;
        }
        return placed(known, entry->value);
    };
    const auto count = [&](std::string_view key, auto& into) {
        into = parseNumber<std::decay_t<decltype(into)>>(text(key).value_or("")).value_or(into);
    };
    const auto size = [&](std::string_view key, std::size_t& into) {
        into = parseSize(text(key).value_or("")).value_or(into);
    };
    settings.hostname = text("hostname").value_or(settings.hostname);
    settings.store = text("store").value_or(settings.store);
    settings.spool = text("spool").value_or(settings.spool);
    settings.nextHop = readNextHop(text("next_hop").value_or(""));
    settings.tlsCa = text("tls_ca").value_or(settings.tlsCa);
    settings.log = text("log").value_or(settings.log);
    count("tenant", settings.tenant);
    const int timeout = parseNumber<int>(text("timeout").value_or("")).value_or(0);
    settings.timeout = timeout > 0 ? timeout : settings.timeout;
    settings.logLevel = parseNumber<int>(text("log_level").value_or("")).value_or(settings.logLevel);
    size("limit_message", settings.limits.messageBytes);
    size("limit_header", settings.limits.headerBytes);
    count("limit_fields", settings.limits.headerFields);
    count("limit_nesting", settings.limits.nesting);
    count("limit_parts", settings.limits.parts);
    count("limit_recipients", settings.limits.recipients);
    settings.stampOnce = text("stamp_once") == "yes";
    settings.removalNote = text("removal_note") == "yes";
    count("notify_limit", settings.notifyLimit);
    settings.notifyAutomatic = text("notify_automatic") == "yes";
    settings.notifyAutoSubmitted = text("notify_auto_submitted") != "no";
    const IniFile::Entry* notEncoding = file_.find("MessageModule", "TagNotEncoding");
    if (notEncoding != nullptr && parseNumber<int>(notEncoding->value).value_or(0) != 0) {
        settings.rawValues = RawValues::AsTheyCame;
    }
    const std::string tls = text("tls").value_or("");
    if (!tls.empty()) {
        settings.tls = tls == "off" ? PlatformSettings::Tls::Off : PlatformSettings::Tls::Try;
        settings.tls = tls == "require" ? PlatformSettings::Tls::Require : settings.tls;
    }
    const std::string messages = text("log_messages").value_or("off");
    settings.logMessages = messages == "text"   ? PlatformSettings::LogMessages::Text
                           : messages == "json" ? PlatformSettings::LogMessages::Json
                                                : PlatformSettings::LogMessages::Off;
    const std::string onLimit = text("on_limit").value_or("refuse");
    settings.onLimit = onLimit == "pass"    ? PlatformSettings::OnLimit::Pass
                       : onLimit == "defer" ? PlatformSettings::OnLimit::Defer
                                            : PlatformSettings::OnLimit::Refuse;
    return settings;
}

SnmpSettings IniSettings::snmp() const { return readSnmpSettings(file_, ownHostName(platform().hostname)); }

MilterSettings IniSettings::milter() const { return readMilterSettings(file_); }

RunnerSettings IniSettings::runner() const {
    RunnerSettings settings;
    const auto read = [&](std::string_view key, std::int64_t& into) {
        const IniFile::Entry* entry = file_.find("runner", key);
        into = entry != nullptr && isDuration(entry->value) ? *parseDuration(entry->value) : into;
    };
    read("retry_first", settings.retryFirst);
    read("retry_longest", settings.retryLongest);
    read("give_up_after", settings.giveUpAfter);
    read("poll", settings.poll);
    return settings;
}

} // namespace quzo::platform
