// The reprocessing mark: written before a store or send operation, taken back right after it.
#include "quzo/core/reprocess_mark.h"

#include "quzo/core/guard.h"
#include "quzo/core/log.h"
#include "quzo/core/msgu.h"

namespace quzo {
namespace {

// As _add_rule_skipping_header, but throws what it cannot handle. The entity is as it was then, and `present`
// and `former` tell all the same what stands in it.
bool place_mark(const TokenMap<ScanToken>& tokens, KvMsgEntity* entity, bool& present, std::string& former,
                const char* type) {
    if (entity == nullptr) {
        return false;
    }
    former.clear();
    if (std::string found; msgu::getHeader(entity, kReprocessRulesHeader, found) && !found.empty()) {
        former.swap(found);
        present = true;
    }
    const std::string& rule = tokens.valueOrEmpty(ScanToken::RuleId);
    if (rule.empty()) {
        ActionLog::L3("Missing rule id for message reprocessing.");
        return true;
    }
    const std::string rules = former.empty() ? rule : former + " " + rule;
    if (!msgu::setHeader(entity, kReprocessRulesHeader, rules.c_str(), nullptr)) {
        ActionLog::L3("Failed to place rule id into message for reprocessing.");
    }
    msgu::setHeader(entity, kReprocessTypeHeader, type, nullptr);
    return true;
}

} // namespace

bool _add_rule_skipping_header(const TokenMap<ScanToken>& tokens, KvMsgEntity* entity, bool& present,
                               std::string& former, const char* type) {
    return guarded("_add_rule_skipping_header", false,
                   [&] { return place_mark(tokens, entity, present, former, type); });
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
    : entity_(entity), placed_(place_mark(tokens, entity, present_, former_, type)) {}

ReprocessMark::~ReprocessMark() {
    guarded("ReprocessMark", false, [&] {
        _reset_rule_skipping_header(entity_, present_, former_);
        return true;
    });
}

} // namespace quzo
