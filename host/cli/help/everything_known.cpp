// Each list comes from the table by which the program itself works, so that it cannot miss anything.
#include "host/cli/help/everything_known.h"

#include <nlohmann/json.hpp>

#include <span>
#include <string_view>

#include "host/base/exit_code.h"
#include "host/cli/help/topics.h"
#include "host/policy/action_type.h"
#include "host/policy/policy_keys.h"
#include "quzo/core/version.h"

namespace quzo::host {
namespace {

using Json = nlohmann::ordered_json;

// "1.2.3" of "quzo 1.2.3 (build ...".
std::string_view versionNumber() {
    std::string_view text = GetQuzoVersionStr();
    text.remove_prefix(text.find(' ') + 1);
    return text.substr(0, text.find(' '));
}

Json optionsOf(const DescribedCommand& command) {
    Json list = Json::array();
    for (const DescribedOption& option : command.options) {
        list.push_back({{"names", option.names}, {"value", option.value}, {"text", option.text}});
    }
    return list;
}

Json argumentsOf(const DescribedCommand& command) {
    Json list = Json::array();
    for (const DescribedArgument& argument : command.arguments) {
        list.push_back({{"name", argument.name},
                        {"text", argument.text},
                        {"required", argument.required},
                        {"many", argument.many}});
    }
    return list;
}

Json commandList(const std::vector<DescribedCommand>& commands) {
    Json list = Json::array();
    for (const DescribedCommand& command : commands) {
        const ManualPage page = pageOfCommand(command.name);
        list.push_back({{"name", command.name},
                        {"summary", command.summary},
                        {"page", page.name},
                        {"section", page.section},
                        {"options", optionsOf(command)},
                        {"arguments", argumentsOf(command)}});
    }
    return list;
}

Json actionList() {
    Json list = Json::array();
    for (const PolicyActionType& type : policyActionTypes()) {
        Json fields = Json::array();
        for (const FieldType& field : type.fields) {
            if (field.kind != FieldType::Kind::Ids) { // which policies do not have
                fields.push_back(field.key);
            }
        }
        list.push_back({{"type", type.name}, {"fields", std::move(fields)}});
    }
    return list;
}

Json names(std::span<const std::string_view> texts) {
    Json list = Json::array();
    for (const std::string_view text : texts) {
        list.push_back(text);
    }
    return list;
}

Json conditionList() {
    Json list = Json::array();
    for (const std::string_view key : kConditionKeys) {
        list.push_back({{"name", key}});
    }
    return list;
}

Json exitCodeList() {
    Json list = Json::array();
    for (const ExitCodeText& each : kExitCodeTexts) {
        list.push_back({{"code", each.code}, {"text", each.text}});
    }
    return list;
}

Json topicList() {
    Json list = Json::array();
    for (const Topic& topic : topics()) {
        list.push_back({{"name", topic.name},
                        {"summary", topic.summary},
                        {"page", topic.page},
                        {"section", topic.section}});
    }
    return list;
}

} // namespace

std::string everythingKnown(const std::vector<DescribedCommand>& commands) {
    const Json all = {{"version", versionNumber()},        {"commands", commandList(commands)},
                      {"policy_keys", names(kPolicyKeys)}, {"default_keys", names(kDefaultsKeys)},
                      {"rule_keys", names(kRuleKeys)},     {"conditions", conditionList()},
                      {"action_keys", names(kActionKeys)}, {"actions", actionList()},
                      {"exit_codes", exitCodeList()},      {"topics", topicList()}};
    return all.dump(-1, ' ', true) + "\n";
}

} // namespace quzo::host
