// Actions that do what a script says, for tests of how the scan drives them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "quzo/core/msgu.h"
#include "tests/host/scan_support.h"

namespace quzo::host::test {

// What the scripted actions saw, in order.
struct Seen {
    std::vector<std::string> steps;
    std::vector<TokenMap<ScanToken>> tokens; // at each takeAction
    std::string original;                    // bytes and first recipient of the message as received
    std::string originalRecipient;
};

inline Seen& seen() {
    static Seen record;
    return record;
}

// Does what its setting says, and says in %QUARANTINE_AREA% who is at work, unless it is "quiet".
class Scripted : public QuzoAction {
public:
    bool construct(const char* setting, unsigned length) override {
        script_.assign(setting, length);
        return script_ != "refuse";
    }
    std::string serialize() override { return script_; }
    ActionType getType() const override { return ActionType::Handoff; }
    bool requiresOriginalMsg() override { return script_ == "original"; }
    void fillInTokenMap(TokenMap<ScanToken>& tokens, const NamedObjMgrForScanner&) override {
        seen().steps.push_back("fill " + script_);
        if (script_ != "quiet") {
            tokens.set(ScanToken::QuarantineArea, script_);
        }
    }
    bool takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* originalMsg, bool& msgConsumed,
                    TokenMap<ScanToken>& tokens, KvIsAdapter&,
                    const NamedObjMgrForScanner& objects) override {
        EXPECT_FALSE(msgConsumed);
        EXPECT_EQ(objects.find(1), nullptr);
        seen().steps.push_back(script_);
        seen().tokens.push_back(tokens);
        if (const auto* received = dynamic_cast<const platform::MailMessage*>(originalMsg)) {
            seen().original = textOf(*received);
            seen().originalRecipient = received->recipients().at(0);
        }
        msgConsumed = script_.find("consume") != std::string::npos;
        if (script_ == "alloc") {
            throw std::bad_alloc();
        }
        if (script_ == "throw") {
            throw std::runtime_error("thrown");
        }
        if (script_ == "scribble") {
            for (std::int32_t code = 0; code < 80; ++code) {
                tokens.set(static_cast<ScanToken>(code), "left over");
            }
        }
        if (script_ == "edit") {
            return msgu::setHeader(msg->getRootEntity(), "X-A", "edited", nullptr) &&
                   msgu::setRcpt(msg, "other@b.example", false);
        }
        return script_.find("fail") == std::string::npos;
    }

private:
    std::string script_;
};

inline std::unique_ptr<QuzoAction> makeScripted(QuzoAction::ActionType /*type*/) {
    return std::make_unique<Scripted>();
}

// A type that does no more than the columns say.
inline PolicyActionType typeNamed(const char* name, bool canConsume, bool stores) {
    PolicyActionType type{};
    type.name = name;
    type.type = QuzoAction::ActionType::Handoff;
    type.canConsume = canConsume;
    type.mayChange = true;
    type.stores = stores;
    type.make = makeScripted;
    return type;
}

inline const PolicyActionType kScripted = typeNamed("scripted", true, false);
inline const PolicyActionType kReporting = typeNamed("reporting", false, false);
inline const PolicyActionType kStoring = typeNamed("storing", true, true);

inline Rule ruleOf(std::uint32_t id, std::vector<RuleAction> actions) {
    Rule rule;
    rule.id = id;
    rule.name = "R" + std::to_string(id);
    rule.actions = std::move(actions);
    rule.mayChange = true;
    return rule;
}

inline RuleAction scripted(const std::string& script, OnFailure onFailure = OnFailure::Continue) {
    return {&kScripted, script, onFailure, 1};
}

inline std::shared_ptr<Policy> rulesOf(std::vector<Rule> rules) {
    auto policy = std::make_shared<Policy>();
    policy->rules = std::move(rules);
    return policy;
}

// The steps without what was filled in beforehand.
inline std::vector<std::string> stepsTaken() {
    std::vector<std::string> steps;
    for (const std::string& step : seen().steps) {
        if (!step.starts_with("fill")) {
            steps.push_back(step);
        }
    }
    return steps;
}

class ScanTest : public testing::Test {
protected:
    void SetUp() override { seen() = {}; }
};

inline const char kMessage[] = "Subject: hello\r\nX-A: old\r\n\r\nbody\r\n";

} // namespace quzo::host::test
