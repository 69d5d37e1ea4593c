// One notification while it is composed: what the steps of composing hand to each other.
#pragma once

#include <string>

#include "quzo/core/handles.h"
#include "quzo/core/message.h"
#include "quzo/core/token_map.h"
#include "quzo/notify/notification_texts.h"
#include "quzo/settings/ui_notify_area.h"

namespace quzo {

class KvIsAdapter;

struct Notification {
    // What it is made from; the caller's.
    const uiNotifyArea& area;
    KvMsgMailMessage* msg;               // the scanned message; may be null
    const KvMsgMailMessage* originalMsg; // as received; may be null
    TokenMap<ScanToken>& tokens;

    NotificationTexts texts;
    std::string messageId;
    std::string to; // the "To" field's list, separated by ";"

    // The mail. Its envelope's view goes before it does.
    MessageHandle message;
    KvMsgEntity* root = nullptr;
    SessionHandle session;
};

// The steps, in the order in which they are taken. Each is true when composing may go on; a failure has been
// logged, and the mail is then dropped by dropping the Notification. They may throw std::bad_alloc.

// Makes the empty mail and its Message-ID.
bool createNotification(Notification& mail);

// Envelope, "From" and the list for "To".
bool addressNotification(Notification& mail);

// Whether there is somebody to send it to. The result is false only when that cannot be told.
bool hasRecipient(const Notification& mail, bool& has);

// Header fields, body and the attached message.
bool fillNotification(Notification& mail);

// Hands it to the adapter, marked when it is to pass the scanner, and drops the mail. Allocates nothing once
// the adapter has it: what was sent never becomes a failure.
bool sendNotification(Notification& mail, KvIsAdapter& adapter);

} // namespace quzo
