// An action is given by its type and either its fields or its stored setting text. Both ways end in a setting
// text that the scanner-side action is asked about.
#include "host/policy/action_reader.h"

#include <algorithm>
#include <iterator>

#include "host/policy/action_check.h"
#include "host/policy/action_type.h"
#include "host/policy/object_reader.h"
#include "host/policy/policy_keys.h"
#include "platform/base/nearest.h"
#include "platform/base/visible_text.h"
#include "quzo/actions/act_ferrowick.h"

namespace quzo::host {
namespace {

using Kind = FieldType::Kind;

const PolicyActionType* readType(const TableAt& at, FaultList& faults) {
    const toml::node* node = at.table.get("type");
    if (node == nullptr) {
        faults.error(lineOf(at.table), at.where, "the action has no type", "give type = \"...\"");
        return nullptr;
    }
    const std::optional<std::string> name = readText(at, "type", faults);
    if (!name) {
        return nullptr;
    }
    const PolicyActionType* type = findActionType(*name);
    if (type == nullptr) {
        std::vector<std::string_view> names;
        for (const PolicyActionType& known : policyActionTypes()) {
            names.emplace_back(known.name);
        }
        faults.error(lineOf(*node), joined(at.where, "type"),
                     platform::quotedText(*name) + " is no action type", platform::suggestion(*name, names));
    } else if (!type->inThisBuild()) {
        faults.error(lineOf(*node), joined(at.where, "type"), "this build does not have " + *name + " yet",
                     "leave the action out");
    } else if (type->type == QuzoAction::ActionType::Ferrowick && !ActFerrowick::hasFeedbackMailbox()) {
        faults.error(lineOf(*node), joined(at.where, "type"),
                     "this build has no mailbox for feedback, so samples would arrive nowhere",
                     "build with -DQUZO_FEEDBACK_MAILBOX=ADDRESS, or leave the action out");
    }
    return type;
}

OnFailure readOnFailure(const TableAt& at, const PolicyActionType& type, FaultList& faults) {
    const OnFailure standard = type.failureDefers() ? OnFailure::Defer : OnFailure::Continue;
    const std::optional<std::string> text = readText(at, "on_failure", faults);
    if (!text) {
        return standard;
    }
    for (const OnFailure known : {OnFailure::Defer, OnFailure::Continue, OnFailure::Stop}) {
        if (*text == onFailureName(known)) {
            return known;
        }
    }
    faults.error(lineOf(*at.table.get("on_failure")), joined(at.where, "on_failure"),
                 platform::quotedText(*text) + " is not known", "give \"defer\", \"continue\" or \"stop\"");
    return standard;
}

// Adds the value of one field; false with a fault when it is of another kind.
bool readField(const TableAt& at, const FieldType& field, Fields& fields, FaultList& faults) {
    switch (field.kind) {
        case Kind::Flag:
            if (const auto flag = readFlag(at, field.key, faults)) {
                fields.push_back({field.key, *flag});
                return true;
            }
            return false;
        case Kind::Number:
            if (const auto number = readNumber(at, field.key, faults)) {
                fields.push_back({field.key, *number});
                return true;
            }
            return false;
        case Kind::TextList: {
            std::vector<std::string> texts;
            for (TextAt& entry : readTexts(*at.table.get(field.key), joined(at.where, field.key), faults)) {
                texts.push_back(std::move(entry.text));
            }
            fields.push_back({field.key, std::move(texts)});
            return true;
        }
        default:
            if (const auto text = readText(at, field.key, faults)) {
                fields.push_back({field.key, *text});
                return true;
            }
            return false;
    }
}

// False when a fault was reported.
bool readFields(const TableAt& at, const PolicyActionType& type, const ObjectLookup& lookup, Fields& fields,
                FaultList& faults) {
    bool good = true;
    for (const FieldType& field : type.fields) {
        if (field.kind == Kind::Object || field.kind == Kind::Ids) {
            continue; // below
        }
        if (at.table.contains(field.key)) {
            good = readField(at, field, fields, faults) && good;
        } else if (field.required) {
            faults.error(lineOf(at.table), joined(at.where, field.key), "it is missing",
                         std::string(type.name) + " needs it");
            good = false;
        }
    }
    if (type.objectKind) {
        good = readObjects(at, type, lookup, fields, faults) && good;
    }
    return good;
}

void reportFault(const TableAt& at, const platform::Finding& fault, FaultList& faults) {
    const toml::node* node = at.table.get(fault.where);
    faults.error(node != nullptr ? lineOf(*node) : lineOf(at.table), joined(at.where, fault.where),
                 fault.problem, fault.remedy);
}

// The setting text as it is given; false when a fault was reported.
bool readStoredText(const TableAt& at, const PolicyActionType& type, const ObjectLookup& lookup,
                    std::string& setting, FaultList& faults) {
    const toml::node& node = *at.table.get("setting");
    const std::optional<std::string> text = readText(at, "setting", faults);
    for (const FieldType& field : type.fields) {
        if (at.table.contains(field.key)) {
            faults.error(lineOf(node), joined(at.where, "setting"),
                         "the fields are given as well as the setting text", "give one of them");
            return false;
        }
    }
    if (!text) {
        return false;
    }
    setting = *text;
    platform::Finding fault;
    if (type.hasNoSetting && !setting.empty()) {
        fault = {.where = "setting",
                 .problem = std::string(type.name) + " takes no setting text",
                 .remedy = "leave it out"};
    } else if (checkComesBack(type, setting, nullptr, fault)) {
        return checkObjects(at, type, setting, lookup, faults);
    }
    reportFault(at, fault, faults);
    return false;
}

// The setting text, made from the fields or given; false when a fault was reported.
bool readSetting(const TableAt& at, const PolicyActionType& type, const ObjectLookup& lookup,
                 std::string& setting, FaultList& faults) {
    if (at.table.contains("setting")) {
        return readStoredText(at, type, lookup, setting, faults);
    }
    Fields fields;
    if (!type.inThisBuild() || !readFields(at, type, lookup, fields, faults)) {
        return false;
    }
    platform::Finding fault;
    if (type.encode(fields, setting, fault) && checkComesBack(type, setting, &fields, fault)) {
        return true;
    }
    reportFault(at, fault, faults);
    return false;
}

void reportUnknownFields(const TableAt& at, const PolicyActionType& type, FaultList& faults) {
    std::vector<std::string_view> keys(std::begin(kActionKeys), std::end(kActionKeys));
    for (const FieldType& field : type.fields) {
        if (field.kind != Kind::Ids) {
            keys.emplace_back(field.key);
        }
    }
    reportUnknownKeys(at, keys, faults);
}

void readAction(const TableAt& at, const ObjectLookup& lookup, std::vector<RuleAction>& actions,
                FaultList& faults) {
    const PolicyActionType* type = readType(at, faults);
    if (type == nullptr) {
        return;
    }
    reportUnknownFields(at, *type, faults);
    RuleAction action;
    action.type = type;
    action.line = lineOf(at.table);
    action.onFailure = readOnFailure(at, *type, faults);
    if (readSetting(at, *type, lookup, action.setting, faults)) {
        actions.push_back(std::move(action));
    }
}

} // namespace

std::vector<RuleAction> readActions(const toml::node& node, const std::string& where,
                                    const ObjectLookup& lookup, FaultList& faults) {
    std::vector<RuleAction> actions;
    const toml::array* list = node.as_array();
    if (list == nullptr) {
        faults.error(lineOf(node), where, "it is " + kindOf(node),
                     "give a list such as [{ type = \"delete\" }]");
        return actions;
    }
    std::size_t index = 0;
    for (const toml::node& entry : *list) {
        const std::string place = where + "[" + std::to_string(index++) + "]";
        if (const toml::table* table = entry.as_table()) {
            readAction({*table, place}, lookup, actions, faults);
        } else {
            faults.error(lineOf(entry), place, "it is " + kindOf(entry), "give an action in braces");
        }
    }
    return actions;
}

} // namespace quzo::host
