// Tokens of one rule must not show in the next, and no value may come from a message as bytes that are no
// text: they end up in notifications, stamps and subjects.
#include "host/scan/rule_tokens.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <set>
#include <string_view>

#include "host/policy/token_name.h"
#include "host/scan/envelope.h"
#include "platform/base/ascii.h"
#include "platform/message/values/readable_text.h"
#include "quzo/tokens/action_utils.h"

namespace quzo::host {
namespace {

// Codes whose values belong to one rule: first and last of each stretch.
constexpr std::int32_t kRuleCodes[][2] = {{0, 4}, {12, 13}, {42, 50}, {59, 63}, {66, 68}};

std::string utf8(std::string_view text) { return platform::readableText(text, "utf-8"); }

template <typename Texts>
std::string joinedTexts(const Texts& texts, std::string_view separator) {
    std::string all;
    for (const std::string& text : texts) {
        all += all.empty() ? std::string_view() : separator;
        all += text;
    }
    return all;
}

std::string headerRecipients(const ReceivedHeader& header) {
    std::string all;
    for (const char* name : {"To", "Cc", "Bcc"}) {
        for (const std::string_view value : header.rawValues(name)) {
            eachAddress(value, [&](const std::string& address) {
                all.append(all.empty() ? "" : ";").append(address);
                return true;
            });
        }
    }
    return all;
}

std::string messageId(const ReceivedHeader& header) {
    const std::vector<std::string_view> values = header.rawValues("Message-ID");
    return values.empty() ? std::string() : utf8(platform::trimmed(values.front()));
}

// An entry of the list of marked entities: a number for people and the entity's identity.
std::string markOf(const MarkedEntities::Entry& entry) {
    char text[64];
    std::snprintf(text, sizeof text, "%zu %" PRIxPTR, entry.number,
                  reinterpret_cast<std::uintptr_t>(entry.entity));
    return text;
}

} // namespace

RuleTokens::RuleTokens(TokenMap<ScanToken>& tokens, platform::MailMessage& msg, const ScannerOptions& options,
                       const std::string& firstIdentifier)
    : tokens_(tokens), msg_(msg), options_(options), firstIdentifier_(firstIdentifier), given_(tokens) {}

const std::string* RuleTokens::valueForCondition(ScanToken code, const ReceivedHeader& header) {
    if (!prepared_) {
        setMessageValues(header);
        prepared_ = true;
    }
    if (const std::string* value = tokens_.find(code); value != nullptr && !value->empty()) {
        return value;
    }
    // Some values are computed from the message; they are put into the map.
    if (const char* name = tokenName(code); name != nullptr) {
        ActionUtils::getTokenValue(tokens_, name, msg_);
    }
    return tokens_.find(code);
}

void RuleTokens::beginRule(const Rule& rule, const MarkedEntities& marked, const ReceivedHeader& header) {
    removeFormerRule();
    setMessageValues(header);
    tokens_.set(ScanToken::RuleId, std::to_string(rule.id));
    tokens_.set(ScanToken::RuleName, utf8(rule.name));
    tokens_.set(ScanToken::RuleType, "content");
    if (!marked.empty()) {
        setMarked(marked);
    }
}

void RuleTokens::removeFormerRule() {
    for (const auto& [first, last] : kRuleCodes) {
        for (std::int32_t code = first; code <= last; ++code) {
            const auto token = static_cast<ScanToken>(code);
            if (const std::string* value = given_.find(token); value != nullptr) {
                tokens_.set(token, *value);
            } else {
                tokens_.RemoveToken(token);
            }
        }
    }
}

void RuleTokens::setUnlessGiven(ScanToken code, std::string value) {
    if (given_.valueOrEmpty(code).empty()) {
        tokens_.set(code, std::move(value));
    }
}

// The envelope may have been changed by a former rule, so these are set anew.
void RuleTokens::setMessageValues(const ReceivedHeader& header) {
    setUnlessGiven(ScanToken::Sender, utf8(msg_.sender()));
    setUnlessGiven(ScanToken::Recipients, utf8(joinedTexts(msg_.recipients(), ";")));
    setUnlessGiven(ScanToken::HeaderRecipients, headerRecipients(header));
    setUnlessGiven(ScanToken::MailId, messageId(header));
    setUnlessGiven(ScanToken::OriginalMailId,
                   utf8(firstIdentifier_.empty() ? msg_.getIdentifier() : firstIdentifier_));
    setUnlessGiven(ScanToken::Protocol, options_.protocol);
    setUnlessGiven(ScanToken::MessageSize, std::to_string(msg_.original().size()));
    setUnlessGiven(ScanToken::HostName, utf8(options_.hostname));
}

void RuleTokens::setMarked(const MarkedEntities& marked) {
    std::string marks;
    std::string numbers;
    std::vector<std::string> names;
    std::set<std::string> types;
    std::size_t bytes = 0;
    for (const MarkedEntities::Entry& entry : marked.entries) {
        marks += (marks.empty() ? "" : ";") + markOf(entry);
        numbers += (numbers.empty() ? "" : "; ") + std::to_string(entry.number);
        names.insert(names.end(), entry.names.begin(), entry.names.end());
        types.insert(entry.contentTypes.begin(), entry.contentTypes.end());
        bytes += entry.bodyBytes;
    }
    tokens_.set(ScanToken::MarkedEntities, marks);
    tokens_.set(ScanToken::SampleEntities, std::move(marks));
    tokens_.set(ScanToken::Entity, std::move(numbers));
    tokens_.set(ScanToken::FileName, utf8(joinedTexts(names, "; ")));
    tokens_.set(ScanToken::FileType, utf8(joinedTexts(types, "; ")));
    tokens_.set(ScanToken::Detected, utf8(joinedTexts(marked.patterns, "; ")));
    tokens_.set(ScanToken::AttachmentSize, std::to_string(bytes));
    tokens_.set(ScanToken::AttachmentCount, std::to_string(marked.entries.size()));
}

void RuleTokens::actionTaken(QuzoAction::ActionType type) {
    const std::string code = std::to_string(static_cast<std::uint32_t>(type));
    for (const ScanToken list : {ScanToken::ActionCodes, ScanToken::RuleActionCodes}) {
        std::string codes = tokens_.valueOrEmpty(list);
        codes += codes.empty() ? "" : ";";
        tokens_.set(list, codes + code);
    }
    // Their display texts are computed from the lists and kept; they are to be computed anew.
    tokens_.RemoveToken(ScanToken::Action);
    tokens_.RemoveToken(ScanToken::RuleAction);
}

} // namespace quzo::host
