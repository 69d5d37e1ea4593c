// The one table of action types: what a policy may say of each, and how its action is made.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "platform/base/finding.h"
#include "platform/queue/queues.h"
#include "platform/store/stored_object.h"
#include "quzo/core/action.h"

namespace quzo::host {

// A value of an action's field: a text, a flag, a number, or a list of texts.
using FieldValue = std::variant<std::string, bool, std::int64_t, std::vector<std::string>>;

struct Field {
    std::string key;
    FieldValue value;
};
using Fields = std::vector<Field>;

// The value of a field, or null.
const FieldValue* findField(const Fields& fields, std::string_view key);

struct FieldType {
    // Objects are named in policies; Ids stand for them where there is no store to ask.
    enum class Kind : std::uint8_t { Text, Flag, Number, TextList, Object, Ids };
    const char* key;
    Kind kind;
    bool required;
};

struct PolicyActionType {
    const char* name = ""; // as policies and results spell it
    QuzoAction::ActionType type{};
    std::span<const FieldType> fields = {};

    // The setting text of the fields, made with the administration-side object; `setting` is replaced.
    // False with a fault, whose place is the field's key. Kinds have been checked against `fields`.
    bool (*encode)(const Fields& fields, std::string& setting, platform::Finding& fault) = nullptr;

    // The fields of a setting text; empty when it is refused.
    std::optional<Fields> (*decode)(std::string_view setting) = nullptr;

    bool canConsume = false;   // can take the message out of delivery
    bool mayChange = false;    // can change the message or its envelope
    bool stores = false;       // puts a copy of the message somewhere
    bool mustKeep = false;     // that copy is what somebody counts on: without it the message must not go on
    bool isMark = false;       // does nothing itself: a later stage reads the mark
    bool hasNoSetting = false; // must be given no setting text at all

    // The queues that it puts messages into; none for types that do without.
    std::span<const platform::QueueKind> queues = {};

    // The kind of named objects that its settings list.
    std::optional<platform::ObjectKind> objectKind = {};

    // The scanner-side action, without settings; null when memory runs out. No function: this build does not
    // have the type.
    std::unique_ptr<QuzoAction> (*make)(QuzoAction::ActionType type) = nullptr;

    bool inThisBuild() const { return make != nullptr; }

    // Whether a message is tried again when such an action fails and the policy does not say what to do.
    bool failureDefers() const { return canConsume || mustKeep; }
};

// Every known type, also those that this build does not have, by code.
std::span<const PolicyActionType> policyActionTypes();

// The type of that name; null when there is none.
const PolicyActionType* findActionType(std::string_view name);

// All queues that actions of a type put messages into.
inline std::span<const platform::QueueKind> queuesOf(const PolicyActionType& type) { return type.queues; }

// A new action of the type with its settings; null when this build does not have it or it refuses them.
// Throws std::bad_alloc.
std::unique_ptr<QuzoAction> makeAction(const PolicyActionType& type, const std::string& setting);

} // namespace quzo::host
