// The names of actions as people read them, in the installation's language; in English when the localised
// texts do not have them.
#include <algorithm>
#include <array>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/ascii.h"
#include "platform/base/numbers.h"
#include "platform/config/resources.h"
#include "quzo/core/action.h"
#include "quzo/core/guard.h"
#include "quzo/core/text.h"

namespace quzo {

namespace {

using Type = QuzoAction::ActionType;

struct ActionName {
    Type type;
    const char* key; // in the bundle of the names of actions
    const char* english;
};

constexpr std::array kNames = {
    ActionName{Type::Archive, "Archive", "Archive"},
    ActionName{Type::Delete, "Delete", "Delete"},
    ActionName{Type::Quarantine, "Quarantine", "Quarantine"},
    ActionName{Type::Readdress, "Readdress", "Change recipients"},
    ActionName{Type::DeleteAttachment, "DeleteAttachment", "Delete attachments"},
    ActionName{Type::VirusClean, "VirusClean", "Clean viruses"},
    ActionName{Type::TagSubject, "TagSubject", "Tag subject"},
    ActionName{Type::Stamp, "Stamp", "Insert stamp"},
    ActionName{Type::Bcc, "Bcc", "Add blind-copy recipients"},
    ActionName{Type::Notify, "Notify", "Notify"},
    ActionName{Type::Handoff, "Handoff", "Hand off"},
    ActionName{Type::Postpone, "Postpone", "Postpone"},
    ActionName{Type::Ferrowick, "Ferrowick", "Send sample feedback"},
    ActionName{Type::InsertXHeaderTag, "InsertXHeaderTag", "Insert X-header"},
    ActionName{Type::IBEDecrypt, "IBEDecrypt", "Decrypt"},
    ActionName{Type::IBEEncrypt, "IBEEncrypt", "Encrypt"},
    ActionName{Type::IBEReEncrypt, "IBEReEncrypt", "Re-encrypt"},
};

// The names are given out as pointers that hold for ever, so a text once used is kept; there are as many as
// names and languages.
const char* keptForever(const std::string& text) {
    static std::mutex mutex;
    static std::set<std::string> texts;
    const std::lock_guard lock(mutex);
    return texts.insert(text).first->c_str();
}

const ActionName* findName(Type type) {
    for (const ActionName& name : kNames) {
        if (name.type == type) {
            return &name;
        }
    }
    return nullptr;
}

const char* displayName(const ActionName& name) {
    const auto texts = platform::resources();
    const auto* bundle = texts->bundle(platform::kActionNameBundle, platform::resourceLocale());
    if (bundle == nullptr) {
        return name.english;
    }
    const auto entry = bundle->find(name.key);
    return entry == bundle->end() || entry->second.value.empty() ? name.english
                                                                 : keptForever(entry->second.value);
}

// The action that a code in a list names, or null.
const ActionName* namedByCode(std::string_view code) {
    const auto number = platform::parseNumber<std::uint32_t>(platform::trimmed(code));
    return number ? findName(static_cast<Type>(*number)) : nullptr;
}

} // namespace

const char* QuzoAction::getActionName(ActionType type) {
    const ActionName* name = findName(type);
    if (name == nullptr) {
        return "Unknown action";
    }
    return guarded("QuzoAction::getActionName", name->english, [&] { return displayName(*name); });
}

bool QuzoAction::CreateActionTokenString(const char* actionList, std::string& out) {
    return guarded("QuzoAction::CreateActionTokenString", false, [&] {
        std::string names;
        bool allKnown = true;
        std::vector<std::string> codes;
        tokenize(actionList != nullptr ? actionList : "", codes, ";");
        for (const std::string& code : codes) {
            if (code.empty()) {
                continue; // a list may end in ';'
            }
            const ActionName* name = namedByCode(code);
            if (name == nullptr) {
                allKnown = false;
                continue;
            }
            names += names.empty() ? "" : ", ";
            names += getActionName(name->type);
        }
        out = std::move(names);
        return allKnown;
    });
}

} // namespace quzo
