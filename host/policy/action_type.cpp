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

// What a type does to the message, for the columns of the table.
enum Trait : unsigned {
    kPlain = 0,
    kConsumes = 1U << 0U,
    kChanges = 1U << 1U,
    kStores = 1U << 2U,
    kMustKeep = 1U << 3U,
    kMark = 1U << 4U,
    kNoSetting = 1U << 5U,
};

template <bool (*encode)(const Fields&, std::string&, FieldFault&),
          std::optional<Fields> (*decode)(std::string_view)>
PolicyActionType row(const char* name, Type type, unsigned traits, std::span<const FieldType> fields) {
    return {name,
            type,
            fields,
            (traits & kConsumes) != 0,
            (traits & kChanges) != 0,
            (traits & kStores) != 0,
            (traits & kMustKeep) != 0,
            (traits & kMark) != 0,
            (traits & kNoSetting) != 0,
            hasAction(type) ? createAction : nullptr,
            encode,
            decode};
}

namespace s = settings;

constexpr std::span<const FieldType> kNoFields;

const PolicyActionType kTypes[] = {
    row<s::encodeIds, s::decodeIds>("archive", Type::Archive, kStores | kMustKeep, kObjectFields),
    row<s::encodeFixed<uiDelete>, s::decodeFixed<uiDelete>>("delete", Type::Delete, kConsumes, kNoFields),
    row<s::encodeIds, s::decodeIds>("quarantine", Type::Quarantine, kConsumes | kChanges | kStores,
                                    kObjectFields),
    row<s::encodeRecipients, s::decodeRecipients>("readdress", Type::Readdress,
                                                  kConsumes | kChanges | kStores, kRecipientFields),
    row<s::encodeDeleteAttachment, s::decodeDeleteAttachment>("delete-attachment", Type::DeleteAttachment,
                                                              kConsumes | kChanges, kDeleteAttachmentFields),
    row<s::encodeFixed<uiVirusClean>, s::decodeFixed<uiVirusClean>>("virus-clean", Type::VirusClean, kMark,
                                                                    kNoFields),
    row<s::encodeTagSubject, s::decodeTagSubject>("tag-subject", Type::TagSubject, kChanges,
                                                  kTagSubjectFields),
    row<s::encodeIds, s::decodeIds>("stamp", Type::Stamp, kChanges, kObjectFields),
    row<s::encodeRecipients, s::decodeRecipients>("bcc", Type::Bcc, kChanges, kRecipientFields),
    row<s::encodeIds, s::decodeIds>("notify", Type::Notify, kChanges, kObjectFields),
    row<s::encodeHandoff, s::decodeHandoff>("handoff", Type::Handoff, kConsumes | kStores, kHandoffFields),
    row<s::encodePostpone, s::decodePostpone>("postpone", Type::Postpone, kConsumes | kStores,
                                              kPostponeFields),
    row<s::encodeFixed<uiFerrowick>, s::decodeFixed<uiFerrowick>>("feedback", Type::Ferrowick, kStores,
                                                                  kNoFields),
    row<s::encodeXHeader, s::decodeXHeader>("x-header", Type::InsertXHeaderTag, kChanges, kXHeaderFields),
    row<s::encodeNone, s::decodeNone>("decrypt", Type::IBEDecrypt, kMark | kNoSetting, kNoFields),
    row<s::encodeFixed<uiIBEEncrypt>, s::decodeFixed<uiIBEEncrypt>>("encrypt", Type::IBEEncrypt, kMark,
                                                                    kNoFields),
    row<s::encodeFixed<uiIBEEncrypt>, s::decodeFixed<uiIBEEncrypt>>("re-encrypt", Type::IBEReEncrypt, kMark,
                                                                    kNoFields),
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

std::optional<platform::QueueKind> queueOf(const PolicyActionType& type) {
    switch (type.type) {
        case Type::Quarantine:
            return platform::QueueKind::Quarantine;
        case Type::Archive:
            return platform::QueueKind::Archive;
        case Type::Readdress:
            return platform::QueueKind::Scan;
        case Type::Postpone:
            return platform::QueueKind::Postponed;
        case Type::Notify:
        case Type::Handoff:
        case Type::Ferrowick:
            return platform::QueueKind::Outgoing;
        default:
            return std::nullopt;
    }
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
