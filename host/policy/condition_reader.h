// Reads the conditions of a rule.
#pragma once

#include <string>
#include <vector>

#include "host/policy/condition.h"
#include "host/policy/toml_reading.h"

namespace quzo::host {

// Turns the `when` tables of a policy into conditions.
class ConditionReader {
public:
    // `headerNames` collects the names of the header fields that conditions ask for.
    ConditionReader(std::vector<std::string>& headerNames, FaultList& faults)
        : headerNames_(headerNames), faults_(faults) {}

    // All conditions of the table must hold; the result is one node with its children ordered by cost.
    // With a fault the result is of no use.
    Condition read(const TableAt& at) { return readTable(at, 1); }

    bool usesTokens() const { return usesTokens_; }

private:
    // What one key of a condition table is read with. False when the key is none of a group.
    bool readGlobs(std::string_view key, const toml::node& node, const std::string& where,
                   std::vector<Condition>& out);
    bool readFormats(std::string_view key, const toml::node& node, const std::string& where,
                     std::vector<Condition>& out);
    bool readSize(std::string_view key, const toml::node& node, const std::string& where,
                  std::vector<Condition>& out);
    bool readSwitch(std::string_view key, const TableAt& at, std::vector<Condition>& out);
    bool readExpressions(std::string_view key, const toml::node& node, const std::string& where,
                         std::vector<Condition>& out);
    bool readCombination(std::string_view key, const toml::node& node, const std::string& where,
                         unsigned depth, std::vector<Condition>& out);

    void checkGlob(const Condition& condition, const TextAt& entry, const std::string& where);
    void checkSizes(const std::vector<Condition>& conditions, const TableAt& at);

    Condition readTable(const TableAt& at, unsigned depth);
    std::vector<Condition> readTables(const toml::node& node, const std::string& where, unsigned depth);
    void readFields(const toml::node& node, const std::string& where, std::vector<Condition>& out);
    void readTokens(const toml::node& node, const std::string& where, std::vector<Condition>& out);
    std::vector<Expression> compile(const toml::node& node, const std::string& where);
    std::uint32_t headerIndex(std::string_view name);

    std::vector<std::string>& headerNames_;
    FaultList& faults_;
    bool usesTokens_ = false;
};

} // namespace quzo::host
