// A named object on its way between its fields and the text in which it is stored.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/admin/object_field.h"
#include "host/policy/action_type.h"
#include "platform/base/finding.h"
#include "quzo/settings/named_obj.h"

namespace quzo::host {

// Values for some fields of an object, by name.
using ObjectValues = std::vector<std::pair<std::string, ObjectValue>>;

class ObjectForm {
public:
    // A new object, with the values that it has where nothing is said: nothing is sent and kept, a stamp goes
    // behind the text and leaves signed messages alone. `kind` must be one of ours.
    explicit ObjectForm(platform::ObjectKind kind);

    // A stored object; nothing when its text cannot be read.
    static std::optional<ObjectForm> read(platform::ObjectKind kind, std::string_view stored);

    platform::ObjectKind kind() const { return kind_; }
    const QuzoNamedObj& object() const { return *object_; }

    ObjectValue value(const ObjectField& field) const { return field.get(*object_); }
    // Those of all fields.
    ObjectValues values() const;

    // Sets fields, in the order of objectFields(). A fault names the first one that is unknown or refused,
    // and the form is then of no more use.
    std::optional<platform::Finding> set(const ObjectValues& values);

    // The text to store. A fault names the field that would not come back from it as it is.
    std::optional<platform::Finding> write(std::string& stored) const;

private:
    platform::ObjectKind kind_;
    std::unique_ptr<QuzoNamedObj> object_;
};

// The value that a text from the command line stands for; nothing, with the fault, when it is none.
std::optional<ObjectValue> parseObjectValue(const ObjectField& field, const std::string& text,
                                            platform::Finding& fault);

// Whether the fields say all that is in the text: an object that is made of them has the same text. Texts
// that other programs stored may differ, such as in a position that is neither 1 nor 2.
bool saidByFields(platform::ObjectKind kind, std::string_view stored);

// "one of before, after" and so on: what a value of the field must be.
std::string wantedValue(const ObjectField& field);

} // namespace quzo::host
