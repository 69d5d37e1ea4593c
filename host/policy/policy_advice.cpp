// These faults are none of the text, so they keep no message from being worked on; who runs the checker wants
// to know of them all the same.
#include "host/policy/policy_advice.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <string>

#include "host/policy/object_doubts.h"
#include "host/policy/policy_doubts.h"
#include "host/policy/policy_objects.h"
#include "platform/base/visible_text.h"

namespace quzo::host {
namespace {

std::string placeOf(const Rule& rule, std::size_t action) {
    return "rule " + std::to_string(rule.id) + ": actions[" + std::to_string(action) + "]";
}

// "stamp 'legal': html: "
std::string placeOf(const platform::StoredNamedObjects& objects, unsigned id,
                    const platform::Finding& doubt) {
    return std::string(platform::objectKindName(objects.find(id)->getType())) + " " +
           platform::quotedText(objects.nameOf(id)) + ": " + doubt.where + ": ";
}

// Whether what the action puts into queues leaves by the next hop sooner or later.
bool needsNextHop(const PolicyActionType& type) {
    const auto queues = queuesOf(type);
    return type.type != QuzoAction::ActionType::Handoff &&
           std::any_of(queues.begin(), queues.end(), [](platform::QueueKind queue) {
               return queue != platform::QueueKind::Quarantine && queue != platform::QueueKind::Archive;
           });
}

} // namespace

platform::Findings adviceOn(const Policy& policy, bool hasNextHop,
                            const platform::StoredNamedObjects* objects) {
    platform::Findings findings;
    const auto warn = [&](const Rule& rule, std::size_t index, std::string problem, std::string remedy) {
        findings.push_back({platform::Finding::Severity::Warning, rule.actions[index].line,
                            placeOf(rule, index), std::move(problem), std::move(remedy)});
    };
    bool marksSeen = !policy.defaults.markHeader.empty();
    bool serverSeen = hasNextHop;
    std::set<unsigned> seen; // objects
    for (const Rule& rule : policy.rules) {
        for (std::size_t i = 0; i < rule.actions.size(); ++i) {
            const PolicyActionType& type = *rule.actions[i].type;
            if (type.isMark && !marksSeen) {
                marksSeen = true;
                warn(rule, i,
                     std::string("no message shows the mark ") + type.name + ": only --json reports it",
                     "set mark_header in [defaults]");
            }
            if (needsNextHop(type) && !serverSeen) {
                serverSeen = true;
                warn(rule, i,
                     std::string("no server is named to which mail of ") + type.name + " could go: it waits",
                     "set next_hop in [platform]");
            }
            for (const unsigned id : objectIdsOf(type, rule.actions[i].setting)) {
                const QuzoNamedObj* object = objects != nullptr ? objects->find(id) : nullptr;
                if (object == nullptr || !seen.insert(id).second) {
                    continue;
                }
                for (const platform::Finding& doubt : doubtsOf(*object)) {
                    warn(rule, i, placeOf(*objects, id, doubt) + doubt.problem, doubt.remedy);
                }
            }
        }
    }
    platform::Findings doubts = doubtsOf(policy);
    std::move(doubts.begin(), doubts.end(), std::back_inserter(findings));
    std::stable_sort(findings.begin(), findings.end(),
                     [](const platform::Finding& a, const platform::Finding& b) { return a.line < b.line; });
    return findings;
}

} // namespace quzo::host
