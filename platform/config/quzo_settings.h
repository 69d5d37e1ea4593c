// quzo.ini as the library and the programs read it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/next_hop.h"
#include "platform/config/ini_file.h"
#include "platform/config/milter_settings.h"
#include "platform/config/snmp_settings.h"
#include "platform/message/edit/raw_values.h"
#include "platform/message/structure/limits.h"
#include "quzo/core/settings_source.h"

namespace quzo::platform {

struct KnownKey;

// What the section [platform] says, with its defaults, and what keys of the library mean to the platform too.
struct PlatformSettings {
    enum class Tls : std::uint8_t { Off, Try, Require };
    // What becomes of a message beyond a limit: failed, tried later, or judged by what could be read of it.
    enum class OnLimit : std::uint8_t { Refuse, Defer, Pass };
    enum class LogMessages : std::uint8_t { Off, Text, Json }; // a line in the log for each message

    std::string hostname;           // under which this host writes mail; empty: the settings do not say
    std::string store;              // connection string; empty: no named objects
    std::string spool;              // root of the queues; empty: no queues
    unsigned tenant = 0;            // whose named objects
    std::optional<NextHop> nextHop; // none: only what has a server of its own is sent
    Tls tls = Tls::Try;
    std::string tlsCa; // file of certificates that are trusted in place of the system's; empty: the system's
    int timeout = 300; // seconds, of one SMTP exchange
    Limits limits;
    RawValues rawValues = RawValues::WithCharset; // AsTheyCame with "TagNotEncoding" of [MessageModule]
    OnLimit onLimit = OnLimit::Refuse;
    bool stampOnce = false;    // a stamp is put into a text once, however often the text comes back
    bool removalNote = false;  // a text stands where an attachment was removed
    unsigned notifyLimit = 20; // notifications an hour for one recipient and rule; 0: no limit
    // Whether notifications may go to the senders of automatic and bulk mail.
    bool notifyAutomatic = false;
    bool notifyAutoSubmitted = true; // notifications say that a program wrote them
    std::string log = "stderr";      // "syslog", "journal" or the path of a file
    int logLevel = 1;                // 0 to 3
    LogMessages logMessages = LogMessages::Off;

    friend bool operator==(const PlatformSettings&, const PlatformSettings&) = default;
};

// What the section [runner] says, with its defaults; seconds.
struct RunnerSettings {
    std::int64_t retryFirst = 300; // pause after the first attempt; each further one is twice as long
    std::int64_t retryLongest = std::int64_t{4} * 3600;     // and never longer than this
    std::int64_t giveUpAfter = std::int64_t{5} * 24 * 3600; // in the queue
    std::int64_t poll = 10;                                 // between two looks at the queues

    friend bool operator==(const RunnerSettings&, const RunnerSettings&) = default;
};

// The settings of an installation: the file, and below it the host's own defaults (charsets and
// numbers of the table of known keys, queue directories below the spool). Relative paths in the file count
// from the file's folder on, and come out so that the program's current folder leads to them. Immutable once
// loaded, and then usable from several threads.
class IniSettings final : public GlobalSetting {
public:
    IniSettings() = default; // the defaults alone

    // Reads the settings from a file or a text; what the object held is replaced. True when every line
    // could be read; what could not is in check(). Nothing throws but std::bad_alloc.
    bool load(const std::string& path);
    bool parse(std::string_view text);

    int getValue(const char* key, std::string& value, const char* section, int reserved) override;
    int getIntValue(const char* key, int& value, const char* section, int reserved) override;

    // Everything that is wrong, by line: lines that are none, keys given twice, values of the wrong kind
    // (errors), sections and keys that nobody reads (warnings).
    Findings check() const;

    // A value that is not of its kind leaves the default.
    PlatformSettings platform() const;
    SnmpSettings snmp() const;

    RunnerSettings runner() const;
    MilterSettings milter() const;

    const IniFile& file() const { return file_; }

private:
    std::optional<std::string> lookUp(std::string_view section, std::string_view key) const;
    std::string placed(const KnownKey* known, const std::string& value) const;

    IniFile file_;
    std::string folder_; // of the file; empty: the current one
    Findings problems_;
};

} // namespace quzo::platform
