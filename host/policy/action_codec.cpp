// The command line gives everything as text, so values are turned into what their fields take first. The
// texts of both directions are the same, and so are the checks that a policy goes through.
#include "host/policy/action_codec.h"

#include <algorithm>
#include <limits>

#include "host/policy/action_check.h"
#include "host/policy/action_type.h"
#include "platform/base/nearest.h"
#include "platform/base/numbers.h"
#include "platform/base/visible_text.h"

namespace quzo::host {
namespace {

using Kind = FieldType::Kind;

std::string unknownType(std::string_view type) {
    std::vector<std::string_view> names;
    for (const PolicyActionType& known : policyActionTypes()) {
        names.emplace_back(known.name);
    }
    return platform::quotedText(type) + " is no action type: " + platform::suggestion(type, names);
}

void appendSplit(std::vector<std::string>& list, std::string_view text, char separator) {
    while (true) {
        const std::size_t end = std::min(text.find(separator), text.size());
        list.emplace_back(text.substr(0, end));
        if (end == text.size()) {
            return;
        }
        text.remove_prefix(end + 1);
    }
}

// Adds one pair to the fields; an empty text, or what is wrong.
std::string addPair(const FieldType& field, const std::string& text, Fields& fields) {
    const auto known =
        std::find_if(fields.begin(), fields.end(), [&](const Field& f) { return f.key == field.key; });
    if (field.kind == Kind::TextList || field.kind == Kind::Ids) {
        auto& list = known != fields.end()
                         ? known->value
                         : fields.emplace_back(Field{field.key, std::vector<std::string>()}).value;
        appendSplit(std::get<std::vector<std::string>>(list), text, field.kind == Kind::Ids ? ',' : ';');
        return {};
    }
    if (known != fields.end()) {
        return "it is given twice: give it once";
    }
    switch (field.kind) {
        case Kind::Flag:
            if (text != "true" && text != "false") {
                return platform::quotedText(text) + " is no flag: give true or false";
            }
            fields.push_back({field.key, text == "true"});
            return {};
        case Kind::Number: {
            const auto number = platform::parseNumber<std::int64_t>(text);
            if (!number) {
                return platform::quotedText(text) + " is no number: give decimal digits";
            }
            fields.push_back({field.key, *number});
            return {};
        }
        case Kind::Object:
            return "named objects need a store: give ids=1,2,3";
        default:
            fields.push_back({field.key, text});
            return {};
    }
}

std::string textOf(const FieldValue& value, char separator) {
    if (const auto* text = std::get_if<std::string>(&value)) {
        return *text;
    }
    if (const auto* flag = std::get_if<bool>(&value)) {
        return *flag ? "true" : "false";
    }
    if (const auto* number = std::get_if<std::int64_t>(&value)) {
        return std::to_string(*number);
    }
    std::string joined;
    for (const std::string& entry : std::get<std::vector<std::string>>(value)) {
        joined += joined.empty() ? "" : std::string(1, separator);
        joined += entry;
    }
    return joined;
}

void readPairs(const PolicyActionType& type, const std::vector<std::pair<std::string, std::string>>& pairs,
               Fields& fields, std::vector<std::string>& faults) {
    std::vector<std::string_view> keys;
    for (const FieldType& field : type.fields) {
        if (field.kind != Kind::Object) {
            keys.emplace_back(field.key);
        }
    }
    for (const auto& [key, text] : pairs) {
        const auto field =
            std::find_if(type.fields.begin(), type.fields.end(),
                         [&, name = std::string_view(key)](const FieldType& f) { return f.key == name; });
        if (field == type.fields.end()) {
            std::string unknown = key;
            unknown.append(": ").append(type.name).append(" has no such key: ");
            unknown += keys.empty() ? "it takes none" : platform::suggestion(key, keys);
            faults.push_back(std::move(unknown));
        } else if (const std::string fault = addPair(*field, text, fields); !fault.empty()) {
            faults.push_back(fault);
            faults.back().insert(0, ": ").insert(0, key);
        }
    }
    for (const FieldType& field : type.fields) {
        const auto given = [&](const auto& pair) { return pair.first == field.key; };
        if (field.required && std::none_of(pairs.begin(), pairs.end(), given)) {
            faults.push_back(std::string(field.key) + ": it is missing: give " + field.key + "=VALUE");
        }
    }
}

} // namespace

Encoded encodeAction(std::string_view type, const std::vector<std::pair<std::string, std::string>>& pairs) {
    Encoded result;
    const PolicyActionType* known = findActionType(type);
    if (known == nullptr) {
        result.status = CodecStatus::UnknownType;
        result.faults.push_back(unknownType(type));
        return result;
    }
    Fields fields;
    readPairs(*known, pairs, fields, result.faults);
    platform::Finding fault;
    if (result.faults.empty() && (!known->encode(fields, result.setting, fault) ||
                                  !checkComesBack(*known, result.setting, &fields, fault))) {
        result.faults.push_back(fault.where + ": " + fault.problem + ": " + fault.remedy);
    }
    result.status = result.faults.empty() ? CodecStatus::Done : CodecStatus::Refused;
    return result;
}

Decoded decodeAction(std::string_view type, std::string_view setting) {
    Decoded result;
    const PolicyActionType* known = findActionType(type);
    if (known == nullptr) {
        result.status = CodecStatus::UnknownType;
        result.faults.push_back(unknownType(type));
        return result;
    }
    const bool fits = setting.size() <= std::numeric_limits<int>::max();
    const std::optional<Fields> fields = fits ? known->decode(setting) : std::nullopt;
    if (!fields) {
        result.status = CodecStatus::Refused;
        result.faults.push_back("setting: it is no setting text of " + std::string(known->name) +
                                ": make one with `quzo action encode`");
        return result;
    }
    for (const Field& field : *fields) {
        const bool addresses = std::string_view(field.key) == "to";
        result.fields.emplace_back(field.key, textOf(field.value, addresses ? ';' : ','));
    }
    return result;
}

} // namespace quzo::host
