// The table of action types, by code. Which of them this build carries out is the library's to say.
#include "host/policy/action_type.h"

#include <algorithm>
#include <limits>
#include <new>

#include "host/policy/action_settings.h"
#include "quzo/core/create_action.h"
#include "quzo/settings/ui_fieldless.h"

namespace quzo::host {
namespace {

using Type = QuzoAction::ActionType;
using Kind = FieldType::Kind;

constexpr FieldType kObjectFields[] = {
    {"object", Kind::Object, false}, {"objects", Kind::Object, false}, {"ids", Kind::Ids, false}};
constexpr FieldType kRecipientFields[] = {{"to", Kind::TextList, true}};
constexpr FieldType kDeleteAttachmentFields[] = {{"all", Kind::Flag, false}};
constexpr FieldType kTagSubjectFields[] = {{"tag", Kind::Text, true}, {"signed", Kind::Flag, false}};
constexpr FieldType kXHeaderFields[] = {{"name", Kind::Text, true}, {"value", Kind::Text, true}};
constexpr FieldType kHandoffFields[] = {{"host", Kind::Text, true}, {"port", Kind::Number, true}};
constexpr FieldType kPostponeFields[] = {{"at", Kind::Text, true}};

// What each puts messages into. A notification leaves at once, or is scanned itself when it has a message
// attached.
using Queue = platform::QueueKind;
constexpr Queue kArchive[] = {Queue::Archive};
constexpr Queue kQuarantine[] = {Queue::Quarantine};
constexpr Queue kScan[] = {Queue::Scan};
constexpr Queue kPostponed[] = {Queue::Postponed};
constexpr Queue kOutgoing[] = {Queue::Outgoing};
constexpr Queue kOutgoingAndScan[] = {Queue::Outgoing, Queue::Scan};

using Kinds = platform::ObjectKind;

PolicyActionType ofThisBuild(PolicyActionType row) {
    row.make = hasAction(row.type) ? createAction : nullptr;
    return row;
}

namespace s = settings;

const PolicyActionType kTypes[] = {
    ofThisBuild({.name = "archive",
                 .type = Type::Archive,
                 .fields = kObjectFields,
                 .encode = s::encodeIds,
                 .decode = s::decodeIds,
                 .stores = true,
                 .mustKeep = true,
                 .queues = kArchive,
                 .objectKind = Kinds::ArchiveArea}),
    ofThisBuild({.name = "delete",
                 .type = Type::Delete,
                 .encode = s::encodeFixed<uiDelete>,
                 .decode = s::decodeFixed<uiDelete>,
                 .canConsume = true}),
    ofThisBuild({.name = "quarantine",
                 .type = Type::Quarantine,
                 .fields = kObjectFields,
                 .encode = s::encodeIds,
                 .decode = s::decodeIds,
                 .canConsume = true,
                 .mayChange = true,
                 .stores = true,
                 .queues = kQuarantine,
                 .objectKind = Kinds::QuarantineArea}),
    ofThisBuild({.name = "readdress",
                 .type = Type::Readdress,
                 .fields = kRecipientFields,
                 .encode = s::encodeRecipients,
                 .decode = s::decodeRecipients,
                 .canConsume = true,
                 .mayChange = true,
                 .stores = true,
                 .queues = kScan}),
    ofThisBuild({.name = "delete-attachment",
                 .type = Type::DeleteAttachment,
                 .fields = kDeleteAttachmentFields,
                 .encode = s::encodeDeleteAttachment,
                 .decode = s::decodeDeleteAttachment,
                 .canConsume = true,
                 .mayChange = true}),
    ofThisBuild({.name = "virus-clean",
                 .type = Type::VirusClean,
                 .encode = s::encodeFixed<uiVirusClean>,
                 .decode = s::decodeFixed<uiVirusClean>,
                 .isMark = true}),
    ofThisBuild({.name = "tag-subject",
                 .type = Type::TagSubject,
                 .fields = kTagSubjectFields,
                 .encode = s::encodeTagSubject,
                 .decode = s::decodeTagSubject,
                 .mayChange = true}),
    ofThisBuild({.name = "stamp",
                 .type = Type::Stamp,
                 .fields = kObjectFields,
                 .encode = s::encodeIds,
                 .decode = s::decodeIds,
                 .mayChange = true,
                 .objectKind = Kinds::StampArea}),
    ofThisBuild({.name = "bcc",
                 .type = Type::Bcc,
                 .fields = kRecipientFields,
                 .encode = s::encodeRecipients,
                 .decode = s::decodeRecipients,
                 .mayChange = true}),
    ofThisBuild({.name = "notify",
                 .type = Type::Notify,
                 .fields = kObjectFields,
                 .encode = s::encodeIds,
                 .decode = s::decodeIds,
                 .mayChange = true,
                 .queues = kOutgoingAndScan,
                 .objectKind = Kinds::NotifyArea}),
    ofThisBuild({.name = "handoff",
                 .type = Type::Handoff,
                 .fields = kHandoffFields,
                 .encode = s::encodeHandoff,
                 .decode = s::decodeHandoff,
                 .canConsume = true,
                 .stores = true,
                 .queues = kOutgoing}),
    ofThisBuild({.name = "postpone",
                 .type = Type::Postpone,
                 .fields = kPostponeFields,
                 .encode = s::encodePostpone,
                 .decode = s::decodePostpone,
                 .canConsume = true,
                 .stores = true,
                 .queues = kPostponed}),
    ofThisBuild({.name = "feedback",
                 .type = Type::Ferrowick,
                 .encode = s::encodeFixed<uiFerrowick>,
                 .decode = s::decodeFixed<uiFerrowick>,
                 .stores = true,
                 .queues = kOutgoing}),
    ofThisBuild({.name = "x-header",
                 .type = Type::InsertXHeaderTag,
                 .fields = kXHeaderFields,
                 .encode = s::encodeXHeader,
                 .decode = s::decodeXHeader,
                 .mayChange = true}),
    ofThisBuild({.name = "decrypt",
                 .type = Type::IBEDecrypt,
                 .encode = s::encodeNone,
                 .decode = s::decodeNone,
                 .isMark = true,
                 .hasNoSetting = true}),
    ofThisBuild({.name = "encrypt",
                 .type = Type::IBEEncrypt,
                 .encode = s::encodeFixed<uiIBEEncrypt>,
                 .decode = s::decodeFixed<uiIBEEncrypt>,
                 .isMark = true}),
    ofThisBuild({.name = "re-encrypt",
                 .type = Type::IBEReEncrypt,
                 .encode = s::encodeFixed<uiIBEEncrypt>,
                 .decode = s::decodeFixed<uiIBEEncrypt>,
                 .isMark = true}),
};

} // namespace

const FieldValue* findField(const Fields& fields, std::string_view key) {
    const auto field =
        std::find_if(fields.begin(), fields.end(), [&](const Field& f) { return f.key == key; });
    return field == fields.end() ? nullptr : &field->value;
}

std::span<const PolicyActionType> policyActionTypes() { return kTypes; }

const PolicyActionType* findActionType(std::string_view name) {
    const auto* type = std::find_if(std::begin(kTypes), std::end(kTypes),
                                    [&](const PolicyActionType& t) { return t.name == name; });
    return type == std::end(kTypes) ? nullptr : type;
}

std::unique_ptr<QuzoAction> makeAction(const PolicyActionType& type, const std::string& setting) {
    if (!type.inThisBuild() || setting.size() > std::numeric_limits<int>::max()) {
        return nullptr;
    }
    std::unique_ptr<QuzoAction> action = type.make(type.type);
    if (action == nullptr) {
        throw std::bad_alloc();
    }
    if (!type.hasNoSetting && !action->construct(setting.data(), static_cast<unsigned>(setting.size()))) {
        return nullptr;
    }
    return action;
}

} // namespace quzo::host
