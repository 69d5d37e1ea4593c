// Each of these rules is legal and does what it says; it only says something that hardly anybody means.
#include "host/policy/policy_doubts.h"

#include <algorithm>
#include <utility>

#include "host/policy/token_doubts.h"

namespace quzo::host {
namespace {

// Conditions nest at most kMaxConditionDepth deep, so that recursion ends.
using Kind = Condition::Kind;
using Type = QuzoAction::ActionType;

bool matchesAll(const Condition& condition) {
    return std::any_of(condition.globs.begin(), condition.globs.end(), [](const Glob& glob) {
        return !glob.pattern().empty() && glob.pattern().find_first_not_of('*') == std::string::npos;
    });
}

// Whether the action takes every message that it gets out of the run of rules.
bool takesAll(const RuleAction& action) {
    switch (action.type->type) {
        case Type::Delete:
        case Type::Quarantine:
        case Type::Readdress:
        case Type::Handoff:
        case Type::Postpone:
            return action.onFailure != OnFailure::Continue;
        default:
            return false;
    }
}

bool endsAll(const Rule& rule) {
    return holdsAlways(rule.when) &&
           (rule.stop || std::any_of(rule.actions.begin(), rule.actions.end(), takesAll));
}

void doubtOrder(const Policy& policy, platform::Findings& findings) {
    const auto last = std::find_if(policy.rules.begin(), policy.rules.end(), endsAll);
    if (last == policy.rules.end() || last + 1 == policy.rules.end()) {
        return;
    }
    for (auto rule = last + 1; rule != policy.rules.end(); ++rule) {
        findings.push_back({platform::Finding::Severity::Warning, rule->line,
                            "rule " + std::to_string(rule->id),
                            "no message gets here: rule " + std::to_string(last->id) + " at line " +
                                std::to_string(last->line) + " ends with every message",
                            "move it above that rule, or give that one a condition"});
    }
}

} // namespace

bool holdsAlways(const Condition& condition) {
    switch (condition.kind) {
        case Kind::Always:
            return condition.wanted;
        case Kind::Sender: // of the null sender too
            return matchesAll(condition);
        case Kind::All:
            return std::all_of(condition.children.begin(), condition.children.end(), holdsAlways);
        case Kind::Any:
            return std::any_of(condition.children.begin(), condition.children.end(), holdsAlways);
        default:
            return false;
    }
}

platform::Findings doubtsOf(const Policy& policy) {
    platform::Findings findings;
    doubtOrder(policy, findings);
    for (const Rule& rule : policy.rules) {
        for (std::size_t index = 0; index < rule.actions.size(); ++index) {
            const RuleAction& action = rule.actions[index];
            if (action.type->type != Type::TagSubject || action.setting.empty()) {
                continue;
            }
            const std::optional<Fields> fields = action.type->decode(action.setting);
            const FieldValue* tag = fields ? findField(*fields, "tag") : nullptr;
            if (const auto* text = tag != nullptr ? std::get_if<std::string>(tag) : nullptr) {
                for (platform::Finding& doubt : doubtsOfTokens(*text)) {
                    doubt.line = action.line;
                    doubt.where =
                        "rule " + std::to_string(rule.id) + ": actions[" + std::to_string(index) + "].tag";
                    findings.push_back(std::move(doubt));
                }
            }
        }
    }
    return findings;
}

} // namespace quzo::host
