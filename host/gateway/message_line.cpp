// See message_line.h. All that a message brings is bounded before it is escaped, so that no message can fill
// the log.
#include "host/gateway/message_line.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <exception>

#include "platform/base/visible_text.h"
#include "quzo/core/msgu.h"

namespace quzo::host {
namespace {

using Form = platform::PlatformSettings::LogMessages;

// The first bytes of a text, and not half of a UTF-8 character.
std::string bounded(std::string_view text) {
    if (text.size() <= MessageLine::kMostText) {
        return std::string(text);
    }
    std::size_t end = MessageLine::kMostText;
    for (int i = 0; i < 3 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80; ++i) {
        --end;
    }
    return std::string(text.substr(0, end)) + "...";
}

bool isPlain(char c) {
    constexpr std::string_view kMarks = "@._-+/:%,<>";
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           kMarks.find(c) != std::string_view::npos;
}

// The backslashes of the text itself are doubled, those of escaped bytes are not.
std::string quotedIfNeeded(const std::string& text) {
    if (!text.empty() && std::all_of(text.begin(), text.end(), isPlain)) {
        return text;
    }
    std::string out = "\"";
    for (const char c : text) {
        out.append(c == '"' || c == '\\' ? 1 : 0, '\\').push_back(c);
    }
    return platform::visibleText(out) + "\"";
}

template <typename Entry>
void addBounded(std::vector<Entry>& list, Entry entry) {
    if (list.size() < MessageLine::kMostEntries) {
        list.push_back(std::move(entry));
    }
}

} // namespace

MessageLine::MessageLine(const MessageResult& result, const MessageFacts& facts)
    : id_(result.identifier.value_or("")),
      file_(bounded(facts.name)),
      sender_(bounded(result.envelope.sender)),
      recipientCount_(result.envelope.recipients.size()),
      outcome_(outcomeName(result.scan.outcome)),
      error_(bounded(result.scan.error ? std::string_view(result.scan.error->text) : facts.error)),
      milliseconds_(std::chrono::duration_cast<std::chrono::milliseconds>(facts.taken).count()) {
    if (result.message != nullptr) {
        bytes_ = result.message->original().size();
        msgu::getHeader(result.message->getRootEntity(), "Message-ID", messageId_);
        messageId_ = bounded(messageId_);
    }
    for (const std::string& recipient : result.envelope.recipients) {
        if (recipients_.size() == kMostEntries) {
            break;
        }
        recipients_.push_back(bounded(recipient));
    }
    for (const RuleResult& rule : result.scan.rules) {
        addBounded(rules_, rule.id);
        for (const ActionResult& action : rule.actions) {
            if (!action.skipped) {
                addBounded(actions_, std::string(action.type));
            }
            if (!action.skipped && !action.ok) {
                addBounded(failed_, std::string(action.type));
            }
        }
    }
}

std::string MessageLine::text() const {
    std::string line;
    const auto add = [&](std::string_view key, const std::string& value) {
        line += fmt::format("{}{}={}", line.empty() ? "" : " ", key, quotedIfNeeded(value));
    };
    add("id", id_);
    add("file", file_);
    add("message_id", messageId_);
    add("from", sender_);
    add("to", fmt::format("{}", fmt::join(recipients_, ",")));
    add("recipients", std::to_string(recipientCount_));
    add("size", std::to_string(bytes_));
    add("rules", fmt::format("{}", fmt::join(rules_, ",")));
    add("actions", fmt::format("{}", fmt::join(actions_, ",")));
    add("failed", fmt::format("{}", fmt::join(failed_, ",")));
    add("outcome", outcome_);
    add("error", error_);
    add("ms", std::to_string(milliseconds_));
    return line;
}

std::string MessageLine::json() const {
    const auto orNull = [](const std::string& text) {
        return text.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(text);
    };
    const nlohmann::ordered_json line = {
        {"id", orNull(id_)},   {"file", orNull(file_)}, {"message_id", orNull(messageId_)},
        {"from", sender_},     {"to", recipients_},     {"recipients", recipientCount_},
        {"size", bytes_},      {"rules", rules_},       {"actions", actions_},
        {"failed", failed_},   {"outcome", outcome_},   {"error", orNull(error_)},
        {"ms", milliseconds_},
    };
    return line.dump(-1, ' ', true, nlohmann::ordered_json::error_handler_t::replace);
}

void MessageLog::tell(const MessageResult& result, const MessageFacts& facts) const noexcept {
    try {
        const MessageLine line(result, facts);
        log_.tell(form_ == Form::Json ? line.json() : line.text());
    } catch (const std::exception&) { // memory ran out, which the message has been told of
        return;
    }
}

} // namespace quzo::host
