// The fields of named objects: the names under which people meet them on the command line and in files.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "platform/base/finding.h"
#include "platform/store/stored_object.h"

namespace quzo::host {

// The value of a field. Lines, texts and words are UTF-8 without NUL; the lines of a text end with LF or
// CRLF.
using ObjectValue = std::variant<std::string, bool, std::uint32_t>;

// In the order in which the table reads. NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
struct ObjectField {
    enum class Type : std::uint8_t {
        Line,   // a string without control characters
        Text,   // a string of any number of lines
        Number, // 0 to 4294967295
        Flag,
        Word // a string, one of `words`
    };
    const char* name;
    Type type;
    const char* help;
    std::span<const std::string_view> words{};

    // Both take an object of the field's own kind. set() gets a value of the field's type.
    ObjectValue (*get)(const QuzoNamedObj& object) = nullptr;
    void (*set)(QuzoNamedObj& object, const ObjectValue& value) = nullptr;

    // What is wrong with a string, such as an address that is none, without a place; null: nothing is asked
    // of it.
    std::optional<platform::Finding> (*problem)(const std::string& text) = nullptr;

    bool optional = false; // a file of objects leaves it out where it is empty
};

// The fields of a kind, in the order in which they are shown and must be set. Empty for no kind of ours.
std::span<const ObjectField> objectFields(platform::ObjectKind kind);

// The field of that name; null when the kind has none.
const ObjectField* findObjectField(platform::ObjectKind kind, std::string_view name);

} // namespace quzo::host
