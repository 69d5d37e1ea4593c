// Tables of conditions and their combinations; what a single key says is read in condition_leaves.cpp.
//
// Conditions are put into the order of their cost here, once, so that evaluating them in the order given
// never looks at the structure of a message that its envelope has already decided.
#include "host/policy/condition_reader.h"

#include <algorithm>

#include "host/policy/policy.h"
#include "host/policy/policy_keys.h"

namespace quzo::host {
namespace {

using Kind = Condition::Kind;

Condition combine(Kind kind, std::vector<Condition> children) {
    std::stable_sort(children.begin(), children.end(),
                     [](const Condition& a, const Condition& b) { return a.cost < b.cost; });
    Condition node;
    node.kind = kind;
    for (const Condition& child : children) {
        node.cost = std::max(node.cost, child.cost);
        node.marksEntities = node.marksEntities || (kind != Kind::Not && child.marksEntities);
    }
    node.children = std::move(children);
    return node;
}

} // namespace

Condition ConditionReader::readTable(const TableAt& at, unsigned depth) {
    if (depth > kMaxConditionDepth) {
        faults_.error(lineOf(at.table), at.where,
                      "conditions are nested more than " + std::to_string(kMaxConditionDepth) + " deep",
                      "split the rule");
        return {};
    }
    if (at.table.empty()) {
        faults_.error(lineOf(at.table), at.where, "there is no condition",
                      "give one; always = true matches every message");
        return {};
    }
    reportUnknownKeys(at, kConditionKeys, faults_);
    std::vector<Condition> children;
    for (const auto& [key, node] : at.table) {
        const std::string where = joined(at.where, key.str());
        const bool done = readGlobs(key, node, where, children) || readFormats(key, node, where, children) ||
                          readSize(key, node, where, children) || readSwitch(key, at, children) ||
                          readExpressions(key, node, where, children) ||
                          readCombination(key, node, where, depth, children);
        static_cast<void>(done); // unknown keys have been reported
    }
    checkSizes(children, at);
    return children.size() == 1 ? std::move(children.front()) : combine(Kind::All, std::move(children));
}

void ConditionReader::checkSizes(const std::vector<Condition>& conditions, const TableAt& at) {
    const auto find = [&](Kind kind) {
        return std::find_if(conditions.begin(), conditions.end(),
                            [kind](const Condition& condition) { return condition.kind == kind; });
    };
    const auto over = find(Kind::SizeOver);
    const auto under = find(Kind::SizeUnder);
    if (over != conditions.end() && under != conditions.end() && under->number <= over->number + 1) {
        faults_.error(lineOf(at.table), at.where,
                      "no message has more than " + std::to_string(over->number) + " bytes and fewer than " +
                          std::to_string(under->number),
                      "give size_over the smaller size, or take one of them out");
    }
}

bool ConditionReader::readCombination(std::string_view key, const toml::node& node, const std::string& where,
                                      unsigned depth, std::vector<Condition>& out) {
    if (key != "any" && key != "all" && key != "not") {
        return false;
    }
    std::vector<Condition> children = readTables(node, where, depth + 1);
    if (children.empty()) {
        return true;
    }
    if (key == "not") {
        // Of a list none may hold.
        Condition inner =
            children.size() == 1 ? std::move(children.front()) : combine(Kind::Any, std::move(children));
        children.clear();
        children.push_back(std::move(inner));
        out.push_back(combine(Kind::Not, std::move(children)));
    } else {
        out.push_back(combine(key == "any" ? Kind::Any : Kind::All, std::move(children)));
    }
    return true;
}

std::vector<Condition> ConditionReader::readTables(const toml::node& node, const std::string& where,
                                                   unsigned depth) {
    std::vector<Condition> conditions;
    if (const toml::table* table = node.as_table()) {
        conditions.push_back(readTable({*table, where}, depth));
        return conditions;
    }
    const toml::array* list = node.as_array();
    if (list == nullptr || list->empty()) {
        faults_.error(lineOf(node), where, list == nullptr ? "it is " + kindOf(node) : "the list is empty",
                      "give a list of conditions such as [{ sender = \"*\" }]");
        return conditions;
    }
    std::size_t index = 0;
    for (const toml::node& entry : *list) {
        const std::string place = where + "[" + std::to_string(index++) + "]";
        if (const toml::table* table = entry.as_table()) {
            conditions.push_back(readTable({*table, place}, depth));
        } else {
            faults_.error(lineOf(entry), place, "it is " + kindOf(entry), "give a condition in braces");
        }
    }
    return conditions;
}

} // namespace quzo::host
