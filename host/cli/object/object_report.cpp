// Lines for people have the field names of the options in their first column.
#include "host/cli/object/object_report.h"

#include <cstddef>
#include <optional>

#include "host/admin/object_form.h"
#include "host/cli/object/object_table.h"
#include "platform/base/visible_text.h"

namespace quzo::host {
namespace {

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

} // namespace

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

} // namespace quzo::host
