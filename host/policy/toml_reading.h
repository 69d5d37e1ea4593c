// What the readers of a policy's parts share: collecting faults with their lines.
#pragma once

#include <toml++/toml.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/finding.h"

namespace quzo::host {

// Collects the faults of one file. Used by one thread.
class FaultList {
public:
    explicit FaultList(platform::Findings& findings) : findings_(findings) {}

    void error(unsigned line, std::string where, std::string problem, std::string remedy);
    void warning(unsigned line, std::string where, std::string problem, std::string remedy);

    bool empty() const { return findings_.empty(); }

private:
    platform::Findings& findings_;
};

// A table of the file with its place in it, such as "rule 10: when".
struct TableAt {
    const toml::table& table;
    std::string where;
};

unsigned lineOf(const toml::node& node);
unsigned lineOf(const toml::key& key);

// "where.key", or the key alone at the top.
std::string joined(const std::string& where, std::string_view key);

// "a string", "an integer", ... for messages.
std::string kindOf(const toml::node& node);

// Reports each key of the table that is not among the known ones.
void reportUnknownKeys(const TableAt& at, std::span<const std::string_view> known, FaultList& faults);

// The value of a key; nothing, without a fault, when it is absent, and with a fault when it is of another
// type.
std::optional<std::string> readText(const TableAt& at, std::string_view key, FaultList& faults);
std::optional<bool> readFlag(const TableAt& at, std::string_view key, FaultList& faults);
std::optional<std::int64_t> readNumber(const TableAt& at, std::string_view key, FaultList& faults);

// A text with the line it stands in.
struct TextAt {
    std::string text;
    unsigned line;
};

// A text or a list of texts; empty with a fault for anything else and for an empty list.
std::vector<TextAt> readTexts(const toml::node& node, const std::string& where, FaultList& faults);

} // namespace quzo::host
