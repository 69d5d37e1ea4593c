// A text is a name and a number is an id, so that an object that is called "7" is not taken for the seventh.
#include "host/policy/object_reader.h"

#include <limits>

#include "host/policy/stamp_html.h"

namespace quzo::host {
namespace {

// Reads one value of a reference; 0 when a fault was reported.
unsigned readReference(const toml::node& node, platform::ObjectKind kind, const std::string& where,
                       const ObjectLookup& lookup, FaultList& faults) {
    platform::Finding fault;
    unsigned id = 0;
    if (const auto name = node.value_exact<std::string>()) {
        id = lookup.byName(kind, *name, fault);
    } else if (const auto number = node.value_exact<std::int64_t>()) {
        if (*number >= 1 && *number <= std::numeric_limits<std::uint32_t>::max()) {
            id = lookup.byId(kind, static_cast<unsigned>(*number), fault);
        } else {
            fault = {.where = {},
                     .problem = "an id is a number from 1 to 4294967295",
                     .remedy = "give the name of an object, or its id"};
        }
    } else {
        fault = {.where = {},
                 .problem = "it is " + kindOf(node),
                 .remedy = "give the name of an object, or its id"};
    }
    if (id == 0) {
        faults.error(lineOf(node), where, fault.problem, fault.remedy);
    }
    return id;
}

} // namespace

bool readObjects(const TableAt& at, const PolicyActionType& type, const ObjectLookup& lookup, Fields& fields,
                 FaultList& faults) {
    const platform::ObjectKind kind = *type.objectKind;
    const bool one = at.table.contains("object");
    if (one == at.table.contains("objects")) {
        faults.error(lineOf(at.table), joined(at.where, "object"),
                     one ? "objects is given as well" : "it is missing",
                     one ? "give one of them" : std::string(type.name) + " needs it");
        return false;
    }
    const char* key = one ? "object" : "objects";
    const toml::node& node = *at.table.get(key);
    const std::string where = joined(at.where, key);
    std::vector<std::string> ids;
    bool good = true;
    const auto take = [&](const toml::node& value) {
        const unsigned id = readReference(value, kind, where, lookup, faults);
        good = good && id != 0;
        ids.push_back(std::to_string(id));
    };
    if (const toml::array* list = node.as_array()) {
        if (list->empty()) {
            faults.error(lineOf(node), where, "the list is empty", "name an object");
            return false;
        }
        for (const toml::node& entry : *list) {
            take(entry);
        }
    } else {
        take(node);
    }
    fields.push_back({"ids", std::move(ids)});
    return good;
}

bool checkObjects(const TableAt& at, const PolicyActionType& type, std::string_view setting,
                  const ObjectLookup& lookup, FaultList& faults) {
    const std::optional<platform::ObjectKind> kind = type.objectKind;
    bool good = true;
    for (const unsigned id : objectIdsOf(type, setting)) {
        platform::Finding fault;
        if (kind && lookup.byId(*kind, id, fault) == 0) {
            faults.error(lineOf(*at.table.get("setting")), joined(at.where, "setting"), fault.problem,
                         fault.remedy);
            good = false;
        }
    }
    return good;
}

void checkNameInStamps(const Rule& rule, const std::string& where, const ObjectLookup& lookup,
                       FaultList& faults) {
    for (const RuleAction& action : rule.actions) {
        if (action.type->objectKind != platform::ObjectKind::StampArea) {
            continue;
        }
        for (const unsigned id : objectIdsOf(*action.type, action.setting)) {
            const QuzoNamedObj* object = lookup.find(id);
            const std::optional<std::string> html = object != nullptr ? htmlOfStamp(*object) : std::nullopt;
            if (const auto fault = html ? faultOfRuleName(*html, rule.name) : std::nullopt) {
                faults.error(action.line, joined(where, "name"), fault->problem, fault->remedy);
            }
        }
    }
}

} // namespace quzo::host
