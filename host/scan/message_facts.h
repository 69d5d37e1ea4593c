// What conditions ask of a message, each answer worked out once.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/policy/policy.h"
#include "host/scan/received_header.h"
#include "platform/message/all_parts.h"
#include "platform/message/mail_message.h"
#include "platform/message/structure/limits.h"
#include "quzo/core/token_map.h"

namespace quzo::host {

class RuleTokens;

// One part of the message, or of what a reader may see in it (platform/message/all_parts.h).
struct EntityFacts {
    platform::SeenPart part;
    std::vector<std::string> contentTypes; // "type/subtype", lower case; several when fields contradict
    std::vector<std::string> names;        // every name that it bears, valid UTF-8
};

// Answers about one message, shared by all rules. Ask only while the message is as it was received: what the
// answers say is the message's state at the time of the first question. Nothing is looked at before it is
// asked for. All arguments outlive the object.
class MessageFacts {
public:
    MessageFacts(platform::MailMessage& msg, const Policy& policy, const platform::Limits& limits,
                 RuleTokens& tokens)
        : msg_(msg), policy_(policy), limits_(limits), tokens_(tokens) {}

    const std::string& sender() const { return msg_.sender(); }
    const std::vector<std::string>& recipients() const { return msg_.recipients(); }
    std::size_t size() const { return msg_.original().size(); }

    // The values of the fields with the name at `index` of Policy::headerNames.
    const std::vector<std::string>& header(std::uint32_t index);

    // The token's value; null when there is none. Holds until the next question.
    const std::string* token(ScanToken code);

    bool isSigned();
    bool isEncrypted();

    // The message's own entities, in document order, and behind them what other readings show.
    const std::vector<EntityFacts>& entities();

    // The text parts in the same order, valid UTF-8: the first MiB of each, and 8 MiB of all together.
    const std::vector<std::string>& bodyTexts();

    // The formats of files that lie inside of parts.
    platform::EmbeddedFormats embeddedFormats();

    const ReceivedHeader& receivedHeader();

    // Whether an answer needed the entities, of which a limit may have hidden some.
    bool lookedAtEntities() const { return parts_.has_value(); }

    // Whether a limit kept something from being looked at, now that the entities have been.
    bool limited() const { return parts_ && parts_->limited(); }

private:
    const std::vector<platform::SeenPart>& parts();

    platform::MailMessage& msg_;
    const Policy& policy_;
    const platform::Limits& limits_;
    RuleTokens& tokens_;
    std::optional<ReceivedHeader> receivedHeader_;
    std::vector<std::optional<std::vector<std::string>>> headers_; // by index, empty before the first
    std::optional<bool> signed_;
    std::optional<bool> encrypted_;
    std::optional<platform::AllParts> parts_;
    std::optional<std::vector<EntityFacts>> entities_;
    std::optional<platform::EmbeddedFormats> embeddedFormats_;
    std::optional<std::vector<std::string>> bodyTexts_;
};

} // namespace quzo::host
