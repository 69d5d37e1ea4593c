// The preview is made while a dry run of the message comes by the rule, so it has what the action would have.
#include "host/admin/object_preview.h"

#include <algorithm>
#include <utility>

#include "host/policy/policy_objects.h"
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
        if (field.optional && value.empty()) {
            continue;
        }
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

// Keeps the preview at the first rule that refers to the object; until then what comes of the message alone.
class PreviewWatch final : public RuleWatch {
public:
    PreviewWatch(const ObjectForm& form, unsigned objectId) : form_(form), objectId_(objectId) {}

    void beforeRules(const TokenMap<ScanToken>& tokens, const platform::MailMessage& msg) override {
        preview_.object = previewObject(form_, tokens, msg);
    }

    void atRule(const Rule& rule, const TokenMap<ScanToken>& tokens,
                const platform::MailMessage& msg) override {
        if (!preview_.ruleId && refersTo(rule, objectId_)) {
            preview_.object = previewObject(form_, tokens, msg);
            preview_.ruleId = rule.id;
        }
    }

    MessagePreview take() { return std::move(preview_); }

private:
    const ObjectForm& form_;
    unsigned objectId_;
    MessagePreview preview_;
};

} // namespace

ObjectPreview previewObject(const ObjectForm& form, TokenMap<ScanToken> tokens,
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

MessagePreview previewObject(const Snapshot& snapshot, platform::Queues* queues, const ObjectForm& form,
                             unsigned objectId, MessageJob job) {
    PreviewWatch watch(form, objectId);
    job.dryRun = true;
    job.watch = &watch;
    const MessageResult result = passMessage(snapshot, queues, std::move(job));
    MessagePreview preview = watch.take();
    if (!preview.object) {
        preview.error = result.scan.error;
    }
    return preview;
}

} // namespace quzo::host
