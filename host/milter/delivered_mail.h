// What a message has become, as far as a mail server has to be told.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/gateway/message_pipeline.h"
#include "host/milter/header_edits.h"
#include "host/milter/mail_editor.h"

namespace quzo::host {

struct DeliveredMail {
    std::vector<MailField> fields;
    std::size_t bodyBegin = 0; // in what the result writes
    bool bodyChanged = false;
};

// Reads the result's bytes, whose original has its body at `receivedBody`. Keeps the header only: a large
// body is compared as it is written.
DeliveredMail deliveredMail(const MessageResult& result, std::size_t receivedBody);

// Hands the new body over, in pieces that the protocol takes. False when the server took one of them not.
bool sendBody(const MessageResult& result, std::size_t bodyBegin, MailEditor& editor);

} // namespace quzo::host
