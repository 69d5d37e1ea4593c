// Lines for people have the field names of the options in their first column.
#include "host/cli/object/object_report.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <optional>

#include "host/admin/object_form.h"
#include "host/cli/object/object_table.h"
#include "platform/base/visible_text.h"

namespace quzo::host {
namespace {

using Json = nlohmann::ordered_json;
using platform::ObjectKind;

constexpr std::size_t kNameWidth = 19; // of the longest field name, and a gap

std::string line(const std::string& name, const std::string& value) {
    std::string text = name;
    text.append(name.size() < kNameWidth && !value.empty() ? kNameWidth - name.size() : 0, ' ');
    return text + platform::visibleText(value) + "\n";
}

const char* yesNo(bool flag) { return flag ? "yes" : "no"; }

std::string shortText(const ObjectValue& value) {
    if (const auto* flag = std::get_if<bool>(&value)) {
        return yesNo(*flag);
    }
    const auto* number = std::get_if<std::uint32_t>(&value);
    return number != nullptr ? std::to_string(*number) : std::get<std::string>(value);
}

Json fieldsJson(ObjectKind kind, const std::string& content) {
    const std::optional<ObjectForm> form = ObjectForm::read(kind, content);
    if (!form) {
        return nullptr;
    }
    Json fields = Json::object();
    for (const auto& [name, value] : form->values()) {
        std::visit([&fields, &key = name](const auto& content_) { fields[key] = content_; }, value);
    }
    return fields;
}

// "2024-05-01T12:00:00Z", for programs.
std::string isoTime(std::chrono::sys_seconds time) {
    const std::string text = platform::objectTime(time);
    const std::size_t blank = text.find(' ');
    return text.substr(0, blank) + "T" + text.substr(blank + 1, text.rfind(' ') - blank - 1) + "Z";
}

Json summary(const platform::ObjectSummary& object) {
    return {{"id", object.id},
            {"tenant", object.tenant},
            {"kind", platform::objectKindName(object.kind)},
            {"name", object.name},
            {"revision", object.revision},
            {"changed", isoTime(object.changed)},
            {"author", object.author},
            {"in_use", object.inUse},
            {"read_only", object.readOnly}};
}

std::string dumped(const Json& json) {
    return json.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n";
}

} // namespace

std::string summaryJson(const platform::ObjectSummary& object) { return dumped(summary(object)); }

std::string fieldsText(ObjectKind kind, const std::string& content) {
    const std::optional<ObjectForm> form = ObjectForm::read(kind, content);
    std::string text;
    for (const auto& [name, value] : form ? form->values() : ObjectValues()) {
        const auto* string = std::get_if<std::string>(&value);
        const bool severalLines = string != nullptr && string->find('\n') != std::string::npos;
        text += severalLines ? name + "\n" + shownLines(*string, "    ") : line(name, shortText(value));
    }
    return text;
}

std::string objectText(const platform::StoredObject& object,
                       const std::vector<platform::ObjectReference>& references) {
    std::string text = line("kind", platform::objectKindName(object.kind)) + line("name", object.name) +
                       line("id", std::to_string(object.id)) +
                       line("revision", std::to_string(object.revision)) +
                       line("changed", platform::objectTime(object.changed)) + line("author", object.author) +
                       line("read-only", yesNo(object.readOnly));
    if (references.empty()) {
        text += line("in use", "no");
    }
    for (const platform::ObjectReference& reference : references) {
        text += line("in use", "rule " + std::to_string(reference.ruleId) + " " + reference.ruleName);
    }
    return text + fieldsText(object.kind, object.content);
}

std::string objectJson(const platform::StoredObject& object,
                       const std::vector<platform::ObjectReference>& references) {
    Json rules = Json::array();
    for (const platform::ObjectReference& reference : references) {
        rules.push_back({{"id", reference.ruleId}, {"name", reference.ruleName}});
    }
    Json json = summary(object);
    json["rules"] = std::move(rules);
    json["fields"] = fieldsJson(object.kind, object.content);
    json["stored"] = object.content;
    return dumped(json);
}

std::string versionJson(ObjectKind kind, unsigned id, const platform::ObjectVersion& version) {
    return dumped({{"id", id},
                   {"kind", platform::objectKindName(kind)},
                   {"name", version.name},
                   {"revision", version.revision},
                   {"changed", isoTime(version.changed)},
                   {"author", version.author},
                   {"change", version.change},
                   {"fields", fieldsJson(kind, version.content)},
                   {"stored", version.content}});
}

} // namespace quzo::host
