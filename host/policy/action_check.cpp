// Settings that an action would understand differently from how they were written must not reach a message;
// the one sure way to know is to ask the action.
#include "host/policy/action_check.h"

namespace quzo::host {
namespace {

// The first field whose value the text does not carry.
const char* lostField(const PolicyActionType& type, const Fields& given, const std::string& setting) {
    const std::optional<Fields> carried = type.decode(setting);
    for (const FieldType& field : type.fields) {
        const FieldValue* before = findField(given, field.key);
        const FieldValue* after = carried ? findField(*carried, field.key) : nullptr;
        if (before != nullptr && (after == nullptr || *before != *after)) {
            return field.key;
        }
    }
    return nullptr;
}

bool sameFields(const PolicyActionType& type, const std::string& a, const std::string& b) {
    const std::optional<Fields> left = type.decode(a);
    const std::optional<Fields> right = type.decode(b);
    return left && right && left->size() == right->size() &&
           std::equal(left->begin(), left->end(), right->begin(),
                      [](const Field& x, const Field& y) { return x.key == y.key && x.value == y.value; });
}

// A text that the action would read may still hold what no field may.
bool fieldsAreGood(const PolicyActionType& type, const std::string& setting, platform::Finding& fault) {
    const std::optional<Fields> fields = type.decode(setting);
    std::string again;
    if (!fields || type.encode(*fields, again, fault)) {
        return true; // a text that is not read at all is refused by the action itself
    }
    fault.problem.insert(0, ": ").insert(0, fault.where);
    fault.where = "setting";
    return false;
}

} // namespace

bool checkComesBack(const PolicyActionType& type, std::string& setting, const Fields* fields,
                    platform::Finding& fault) {
    if (!type.inThisBuild() || type.hasNoSetting) {
        return true;
    }
    if (fields == nullptr && !fieldsAreGood(type, setting, fault)) {
        return false;
    }
    const std::unique_ptr<QuzoAction> action = makeAction(type, setting);
    if (action == nullptr) {
        const char* key = fields != nullptr && !type.fields.empty() ? type.fields.front().key : "setting";
        fault = {.where = key, .problem = "the action refuses it", .remedy = "see `quzo action decode`"};
        return false;
    }
    const std::string back = action->serialize();
    const char* lost = fields != nullptr ? lostField(type, *fields, back) : nullptr;
    if (back == setting && lost == nullptr) {
        return true;
    }
    if (fields == nullptr && type.type == QuzoAction::ActionType::InsertXHeaderTag &&
        sameFields(type, setting, back)) {
        setting = back;
        return true;
    }
    fault = {.where = lost != nullptr ? lost : "setting",
             .problem = "it does not come back from the action as it was given",
             .remedy = "write it as `quzo action encode` does"};
    return false;
}

} // namespace quzo::host
