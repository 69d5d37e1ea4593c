// A policy: rules with conditions and actions, read from a TOML file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/policy/action_type.h"
#include "host/policy/condition.h"
#include "platform/base/finding.h"

namespace quzo::platform {
class StoredNamedObjects;
}

namespace quzo::host {

// What happens to a message when an action of a rule fails.
enum class OnFailure : std::uint8_t {
    Defer,    // the message is tried again later
    Continue, // the next action runs
    Stop,     // no further action or rule runs; the message is delivered as it is
};

const char* onFailureName(OnFailure onFailure);

struct RuleAction {
    const PolicyActionType* type = nullptr; // never null in a loaded policy
    std::string setting;                    // the stored text, as the action gives it back
    OnFailure onFailure = OnFailure::Continue;
    unsigned line = 0;
};

struct Rule {
    std::uint32_t id = 0; // 1 to 4294967295, unique
    std::string name;
    Condition when;
    std::vector<RuleAction> actions;
    bool stop = false;      // no further rule is tried
    bool mayChange = false; // one of the actions may change the message or its envelope
    unsigned line = 0;
};

struct Defaults {
    std::string hostname;   // empty: the host's own name
    std::string markHeader; // empty: marks are not written into the message
};

// Immutable once loaded; shared by threads.
struct Policy {
    Defaults defaults;
    std::vector<Rule> rules;              // in the order of the file
    std::vector<std::string> headerNames; // that conditions ask for, in lower case, without duplicates
    bool usesTokens = false;              // a condition asks for a token
};

struct LoadedPolicy {
    std::shared_ptr<const Policy> policy; // null exactly when a finding is an error or the file was not read
    platform::Findings findings;          // in the order of their lines
    int readError = 0;                    // errno of a file that could not be read, which is a finding too
};

// A policy of more bytes is refused.
constexpr std::size_t kMaxPolicyBytes = std::size_t{4} << 20U;
// Conditions nested deeper are refused.
constexpr unsigned kMaxConditionDepth = 32;

// Reads a policy. Every fault is found, not only the first; of a text that is no TOML only the first.
// Constructs each action once, so the library must have been initialised. Throws std::bad_alloc only.
//
// `objects` is what actions may refer to; null: there is no store, and a reference is a fault. Not kept.
LoadedPolicy loadPolicy(std::string_view text, const platform::StoredNamedObjects* objects = nullptr);

// The same from a file.
LoadedPolicy loadPolicyFile(const std::string& path, const platform::StoredNamedObjects* objects = nullptr);

// Gives what actions may refer to when one does; asked at the first reference only. Null: there is no store.
using ObjectSource = std::function<const platform::StoredNamedObjects*()>;
LoadedPolicy loadPolicyFile(const std::string& path, const ObjectSource& objects);

} // namespace quzo::host
