// Actions keep ids, since a setting text has nothing else; a policy gives names, since people do. A name is
// therefore looked up once, when the policy is loaded, in the same snapshot that the scanner works with.
#include "host/policy/policy_objects.h"

#include <algorithm>

#include "host/policy/stamp_html.h"
#include "platform/base/visible_text.h"
#include "quzo/settings/action_n.h"

namespace quzo::host {
namespace {

using platform::ObjectKind;

std::string noun(ObjectKind kind) { return std::string(platform::objectKindName(kind)) + " object"; }

unsigned refuse(platform::Finding& fault, std::string problem, std::string remedy) {
    fault.problem = std::move(problem);
    fault.remedy = std::move(remedy);
    return 0;
}

unsigned refuseWithoutStore(platform::Finding& fault) {
    return refuse(fault, "it refers to a named object, and there is no store",
                  "set store in [platform] and give the settings with -c");
}

} // namespace

const platform::StoredNamedObjects* ObjectLookup::objects() const {
    if (!objects_) {
        objects_ = source_();
    }
    return *objects_;
}

unsigned ObjectLookup::byName(ObjectKind kind, std::string_view name, platform::Finding& fault) const {
    if (objects() == nullptr) {
        return refuseWithoutStore(fault);
    }
    if (const std::optional<unsigned> id = objects()->idOf(kind, name)) {
        return usable(*id, fault);
    }
    const std::string shown = platform::quotedText(name);
    const std::string kindName = platform::objectKindName(kind);
    const auto& unusable = objects()->unusable();
    if (std::any_of(unusable.begin(), unusable.end(),
                    [&](const auto& object) { return object.kind == kind && object.name == name; })) {
        return refuse(fault, "the content of the " + noun(kind) + " " + shown + " cannot be read",
                      "see quzo object show " + kindName + " NAME --raw");
    }
    return refuse(fault, "there is no " + noun(kind) + " " + shown, "see quzo object list " + kindName);
}

unsigned ObjectLookup::byId(ObjectKind kind, unsigned id, platform::Finding& fault) const {
    if (objects() == nullptr) {
        return refuseWithoutStore(fault);
    }
    const QuzoNamedObj* object = objects()->find(id);
    const std::string list = std::string("see quzo object list ") + platform::objectKindName(kind);
    if (object == nullptr) {
        return refuse(fault, "there is no " + noun(kind) + " with id " + std::to_string(id), list);
    }
    if (object->getType() != kind) {
        return refuse(fault,
                      "the object with id " + std::to_string(id) + " is of the kind " +
                          platform::objectKindName(object->getType()),
                      list);
    }
    return usable(id, fault);
}

const QuzoNamedObj* ObjectLookup::find(unsigned id) const {
    return objects() != nullptr ? objects()->find(id) : nullptr;
}

// Objects that come from elsewhere have passed no check of ours.
unsigned ObjectLookup::usable(unsigned id, platform::Finding& fault) const {
    const QuzoNamedObj* object = find(id);
    const std::optional<std::string> html = object != nullptr ? htmlOfStamp(*object) : std::nullopt;
    const std::optional<platform::Finding> found = html ? faultOfStampHtml(*html) : std::nullopt;
    if (!found) {
        return id;
    }
    return refuse(
        fault, "the html of the stamp " + platform::quotedText(objects()->nameOf(id)) + ": " + found->problem,
        found->remedy);
}

std::vector<unsigned> objectIdsOf(const PolicyActionType& type, std::string_view setting) {
    std::vector<unsigned> ids;
    if (type.objectKind && !setting.empty()) {
        QuzoActionN codec(type.type, false);
        codec.getNamedObjectIds(setting.data(), static_cast<int>(setting.size()), ids);
    }
    return ids;
}

std::vector<platform::ObjectReference> objectReferences(const Policy& policy) {
    std::vector<platform::ObjectReference> references;
    for (const Rule& rule : policy.rules) {
        const auto first = static_cast<std::ptrdiff_t>(references.size());
        for (const RuleAction& action : rule.actions) {
            for (const unsigned id : objectIdsOf(*action.type, action.setting)) {
                const platform::ObjectReference reference{rule.id, rule.name, id};
                if (std::find(references.begin() + first, references.end(), reference) == references.end()) {
                    references.push_back(reference);
                }
            }
        }
    }
    return references;
}

} // namespace quzo::host
