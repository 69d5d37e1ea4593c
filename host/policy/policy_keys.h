// The keys of a policy, for its readers and for whoever tells of them.
#pragma once

#include <string_view>

namespace quzo::host {

inline constexpr std::string_view kPolicyKeys[] = {"defaults", "rule"};
inline constexpr std::string_view kDefaultsKeys[] = {"hostname", "mark_header"};
inline constexpr std::string_view kRuleKeys[] = {"id", "name", "when", "actions", "stop"};

// Of a table of conditions, such as `when`.
inline constexpr std::string_view kConditionKeys[] = {
    "sender",     "recipient",    "every_recipient", "subject",    "header", "body",
    "attachment", "content_type", "size_over",       "size_under", "signed", "encrypted",
    "embedded",   "token",        "always",          "any",        "all",    "not"};

// Of every action; action_type.cpp has the fields of each type.
inline constexpr std::string_view kActionKeys[] = {"type", "setting", "on_failure"};

} // namespace quzo::host
