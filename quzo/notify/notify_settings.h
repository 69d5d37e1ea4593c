// The settings that all notifications share.
#pragma once

#include <string>

#include "quzo/core/settings_source.h"

namespace quzo {

struct NotifySettings {
    bool ignoreSnmpError = false; // a trap that cannot be sent is no failure
    std::string snmpServer;       // empty: no traps
    std::string community;        // empty: the platform's default
    std::string mailFrom;         // for the host; templates name their own senders
    bool skipScan = false;        // notifications with a message attached do not pass the scanner
    bool hideRecipients = false;  // the header does not tell the recipients of the original message
    bool senderFromMime = false;  // the sender to notify is that of the header, not that of the envelope
    unsigned scannerId = 0;       // part of each Message-ID
};

// What readNotifySettings found. Only read once the library is initialised.
const NotifySettings& notifySettings();

// Reads them anew, each missing one with its default; tells about the SNMP and the sender ones in the log.
// Throws std::bad_alloc. Part of initialisation.
void readNotifySettings(GlobalSetting& settings);

} // namespace quzo
