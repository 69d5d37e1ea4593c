// What comes of a named object when a message meets it: its texts with the message's tokens.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/admin/object_form.h"
#include "host/gateway/message_pipeline.h"
#include "platform/message/mail_message.h"
#include "quzo/core/token_map.h"

namespace quzo::host {

// A rendered object: short texts with their names, and the long ones. Values may hold anything that the
// message does.
struct ObjectPreview {
    std::vector<std::pair<std::string, std::string>> head;
    std::vector<std::pair<std::string, std::string>> texts;
};

ObjectPreview previewObject(const ObjectForm& form, TokenMap<ScanToken> tokens,
                            const platform::MailMessage& msg);

// What a message makes of an object.
struct MessagePreview {
    std::optional<ObjectPreview> object{}; // none for a message that no rule is tried on
    std::optional<ScanError> error{};      // then: why

    // The rule with whose tokens it is: the first one to act on the message that refers to the object. None:
    // no rule does, and the tokens are those of the message as a whole.
    std::optional<std::uint32_t> ruleId{};
};

// A dry run of the message; `job` need not say so. Throws as passMessage() does.
MessagePreview previewObject(const Snapshot& snapshot, platform::Queues* queues, const ObjectForm& form,
                             unsigned objectId, MessageJob job);

} // namespace quzo::host
