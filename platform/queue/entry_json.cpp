// The text form of a queue entry. See queue_entry.h.
//
// The files are ours, but they lie on a disk that others may write to, and what is done with an entry depends
// on them: whatever is not exactly as it was written is refused rather than guessed at.
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "platform/base/escaped_text.h"
#include "platform/queue/queue_entry.h"
#include "platform/queue/queue_names.h"
#include "quzo/core/error_text.h"

namespace quzo::platform {
namespace {

using Json = nlohmann::json;

constexpr int kFormat = 1;
constexpr int kMaxDepth = 16;
constexpr std::int64_t kMaxTime = std::int64_t{1} << 53U; // so that differences of times cannot overflow

constexpr std::uint32_t kMaxMarkEnd = 2; // a line break

// What a reader throws; it does not leave this file.
struct Refused {
    int error;
};

void require(bool condition, int error = kErrorMalformedText) {
    if (!condition) {
        throw Refused{error};
    }
}

// Refuses too deep a nesting, before anything recursive sees the value, and a key that comes twice.
class Watch {
public:
    bool operator()(int depth, Json::parse_event_t event, const Json& value) {
        require(depth <= kMaxDepth, kErrorLimit);
        switch (event) {
            case Json::parse_event_t::object_start:
                keys_.emplace_back();
                break;
            case Json::parse_event_t::object_end:
                keys_.pop_back();
                break;
            case Json::parse_event_t::key:
                require(keys_.back().insert(value.get_ref<const std::string&>()).second);
                break;
            default:
                break;
        }
        return true;
    }

private:
    std::vector<std::set<std::string>> keys_;
};

Json parse(std::string_view text) {
    Watch watch;
    try {
        return Json::parse(text.begin(), text.end(),
                           [&watch](int depth, Json::parse_event_t event, Json& value) {
                               return watch(depth, event, value);
                           });
    } catch (const Json::exception&) {
        throw Refused{kErrorMalformedText};
    }
}

// One JSON object, emptied field by field; what is left is unknown.
class Fields {
public:
    explicit Fields(Json object) : object_(std::move(object)) { require(object_.is_object()); }

    std::optional<Json> take(const char* name) {
        const auto found = object_.find(name);
        if (found == object_.end()) {
            return std::nullopt;
        }
        Json value = std::move(*found);
        object_.erase(found);
        return value;
    }

    template <typename Number>
    std::optional<Number> number(const char* name) {
        const auto value = take(name);
        if (!value) {
            return std::nullopt;
        }
        require(value->is_number_integer());
        if (value->is_number_unsigned()) {
            const auto wide = value->get<std::uint64_t>();
            require(std::in_range<Number>(wide));
            return static_cast<Number>(wide);
        }
        const auto wide = value->get<std::int64_t>();
        require(std::in_range<Number>(wide));
        return static_cast<Number>(wide);
    }

    std::optional<std::int64_t> time(const char* name) {
        const auto value = number<std::int64_t>(name);
        require(!value || (*value >= 0 && *value <= kMaxTime));
        return value;
    }

    std::string text(const char* name) {
        const auto value = take(name);
        return value ? textOf(*value) : std::string();
    }

    static std::string textOf(const Json& value) {
        require(value.is_string());
        std::string out;
        require(unescapeText(value.get_ref<const std::string&>(), out));
        return out;
    }

    const Json& rest() const { return object_; }

private:
    Json object_;
};

void readRecipients(Fields& fields, QueueEntry& out) {
    const auto list = fields.take("recipients");
    require(list && list->is_array());
    out.recipients.reserve(list->size());
    for (const Json& recipient : *list) {
        out.recipients.push_back(Fields::textOf(recipient));
    }
}

void readRefused(Fields& fields, QueueEntry& out) {
    const auto list = fields.take("refused");
    require(!list || list->is_array());
    for (const Json& each : list ? *list : Json::array()) {
        Fields one(each);
        out.refused.push_back({one.text("recipient"), one.text("answer")});
        require(one.rest().empty());
    }
    out.split = fields.text("split");
    require(out.split.empty() || isQueueIdentifier(out.split));
}

void readTokens(Fields& fields, QueueEntry& out) {
    const auto tokens = fields.take("tokens");
    if (!tokens) {
        return;
    }
    require(tokens->is_object());
    for (const auto& [name, value] : tokens->items()) {
        require(!name.empty() && name.size() <= 9 &&
                name.find_first_not_of("0123456789") == std::string::npos && (name == "0" || name[0] != '0'));
        out.tokens[static_cast<std::uint32_t>(std::stoul(name))] = Fields::textOf(value);
    }
}

void readParts(Fields& fields, QueueEntry& out) {
    if (auto value = fields.take("area")) {
        Fields area(std::move(*value));
        out.areaId = area.number<std::uint32_t>("id");
        out.area = area.text("name");
        require(area.rest().empty());
    }
    if (auto value = fields.take("route")) {
        Fields route(std::move(*value));
        out.route = QueueRoute{route.text("host"), route.number<std::uint16_t>("port").value_or(0)};
        require(route.rest().empty() && !out.route->host.empty() && out.route->port != 0);
    }
    if (auto value = fields.take("origin")) {
        Fields origin(std::move(*value));
        out.origin = QueueOrigin{origin.text("queue"), origin.text("id")};
        require(origin.rest().empty() && isQueueIdentifier(out.origin->id));
    }
}

void read(std::string_view text, QueueEntry& out) {
    Fields fields(parse(text));
    const auto format = fields.number<std::uint32_t>("format");
    require(format.has_value());
    require(*format == kFormat, kErrorNotSupported);
    out.id = fields.text("id");
    require(isQueueIdentifier(out.id));
    const auto sender = fields.take("sender");
    require(sender.has_value());
    out.sender = Fields::textOf(*sender);
    readRecipients(fields, out);
    const auto stored = fields.time("stored");
    const auto size = fields.number<std::uint64_t>("size");
    require(stored && size);
    out.stored = *stored;
    out.size = *size;
    out.markEnd = fields.number<std::uint32_t>("mark_end").value_or(0);
    require(out.markEnd <= kMaxMarkEnd);
    out.subject = fields.text("subject");
    out.rule = fields.number<std::uint32_t>("rule");
    out.ruleName = fields.text("rule_name");
    out.aging = fields.number<std::uint32_t>("aging");
    out.due = fields.time("due");
    readParts(fields, out);
    readTokens(fields, out);
    readRefused(fields, out);
    out.previous = fields.text("previous");
    out.attempts = fields.number<std::uint32_t>("attempts").value_or(0);
    out.reason = fields.text("reason");
    out.others = fields.rest().empty() ? std::string() : fields.rest().dump();
}

void put(Json& object, const char* name, const std::string& text) {
    if (!text.empty()) {
        object[name] = escapedText(text);
    }
}

template <typename Number>
void put(Json& object, const char* name, const std::optional<Number>& number) {
    if (number) {
        object[name] = *number;
    }
}

std::optional<std::uint32_t> nonZero(std::uint32_t number) {
    return number == 0 ? std::nullopt : std::optional(number);
}

void putParts(Json& object, const QueueEntry& entry) {
    if (entry.areaId || !entry.area.empty()) {
        Json& area = object["area"] = Json::object();
        put(area, "id", entry.areaId);
        put(area, "name", entry.area);
    }
    if (entry.route) {
        require(!entry.route->host.empty() && entry.route->port != 0, kErrorInvalidArgument);
        object["route"] = {{"host", escapedText(entry.route->host)}, {"port", entry.route->port}};
    }
    if (entry.origin) {
        require(isQueueIdentifier(entry.origin->id), kErrorInvalidArgument);
        object["origin"] = {{"queue", escapedText(entry.origin->queue)}, {"id", entry.origin->id}};
    }
    for (const RefusedRecipient& each : entry.refused) {
        object["refused"].push_back(
            {{"recipient", escapedText(each.recipient)}, {"answer", escapedText(each.answer)}});
    }
    require(entry.split.empty() || isQueueIdentifier(entry.split), kErrorInvalidArgument);
    put(object, "split", entry.split);
    for (const auto& [code, text] : entry.tokens) {
        require(code < 1000000000, kErrorInvalidArgument);
        object["tokens"][std::to_string(code)] = escapedText(text);
    }
}

Json toJson(const QueueEntry& entry) {
    const std::int64_t due = entry.due.value_or(0);
    require(isQueueIdentifier(entry.id) && entry.stored >= 0 && entry.stored <= kMaxTime && due >= 0 &&
                due <= kMaxTime,
            kErrorInvalidArgument);
    Json object = entry.others.empty() ? Json::object() : parse(entry.others);
    require(object.is_object(), kErrorInvalidArgument);
    object["format"] = kFormat;
    object["id"] = entry.id;
    object["sender"] = escapedText(entry.sender);
    Json& recipients = object["recipients"] = Json::array();
    for (const std::string& recipient : entry.recipients) {
        recipients.push_back(escapedText(recipient));
    }
    object["stored"] = entry.stored;
    object["size"] = entry.size;
    put(object, "subject", entry.subject);
    put(object, "rule", entry.rule);
    put(object, "rule_name", entry.ruleName);
    put(object, "aging", entry.aging);
    put(object, "due", entry.due);
    putParts(object, entry);
    put(object, "previous", entry.previous);
    require(entry.markEnd <= kMaxMarkEnd, kErrorInvalidArgument);
    put(object, "mark_end", nonZero(entry.markEnd));
    put(object, "attempts", nonZero(entry.attempts));
    put(object, "reason", entry.reason);
    return object;
}

} // namespace

int encodeEntry(const QueueEntry& entry, std::string& out) {
    try {
        out = toJson(entry).dump(-1, ' ', true);
        out.push_back('\n');
        return out.size() > kMaxEntryText ? kErrorLimit : kErrorNone;
    } catch (const Refused& refused) {
        return refused.error;
    }
}

int decodeEntry(std::string_view text, QueueEntry& out) {
    try {
        require(text.size() <= kMaxEntryText, kErrorLimit);
        out = QueueEntry();
        read(text, out);
        return kErrorNone;
    } catch (const Refused& refused) {
        return refused.error;
    }
}

} // namespace quzo::platform
