// From the text of a policy to rules. Everything is read even after a fault, so that one run of the checker
// shows all there is to correct.
#include "host/policy/policy.h"

#include <toml++/toml.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <limits>
#include <map>
#include <system_error>

#include "host/policy/action_reader.h"
#include "host/policy/condition_reader.h"
#include "host/policy/object_reader.h"
#include "host/policy/policy_keys.h"
#include "host/policy/policy_objects.h"
#include "host/policy/stamp_html.h"
#include "host/policy/toml_depth.h"
#include "host/policy/toml_reading.h"
#include "platform/base/ascii.h"

namespace quzo::host {
namespace {

constexpr unsigned kMaxKeyDepth = 100; // parts of a dotted key

// Whether a header field of that name says something else already.
bool isTaken(std::string_view name) {
    constexpr std::string_view kNames[] = {
        "from",     "to",       "cc",          "bcc",          "subject",    "date",        "sender",
        "reply-to", "received", "return-path", "mime-version", "message-id", "in-reply-to", "references"};
    return platform::startsWithNoCase(name, "content-") ||
           platform::startsWithNoCase(name, "x-quzo-reprocess-") ||
           std::find(std::begin(kNames), std::end(kNames), platform::lowered(name)) != std::end(kNames);
}

// Reads one file's table into a policy.
class PolicyReader {
public:
    PolicyReader(Policy& policy, const ObjectSource& objects, FaultList& faults)
        : policy_(policy), lookup_(objects), faults_(faults), conditions_(policy.headerNames, faults) {}

    void read(const toml::table& top) {
        const TableAt at{top, ""};
        reportUnknownKeys(at, kPolicyKeys, faults_);
        if (const toml::node* defaults = top.get("defaults")) {
            readDefaults(*defaults);
        }
        if (const toml::node* rules = top.get("rule")) {
            readRules(*rules);
        } else if (faults_.empty()) {
            faults_.warning(0, "", "there is no rule", "write [[rule]] to begin one");
        }
        policy_.usesTokens = conditions_.usesTokens();
    }

private:
    void readDefaults(const toml::node& node) {
        const toml::table* table = node.as_table();
        if (table == nullptr) {
            faults_.error(lineOf(node), "defaults", "it is " + kindOf(node), "write [defaults]");
            return;
        }
        const TableAt at{*table, "defaults"};
        reportUnknownKeys(at, kDefaultsKeys, faults_);
        policy_.defaults.hostname = readText(at, "hostname", faults_).value_or("");
        policy_.defaults.markHeader = readText(at, "mark_header", faults_).value_or("");
        const std::string& host = policy_.defaults.hostname;
        if (table->contains("hostname") && !host.empty() &&
            !(isPlainInHtml(host) &&
              std::all_of(host.begin(), host.end(), [](char c) { return c > 32 && c != 127; }))) {
            faults_.error(lineOf(*table->get("hostname")), "defaults.hostname",
                          "it has blanks or other characters that no host name has", "give a host name");
        }
        checkMarkHeader(at);
    }

    void checkMarkHeader(const TableAt& at) {
        const std::string& name = policy_.defaults.markHeader;
        if (name.empty()) {
            return;
        }
        const unsigned line = lineOf(*at.table.get("mark_header"));
        if (!std::all_of(name.begin(), name.end(), [](char c) { return c > 32 && c < 127 && c != ':'; })) {
            faults_.error(line, "defaults.mark_header", "this is no name of a header field",
                          "use printable ASCII characters without blanks and colons");
        } else if (isTaken(name)) {
            faults_.error(line, "defaults.mark_header", "this field has a meaning of its own",
                          "give another name, such as X-Marks");
        }
    }

    void readRules(const toml::node& node) {
        const toml::array* list = node.as_array();
        if (list == nullptr) {
            faults_.error(lineOf(node), "rule", "it is " + kindOf(node), "begin each rule with [[rule]]");
            return;
        }
        std::size_t number = 0;
        for (const toml::node& entry : *list) {
            ++number;
            const toml::table* table = entry.as_table();
            if (table == nullptr) {
                faults_.error(lineOf(entry), "rule", "it is " + kindOf(entry),
                              "begin each rule with [[rule]]");
                continue;
            }
            readRule(*table, number);
        }
    }

    void readRule(const toml::table& table, std::size_t number) {
        Rule rule;
        rule.line = lineOf(table);
        // Without an id of its own a rule is told by its place.
        TableAt at{table, "rule no. " + std::to_string(number)};
        if (const std::optional<std::uint32_t> id = readId(at)) {
            rule.id = *id;
            at.where = "rule " + std::to_string(rule.id);
        }
        reportUnknownKeys(at, kRuleKeys, faults_);
        rule.name = readText(at, "name", faults_).value_or("");
        rule.stop = readFlag(at, "stop", faults_).value_or(false);
        if (rule.name.empty()) {
            rule.name = at.where;
        }
        readWhen(at, rule);
        const toml::node* actions = table.get("actions");
        if (actions != nullptr) {
            rule.actions = readActions(*actions, joined(at.where, "actions"), lookup_, faults_);
            checkNameInStamps(rule, at.where, lookup_, faults_);
        }
        const bool none = actions == nullptr || (actions->is_array() && actions->as_array()->empty());
        if (none && !rule.stop) {
            faults_.error(rule.line, at.where, "the rule has no actions and does not stop",
                          "give actions = [...] or stop = true");
        }
        rule.mayChange = std::any_of(rule.actions.begin(), rule.actions.end(), [](const RuleAction& action) {
            return action.type->mayChange || action.type->stores;
        });
        policy_.rules.push_back(std::move(rule));
    }

    std::optional<std::uint32_t> readId(const TableAt& at) {
        const toml::node* node = at.table.get("id");
        if (node == nullptr) {
            faults_.error(lineOf(at.table), joined(at.where, "id"), "the rule has no id",
                          "give each rule a number of its own");
            return std::nullopt;
        }
        const std::optional<std::int64_t> id = readNumber(at, "id", faults_);
        if (!id) {
            return std::nullopt;
        }
        if (*id < 1 || *id > std::numeric_limits<std::uint32_t>::max()) {
            faults_.error(lineOf(*node), joined(at.where, "id"), "it is not between 1 and 4294967295",
                          "give another number");
            return std::nullopt;
        }
        const auto [entry, isNew] = lines_.try_emplace(static_cast<std::uint32_t>(*id), lineOf(*node));
        if (!isNew) {
            faults_.error(lineOf(*node), "rule " + std::to_string(*id) + ": id",
                          "the rule at line " + std::to_string(entry->second) + " has this id already",
                          "give each rule a number of its own");
        }
        return static_cast<std::uint32_t>(*id);
    }

    void readWhen(const TableAt& at, Rule& rule) {
        const toml::node* node = at.table.get("when");
        if (node == nullptr) {
            faults_.error(rule.line, joined(at.where, "when"), "the rule has no condition",
                          "give when = { ... }; { always = true } matches every message");
            return;
        }
        const toml::table* table = node->as_table();
        if (table == nullptr) {
            faults_.error(lineOf(*node), joined(at.where, "when"), "it is " + kindOf(*node),
                          "give a table such as { sender = \"*@example.com\" }");
            return;
        }
        rule.when = conditions_.read({*table, joined(at.where, "when")});
    }

    Policy& policy_;
    ObjectLookup lookup_;
    FaultList& faults_;
    ConditionReader conditions_;
    std::map<std::uint32_t, unsigned> lines_; // of the ids seen
};

LoadedPolicy unreadable(const std::string& problem, int error, const std::string& remedy) {
    LoadedPolicy result;
    result.readError = error;
    result.findings.push_back({platform::Finding::Severity::Error, 0, "", problem, remedy});
    return result;
}

std::string tooLarge() {
    return "the policy is larger than " + std::to_string(kMaxPolicyBytes >> 20U) + " MiB";
}

} // namespace

const char* onFailureName(OnFailure onFailure) {
    switch (onFailure) {
        case OnFailure::Defer:
            return "defer";
        case OnFailure::Stop:
            return "stop";
        case OnFailure::Continue:
            break;
    }
    return "continue";
}

namespace {

LoadedPolicy loadText(std::string_view text, const ObjectSource& objects) {
    if (text.size() > kMaxPolicyBytes) {
        return unreadable(tooLarge(), 0, "split it");
    }
    LoadedPolicy result;
    FaultList faults(result.findings);
    if (const unsigned line = tooDeepLine(text, kMaxKeyDepth)) {
        faults.error(line, "", "a key has more than " + std::to_string(kMaxKeyDepth) + " parts",
                     "shorten it");
        return result;
    }
    const auto policy = std::make_shared<Policy>();
    try {
        PolicyReader(*policy, objects, faults).read(toml::parse(text));
    } catch (const toml::parse_error& error) {
        faults.error(error.source().begin.line, "", std::string(error.description()), "correct the text");
    }
    std::stable_sort(result.findings.begin(), result.findings.end(),
                     [](const platform::Finding& a, const platform::Finding& b) { return a.line < b.line; });
    if (!hasErrors(result.findings)) {
        result.policy = policy;
    }
    return result;
}

} // namespace

LoadedPolicy loadPolicy(std::string_view text, const platform::StoredNamedObjects* objects) {
    return loadText(text, [objects] { return objects; });
}

LoadedPolicy loadPolicyFile(const std::string& path, const platform::StoredNamedObjects* objects) {
    return loadPolicyFile(path, [objects] { return objects; });
}

LoadedPolicy loadPolicyFile(const std::string& path, const ObjectSource& objects) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rbe"), &std::fclose);
    if (file == nullptr) {
        const int error = errno;
        return unreadable("cannot be opened: " + std::generic_category().message(error), error,
                          "give the path of a policy");
    }
    std::string text;
    char buffer[65536];
    while (const std::size_t got = std::fread(buffer, 1, sizeof buffer, file.get())) {
        text.append(buffer, got);
        if (text.size() > kMaxPolicyBytes) {
            return unreadable(tooLarge(), EFBIG, "split it");
        }
    }
    if (std::ferror(file.get()) != 0) {
        return unreadable("cannot be read", errno != 0 ? errno : EIO, "give the path of a policy file");
    }
    return loadText(text, objects);
}

} // namespace quzo::host
