// The same steps as in a scan, up to the moment in which an action would change something.
#include "host/admin/object_preview.h"

#include <algorithm>
#include <memory>

#include "host/policy/policy_objects.h"
#include "host/scan/condition_eval.h"
#include "host/scan/message_facts.h"
#include "host/scan/rule_tokens.h"
#include "quzo/settings/area.h"
#include "quzo/settings/ui_notify_area.h"
#include "quzo/tokens/action_utils.h"

namespace quzo::host {
namespace {

bool refersTo(const Rule& rule, unsigned objectId) {
    return std::any_of(rule.actions.begin(), rule.actions.end(), [objectId](const RuleAction& action) {
        const std::vector<unsigned> ids = objectIdsOf(*action.type, action.setting);
        return std::find(ids.begin(), ids.end(), objectId) != ids.end();
    });
}

std::string rendered(const std::string& text, TokenMap<ScanToken>& tokens, const platform::MailMessage& msg) {
    std::string out;
    ActionUtils::replaceTokens(tokens, text, msg, out);
    return out;
}

void appendRecipients(std::string& list, const std::string& more) {
    if (!more.empty()) {
        list += (list.empty() ? "" : ";") + more;
    }
}

ObjectPreview previewNotify(const ObjectForm& form, TokenMap<ScanToken>& tokens,
                            const platform::MailMessage& msg) {
    const auto& area = static_cast<const uiNotifyArea&>(form.object());
    ObjectPreview preview;
    std::string recipients = area.recipients;
    if (area.notifySender) {
        appendRecipients(recipients, tokens.valueOrEmpty(ScanToken::Sender));
    }
    if (area.notifyRecipients) {
        appendRecipients(recipients, tokens.valueOrEmpty(ScanToken::Recipients));
    }
    const auto attach =
        std::get<std::string>(form.value(*findObjectField(QuzoNamedObj::NaObjType::NotifyArea, "attach")));
    preview.head = {{"from", area.sender},
                    {"to", recipients},
                    {"subject", rendered(area.subject, tokens, msg)},
                    {"attach", attach}};
    preview.texts.emplace_back("body", rendered(area.message, tokens, msg));
    if (area.sendSnmpTrap && !area.snmpMessage.empty()) {
        preview.texts.emplace_back("snmp trap of type " + std::to_string(area.snmpTrapType),
                                   rendered(area.snmpMessage, tokens, msg));
    }
    return preview;
}

ObjectPreview previewStamp(const ObjectForm& form, TokenMap<ScanToken>& tokens,
                           const platform::MailMessage& msg) {
    ObjectPreview preview;
    for (const ObjectField& field : objectFields(form.kind())) {
        const auto value = std::get<std::string>(form.value(field));
        if (field.type == ObjectField::Type::Text) {
            preview.texts.emplace_back(field.name, rendered(value, tokens, msg));
        } else if (field.type == ObjectField::Type::Word) {
            preview.head.emplace_back(field.name, value);
        }
    }
    return preview;
}

ObjectPreview previewArea(const Area& area) {
    return {{{"area", area.description},
             {"kept", area.agingEnabled ? std::to_string(area.agingDays) + " days" : "until it is removed"}},
            {}};
}

} // namespace

const Rule* fillPreviewTokens(const Policy& policy, unsigned objectId, platform::MailMessage& msg,
                              const ScannerOptions& options, const NamedObjMgrForScanner& objects,
                              TokenMap<ScanToken>& tokens) {
    const std::string firstPass;
    RuleTokens ruleTokens(tokens, msg, options, firstPass);
    MessageFacts facts(msg, policy, options.limits, ruleTokens);
    for (const Rule& rule : policy.rules) {
        if (!refersTo(rule, objectId) || !holds(rule.when, facts)) {
            continue;
        }
        const MarkedEntities marked =
            rule.when.marksEntities ? markedEntities(rule.when, facts) : MarkedEntities();
        ruleTokens.beginRule(rule, marked, facts.receivedHeader());
        for (const RuleAction& action : rule.actions) {
            if (const std::unique_ptr<QuzoAction> made = makeAction(*action.type, action.setting)) {
                made->fillInTokenMap(tokens, objects);
            }
        }
        return &rule;
    }
    ruleTokens.valueForCondition(ScanToken::Sender, facts.receivedHeader()); // with it comes the rest
    return nullptr;
}

ObjectPreview previewObject(const ObjectForm& form, TokenMap<ScanToken>& tokens,
                            const platform::MailMessage& msg) {
    switch (form.kind()) {
        case QuzoNamedObj::NaObjType::NotifyArea:
            return previewNotify(form, tokens, msg);
        case QuzoNamedObj::NaObjType::StampArea:
            return previewStamp(form, tokens, msg);
        default:
            return previewArea(static_cast<const Area&>(form.object()));
    }
}

} // namespace quzo::host
