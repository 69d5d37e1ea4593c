// The parser tells where each key and value stands but neither misses nor mistrusts keys by itself; these
// helpers do.
#include "host/policy/toml_reading.h"

#include <algorithm>

#include "platform/base/nearest.h"

namespace quzo::host {

void FaultList::error(unsigned line, std::string where, std::string problem, std::string remedy) {
    findings_.push_back(
        {platform::Finding::Severity::Error, line, std::move(where), std::move(problem), std::move(remedy)});
}

void FaultList::warning(unsigned line, std::string where, std::string problem, std::string remedy) {
    findings_.push_back({platform::Finding::Severity::Warning, line, std::move(where), std::move(problem),
                         std::move(remedy)});
}

unsigned lineOf(const toml::node& node) { return node.source().begin.line; }

unsigned lineOf(const toml::key& key) { return key.source().begin.line; }

std::string joined(const std::string& where, std::string_view key) {
    if (where.empty()) {
        return std::string(key);
    }
    // "rule 10" names a thing and "rule 10: when" a place in it; a path goes on with dots.
    const bool path = where.find(": ") != std::string::npos || where.find(' ') == std::string::npos;
    return where + (path ? "." : ": ") + std::string(key);
}

std::string kindOf(const toml::node& node) {
    switch (node.type()) {
        case toml::node_type::table:
            return "a table";
        case toml::node_type::array:
            return "a list";
        case toml::node_type::string:
            return "a text";
        case toml::node_type::integer:
            return "an integer";
        case toml::node_type::floating_point:
            return "a number with a fraction";
        case toml::node_type::boolean:
            return "a flag";
        default:
            return "a date or time";
    }
}

void reportUnknownKeys(const TableAt& at, std::span<const std::string_view> known, FaultList& faults) {
    for (const auto& [key, node] : at.table) {
        if (std::find(known.begin(), known.end(), key.str()) == known.end()) {
            faults.error(lineOf(key), joined(at.where, key.str()), "this key is unknown",
                         platform::suggestion(key.str(), known));
        }
    }
}

namespace {

template <typename T>
std::optional<T> readValue(const TableAt& at, std::string_view key, const char* wanted, FaultList& faults) {
    const toml::node* node = at.table.get(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    if (std::optional<T> value = node->value_exact<T>()) {
        return value;
    }
    faults.error(lineOf(*node), joined(at.where, key), "it is " + kindOf(*node),
                 std::string("give ") + wanted);
    return std::nullopt;
}

} // namespace

std::optional<std::string> readText(const TableAt& at, std::string_view key, FaultList& faults) {
    return readValue<std::string>(at, key, "a text in quotes", faults);
}

std::optional<bool> readFlag(const TableAt& at, std::string_view key, FaultList& faults) {
    return readValue<bool>(at, key, "true or false, without quotes", faults);
}

std::optional<std::int64_t> readNumber(const TableAt& at, std::string_view key, FaultList& faults) {
    return readValue<std::int64_t>(at, key, "an integer, without quotes", faults);
}

std::vector<TextAt> readTexts(const toml::node& node, const std::string& where, FaultList& faults) {
    std::vector<TextAt> texts;
    if (const auto text = node.value_exact<std::string>()) {
        texts.push_back({*text, lineOf(node)});
        return texts;
    }
    const toml::array* list = node.as_array();
    if (list == nullptr || list->empty()) {
        faults.error(lineOf(node), where, list == nullptr ? "it is " + kindOf(node) : "the list is empty",
                     "give a text or a list of texts");
        return texts;
    }
    for (const toml::node& entry : *list) {
        if (const auto text = entry.value_exact<std::string>()) {
            texts.push_back({*text, lineOf(entry)});
        } else {
            faults.error(lineOf(entry), where, "an entry is " + kindOf(entry), "give texts in quotes");
        }
    }
    return texts;
}

} // namespace quzo::host
