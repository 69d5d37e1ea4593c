// See object_json.h.
#include "host/admin/object_json.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <optional>
#include <utility>

#include "host/admin/object_form.h"

namespace quzo::host {
namespace {

using Json = nlohmann::ordered_json;
using platform::ObjectKind;

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
