// The texts of a notification, with the tokens of the message in them.
#pragma once

#include <string>

#include "quzo/core/token_map.h"

namespace quzo {

class KvMsgMailMessage;
class uiNotifyArea;

struct NotificationTexts {
    std::string subject; // UTF-8
    std::string snmp;    // UTF-8; empty when no trap is asked for
    std::string body;
    std::string charset; // of the body; the header is written in it too
};

// Replaces the tokens of the template's texts and puts the body into the installation's default destination
// charset, or leaves it in UTF-8 where that does not have all its characters. Without a message (null) tokens
// stay as they are. False, said at level 1, when memory ran out; may throw std::bad_alloc too.
bool makeNotificationTexts(const uiNotifyArea& area, const KvMsgMailMessage* msg, TokenMap<ScanToken>& tokens,
                           NotificationTexts& texts);

// "<...>", from the scanner's number, a time and the queue identifier of the scanned message.
std::string notificationMessageId(unsigned scannerId, unsigned long long microseconds,
                                  const char* identifier);

// Whether the charset has this name, which is compared without regard to case.
bool isCharset(const std::string& charset, const char* name);

// Whether the default destination charset is us-ascii and the text is more than that.
bool exceedsUsAscii(const std::string& text);

} // namespace quzo
