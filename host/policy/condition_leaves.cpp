// Conditions that a single key says: patterns, sizes, flags, expressions.
#include <re2/re2.h>

#include <algorithm>

#include "host/policy/condition_reader.h"
#include "host/policy/token_name.h"
#include "platform/base/ascii.h"
#include "platform/base/nearest.h"
#include "platform/base/numbers.h"
#include "platform/base/visible_text.h"

namespace quzo::host {
namespace {

using Kind = Condition::Kind;
using Cost = Condition::Cost;

constexpr std::size_t kMaxGlob = 1024;
constexpr std::size_t kMaxExpression = std::size_t{64} << 10U;

// What an administrator probably meant by a pattern that matches one text alone, and hardly any real one;
// empty when it may well be meant.
std::string wildcardMeant(Kind kind, const std::string& pattern) {
    if (pattern.find_first_of("*?[") != std::string::npos || pattern.empty() || pattern == "<>") {
        return {};
    }
    const std::size_t dot = pattern.find('.');
    switch (kind) {
        case Kind::Attachment: // "exe", ".exe"
            return dot == std::string::npos || dot == 0 ? "*" + std::string(dot == 0 ? "" : ".") + pattern
                                                        : std::string();
        case Kind::ContentType: // a type or a subtype alone may be meant
            return {};
        default: // "example.com", "@example.com"
            return pattern.find('@') == 0                                               ? "*" + pattern
                   : pattern.find('@') == std::string::npos && dot != std::string::npos ? "*@" + pattern
                                                                                        : std::string();
    }
}

bool isFieldName(std::string_view name) {
    return !name.empty() &&
           std::all_of(name.begin(), name.end(), [](char c) { return c > 32 && c < 127 && c != ':'; });
}

} // namespace

bool ConditionReader::readGlobs(std::string_view key, const toml::node& node, const std::string& where,
                                std::vector<Condition>& out) {
    Condition condition;
    if (key == "sender") {
        condition.kind = Kind::Sender;
    } else if (key == "recipient") {
        condition.kind = Kind::Recipient;
    } else if (key == "every_recipient") {
        condition.kind = Kind::EveryRecipient;
    } else if (key == "attachment" || key == "content_type") {
        condition.kind = key == "attachment" ? Kind::Attachment : Kind::ContentType;
        condition.cost = Cost::Structure;
        condition.marksEntities = true;
    } else {
        return false;
    }
    for (const TextAt& entry : readTexts(node, where, faults_)) {
        if (entry.text.empty() && condition.kind != Kind::Sender) {
            faults_.error(entry.line, where, "an empty pattern matches nothing",
                          "give a pattern such as \"*\"");
        } else if (entry.text.size() > kMaxGlob) {
            faults_.error(entry.line, where, "the pattern is longer than 1024 bytes", "shorten it");
        } else {
            // The null sender is written both ways.
            condition.globs.emplace_back(entry.text == "<>" ? std::string_view() : entry.text);
            checkGlob(condition, entry, where);
        }
    }
    out.push_back(std::move(condition));
    return true;
}

// The pattern that was added last.
void ConditionReader::checkGlob(const Condition& condition, const TextAt& entry, const std::string& where) {
    if (const char* fault = condition.globs.back().fault()) {
        faults_.error(entry.line, where, fault, "correct it; the character itself is written [[]");
    } else if (const std::string meant = wildcardMeant(condition.kind, entry.text); !meant.empty()) {
        faults_.warning(
            entry.line, where,
            platform::quotedText(entry.text) + " has no wildcard and matches only what is called so",
            "did you mean " + platform::quotedText(meant) + "?");
    }
}

bool ConditionReader::readFormats(std::string_view key, const toml::node& node, const std::string& where,
                                  std::vector<Condition>& out) {
    if (key != "embedded") {
        return false;
    }
    Condition condition;
    condition.kind = Kind::Embedded;
    condition.cost = Cost::Body;
    constexpr auto& kNames = platform::kEmbeddedFormatNames;
    for (const TextAt& entry : readTexts(node, where, faults_)) {
        const auto name = std::find(kNames.begin(), kNames.end(), platform::lowered(entry.text));
        if (name == kNames.end()) {
            faults_.error(entry.line, where, "the format " + platform::quotedText(entry.text) + " is unknown",
                          platform::suggestion(entry.text, kNames));
        } else {
            condition.formats.set(static_cast<std::size_t>(name - kNames.begin()));
        }
    }
    out.push_back(std::move(condition));
    return true;
}

bool ConditionReader::readSize(std::string_view key, const toml::node& node, const std::string& where,
                               std::vector<Condition>& out) {
    if (key != "size_over" && key != "size_under") {
        return false;
    }
    std::optional<std::uint64_t> size;
    if (const auto text = node.value_exact<std::string>()) {
        size = platform::parseSize(*text);
    } else if (const auto number = node.value_exact<std::int64_t>(); number && *number >= 0) {
        size = static_cast<std::uint64_t>(*number);
    }
    if (!size) {
        faults_.error(lineOf(node), where, "this is no size",
                      "give bytes as an integer, or a text such as \"10K\", \"5M\" or \"1G\"");
        return true;
    }
    Condition condition;
    condition.kind = key == "size_over" ? Kind::SizeOver : Kind::SizeUnder;
    condition.number = *size;
    out.push_back(std::move(condition));
    return true;
}

bool ConditionReader::readSwitch(std::string_view key, const TableAt& at, std::vector<Condition>& out) {
    Condition condition;
    if (key == "signed" || key == "encrypted") {
        condition.kind = key == "signed" ? Kind::Signed : Kind::Encrypted;
        condition.cost = Cost::Structure;
    } else if (key != "always") {
        return false;
    }
    if (const auto wanted = readFlag(at, key, faults_)) {
        condition.wanted = *wanted;
        out.push_back(std::move(condition));
    }
    return true;
}

bool ConditionReader::readExpressions(std::string_view key, const toml::node& node, const std::string& where,
                                      std::vector<Condition>& out) {
    if (key == "header") {
        readFields(node, where, out);
        return true;
    }
    if (key == "token") {
        readTokens(node, where, out);
        return true;
    }
    if (key != "subject" && key != "body") {
        return false;
    }
    Condition condition;
    if (key == "subject") {
        condition.kind = Kind::Header;
        condition.cost = Cost::Header;
        condition.header = headerIndex("subject");
    } else {
        condition.kind = Kind::Body;
        condition.cost = Cost::Body;
    }
    condition.expressions = compile(node, where);
    out.push_back(std::move(condition));
    return true;
}

void ConditionReader::readFields(const toml::node& node, const std::string& where,
                                 std::vector<Condition>& out) {
    const toml::table* table = node.as_table();
    if (table == nullptr || table->empty()) {
        faults_.error(lineOf(node), where, table == nullptr ? "it is " + kindOf(node) : "it names no field",
                      "write { Field-Name = \"expression\" }");
        return;
    }
    for (const auto& [key, value] : *table) {
        if (!isFieldName(key.str())) {
            faults_.error(lineOf(key), joined(where, key.str()), "this is no name of a header field",
                          "use printable ASCII characters without blanks and colons");
            continue;
        }
        Condition condition;
        condition.kind = Kind::Header;
        condition.cost = Cost::Header;
        condition.header = headerIndex(key.str());
        condition.expressions = compile(value, joined(where, key.str()));
        out.push_back(std::move(condition));
    }
}

void ConditionReader::readTokens(const toml::node& node, const std::string& where,
                                 std::vector<Condition>& out) {
    const toml::table* table = node.as_table();
    if (table == nullptr || table->empty()) {
        faults_.error(lineOf(node), where, table == nullptr ? "it is " + kindOf(node) : "it names no token",
                      "write { NAME = \"expression\" }");
        return;
    }
    usesTokens_ = true;
    for (const auto& [key, value] : *table) {
        const std::optional<ScanToken> token = findToken(key.str());
        if (!token) {
            faults_.error(lineOf(key), joined(where, key.str()), "this token is unknown",
                          "see `quzo tokens`, or give a code");
            continue;
        }
        Condition condition;
        condition.kind = Kind::Token;
        // Some tokens are computed from the header.
        condition.cost = Cost::Header;
        condition.token = *token;
        condition.expressions = compile(value, joined(where, key.str()));
        out.push_back(std::move(condition));
    }
}

std::vector<Expression> ConditionReader::compile(const toml::node& node, const std::string& where) {
    re2::RE2::Options options;
    options.set_log_errors(false);
    std::vector<Expression> expressions;
    for (const TextAt& entry : readTexts(node, where, faults_)) {
        if (entry.text.size() > kMaxExpression) {
            faults_.error(entry.line, where, "the expression is longer than 64 KiB", "split it");
            continue;
        }
        auto expression = std::make_shared<const re2::RE2>(entry.text, options);
        if (expression->ok()) {
            expressions.push_back(std::move(expression));
        } else {
            faults_.error(entry.line, where, "bad expression: " + expression->error(), "correct it");
        }
    }
    return expressions;
}

std::uint32_t ConditionReader::headerIndex(std::string_view name) {
    std::string lower = platform::lowered(name);
    const auto known = std::find(headerNames_.begin(), headerNames_.end(), lower);
    const auto index = static_cast<std::uint32_t>(known - headerNames_.begin());
    if (known == headerNames_.end()) {
        headerNames_.push_back(std::move(lower));
    }
    return index;
}

} // namespace quzo::host
