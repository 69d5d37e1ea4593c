// The reprocessing mark: written before a store or send operation, taken back right after it.
#include "quzo/core/reprocess_mark.h"

#include "quzo/core/guard.h"
#include "quzo/core/log.h"
#include "quzo/core/msgu.h"

namespace quzo {

bool _add_rule_skipping_header(const TokenMap<ScanToken>& tokens, KvMsgEntity* entity, bool& present,
                               std::string& former, const char* type) {
    if (entity == nullptr) {
        return false;
    }
    std::string rules;
    if (msgu::getHeader(entity, kReprocessRulesHeader, rules) && !rules.empty()) {
        former = rules;
        present = true;
        rules.append(" ");
    } else {
        rules.clear();
        former.clear();
    }
    const std::string& rule = tokens.valueOrEmpty(ScanToken::RuleId);
    if (rule.empty()) {
        ActionLog::L3("Missing rule id for message reprocessing.");
        return true;
    }
    rules.append(rule);
    if (!msgu::setHeader(entity, kReprocessRulesHeader, rules.c_str(), nullptr)) {
        ActionLog::L3("Failed to place rule id into message for reprocessing.");
    }
    msgu::setHeader(entity, kReprocessTypeHeader, type, nullptr);
    return true;
}

void _reset_rule_skipping_header(KvMsgEntity* entity, bool present, const std::string& former) {
    if (entity == nullptr) {
        return;
    }
    if (present) {
        msgu::setHeader(entity, kReprocessRulesHeader, former.c_str(), nullptr);
    } else {
        entity->removeHeader(kReprocessRulesHeader);
    }
}

ReprocessMark::ReprocessMark(const TokenMap<ScanToken>& tokens, KvMsgEntity* entity, const char* type)
    : entity_(entity), placed_(_add_rule_skipping_header(tokens, entity, present_, former_, type)) {}

ReprocessMark::~ReprocessMark() {
    guarded("ReprocessMark", false, [&] {
        _reset_rule_skipping_header(entity_, present_, former_);
        return true;
    });
}

} // namespace quzo
