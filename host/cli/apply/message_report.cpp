// The two faces of a result: lines for programs and lines for people.
#include "host/cli/apply/message_report.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include <string_view>

#include "platform/base/visible_text.h"

namespace quzo::host {
namespace {

using Json = nlohmann::ordered_json;

Json orNull(const std::optional<std::string>& text) { return text ? Json(*text) : Json(nullptr); }

Json ruleJson(const RuleResult& rule) {
    Json actions = Json::array();
    for (const ActionResult& action : rule.actions) {
        if (!action.skipped) {
            actions.push_back({{"type", action.type}, {"ok", action.ok}, {"consumed", action.consumed}});
        }
    }
    return {{"id", rule.id}, {"name", rule.name}, {"actions", std::move(actions)}};
}

std::string actionWord(const ActionResult& action) {
    const char* state = action.skipped ? " (skipped)" : !action.ok ? " (failed)" : "";
    return std::string(action.type) + state;
}

std::string ruleText(const RuleResult& rule) {
    std::vector<std::string> actions;
    actions.reserve(rule.actions.size());
    for (const ActionResult& action : rule.actions) {
        actions.push_back(actionWord(action));
    }
    return fmt::format("  rule {} {}: {}\n", rule.id, platform::visibleText(rule.name),
                       fmt::join(actions, ", "));
}

} // namespace

std::string jsonLine(const MessageReport& report) {
    Json queued = Json::array();
    for (const platform::QueuedEntry& entry : report.result.queued) {
        queued.push_back({{"queue", entry.queue}, {"id", entry.id}});
    }
    Json rules = Json::array();
    for (const RuleResult& rule : report.result.scan.rules) {
        rules.push_back(ruleJson(rule));
    }
    Json error;
    if (report.result.scan.error) {
        error = {{"code", report.result.scan.error->code}, {"text", report.result.scan.error->text}};
    }
    const Json line = {
        {"file", report.file},
        {"id", orNull(report.result.identifier)},
        {"outcome", outcomeName(report.result.scan.outcome)},
        {"output", orNull(report.output)},
        {"error", std::move(error)},
        {"marks", report.result.scan.marks},
        {"envelope", {{"from", report.result.envelope.sender}, {"to", report.result.envelope.recipients}}},
        {"queued", std::move(queued)},
        {"rules", std::move(rules)},
    };
    return line.dump(-1, ' ', true, Json::error_handler_t::replace) + '\n';
}

std::string reportText(const MessageReport& report) {
    std::string text =
        fmt::format("{}: {}\n", platform::visibleText(report.file), outcomeName(report.result.scan.outcome));
    for (const RuleResult& rule : report.result.scan.rules) {
        text += ruleText(rule);
    }
    if (!report.result.scan.marks.empty()) {
        text += fmt::format("  marks: {}\n", fmt::join(report.result.scan.marks, ", "));
    }
    text += fmt::format("  envelope: <{}> to", platform::visibleText(report.result.envelope.sender));
    for (const std::string& recipient : report.result.envelope.recipients) {
        text += fmt::format(" <{}>", platform::visibleText(recipient));
    }
    text += report.result.envelope.recipients.empty() ? " nobody\n" : "\n";
    for (const platform::QueuedEntry& entry : report.result.queued) {
        text += fmt::format("  queue {}: {}\n", entry.queue, entry.id);
    }
    if (report.result.scan.error) {
        text += fmt::format("  error {}: {}\n", report.result.scan.error->code,
                            platform::visibleText(report.result.scan.error->text));
    }
    return text;
}

} // namespace quzo::host
