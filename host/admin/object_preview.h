// What comes of a named object when a message meets it: its texts with the message's tokens.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/admin/object_form.h"
#include "host/policy/policy.h"
#include "host/scan/scanner.h"
#include "platform/message/mail_message.h"
#include "quzo/core/named_obj_cache.h"
#include "quzo/core/token_map.h"

namespace quzo::host {

// Fills `tokens` as a scan does when it comes to the first rule that refers to the object and matches the
// message, and returns that rule; null when there is none, and then only what holds for the message as a
// whole is filled in. What `tokens` holds already stays. The library must have been initialised.
const Rule* fillPreviewTokens(const Policy& policy, unsigned objectId, platform::MailMessage& msg,
                              const ScannerOptions& options, const NamedObjMgrForScanner& objects,
                              TokenMap<ScanToken>& tokens);

// A rendered object: short texts with their names, and the long ones. Values may hold anything that the
// message does.
struct ObjectPreview {
    std::vector<std::pair<std::string, std::string>> head;
    std::vector<std::pair<std::string, std::string>> texts;
};

// `tokens` gets what has to be computed.
ObjectPreview previewObject(const ObjectForm& form, TokenMap<ScanToken>& tokens,
                            const platform::MailMessage& msg);

} // namespace quzo::host
