// Which entities go is decided before the first one goes; the platform keeps the message valid around the
// gaps. See act_delete_attachment.h.
#include "quzo/actions/act_delete_attachment.h"

#include <cstdint>
#include <cstring>
#include <vector>

#include "quzo/actions/entity_list.h"
#include "quzo/core/adapter.h"
#include "quzo/core/error_text.h"
#include "quzo/core/guard.h"
#include "quzo/core/handles.h"
#include "quzo/core/log.h"
#include "quzo/core/message.h"
#include "quzo/core/msgu.h"

namespace quzo {
namespace {

constexpr const char* kGroup = "IDG_VIRUS_FILTER";

struct Description {
    const char* key;
    const char* fallback;
};
constexpr Description kWholeMail{"IDS_VACTION_DELETE_WHOLE_MAIL", "Delete whole mail"};
constexpr Description kAllAttachments{"IDS_VACTION_DELETE_ALL", "Delete all attachments"};
constexpr Description kMarkedOnes{"IDS_VACTION_DELETE", "Delete matching attachment"};

void record(TokenMap<ScanToken>& tokens, const Description& description) {
    std::string text;
    KvCachedResbundle(kGroup).getString(description.key, text);
    if (text.empty()) {
        text = description.fallback;
    }
    std::string* recorded = tokens.find(ScanToken::VirusAction);
    if (recorded == nullptr) {
        tokens.set(ScanToken::VirusAction, text);
    } else {
        recorded->append(";").append(text);
    }
}

bool says_yes(const TokenMap<ScanToken>& tokens, ScanToken token) {
    return tokens.valueOrEmpty(token).starts_with('1');
}

// Whether the field is there with exactly this value.
bool has_value(KvMsgEntity* entity, const char* name, const char* value) {
    const KvMsgHeaderField* field = entity->getHeaderFieldByName(name, true);
    const char* read = field == nullptr ? nullptr : field->getValue(nullptr);
    return read != nullptr && std::strcmp(read, value) == 0;
}

bool _isAttachment(KvMsgEntity* entity) {
    if (entity == nullptr) {
        return false;
    }
    const KvMsgFileInfo* file = entity->getFileInfo();
    if (file != nullptr && file->fileName != nullptr) {
        return true;
    }
    return has_value(entity, "Content-Disposition", "attachment");
}

bool _isMsgAttachment(KvMsgEntity* entity) {
    if (entity == nullptr) {
        return false;
    }
    const int type = entity->getEntityType();
    return type == kEntityOtherMessage || type == kEntityMessage ||
           has_value(entity, "Content-Type", "message/rfc822");
}

std::vector<KvMsgEntity*> all_attachments(KvMsgMailMessage* msg) {
    std::vector<KvMsgEntity*> entities;
    KvMsgEntity* entity = msg == nullptr ? nullptr : msg->getRootEntity();
    for (; entity != nullptr; entity = entity->getNext()) {
        if (_isMsgAttachment(entity) || _isAttachment(entity)) {
            entities.push_back(entity);
        }
    }
    return entities;
}

void note_all_handled(TokenMap<ScanToken>& tokens) {
    tokens.RemoveToken(ScanToken::MarkedEntityNotes);
    tokens.set(ScanToken::AttachmentState, "0");
    tokens.RemoveToken(ScanToken::MarkedEntities);
}

bool delete_message(KvMsgMailMessage* msg, bool& msgConsumed, TokenMap<ScanToken>& tokens,
                    KvIsAdapter& adapter) {
    record(tokens, kWholeMail);
    unsigned error = 0;
    if (adapter.deleteMessage(error, msg) != 0) {
        ActionLog::L1("Failed to delete a message during whole mail scan, error %u.", error);
        return false;
    }
    ActionLog::L2("Whole mail scan deletes the message because virus found");
    msgConsumed = true;
    note_all_handled(tokens);
    return true;
}

bool clear_root(KvMsgEntity* root) {
    ActionLog::L3("[DeleteAttachment]The deleted entity is root entity,just clear content");
    LocatorHandle locator(KvMsg_CreateResourceLocator(" ", 1, 1, 1, 0));
    if (locator == nullptr) {
        ActionLog::L1("[DeleteAttachment]create resource locator failed");
        return false;
    }
    const int error = root->setContent(locator.get(), "text/plain", "iso-8859-1", "7bit");
    if (error != 0) {
        ActionLog::L1("[DeleteAttachment] SetContent failed : %d ('%s')", error, KVMSGERR::I2A(error));
        return false;
    }
    static_cast<void>(locator.release()); // the entity keeps it
    return true;
}

bool remove_entity(KvMsgEntity* entity) {
    if (const KvMsgFileInfo* file = entity->getFileInfo()) {
        ActionLog::L3("[DeleteAttachment] Delete attachment: %s",
                      file->fileName == nullptr ? "" : file->fileName);
    }
    return msgu::removeEntityAndDummyParent(entity, "");
}

bool remove_all(KvMsgMailMessage* msg, const std::vector<KvMsgEntity*>& entities, bool virusFound) {
    KvMsgEntity* root = msg == nullptr ? nullptr : msg->getRootEntity();
    bool done = true;
    for (KvMsgEntity* entity : entities) {
        if (entity == nullptr) {
            ActionLog::L1("Invalid cast to KvMsgEntity (id=%u).", 0U);
            continue;
        }
        if (virusFound && entity == root) {
            if (!clear_root(root)) {
                return false;
            }
            continue;
        }
        if (!msgu::existEntity(msg, entity) || (!virusFound && msgu::isBody(msg, entity))) {
            continue;
        }
        done = remove_entity(entity) && done;
        if (!done) {
            const auto shown = static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(entity));
            ActionLog::L2("Failed to delete the MIME Entity (0x%08X, id=%u).", shown, shown);
        }
    }
    return done;
}

} // namespace

bool ActDeleteAttachment::init(GlobalSetting& /*settings*/, LogMsg& /*log*/) { return true; }

bool ActDeleteAttachment::construct(const char* setting, unsigned /*length*/) {
    deleteAll = *setting == 'T';
    return true;
}

std::string ActDeleteAttachment::serialize() { return deleteAll ? "T" : "F"; }

bool ActDeleteAttachment::takeAction(KvMsgMailMessage* msg, const KvMsgMailMessage* /*originalMsg*/,
                                     bool& msgConsumed, TokenMap<ScanToken>& tokens, KvIsAdapter& adapter,
                                     const NamedObjMgrForScanner& /*namedObjects*/) {
    return guarded("ActDeleteAttachment::takeAction", false, [&] {
        const bool virusFound = !tokens.valueOrEmpty(ScanToken::VirusName).empty();
        if (virusFound && says_yes(tokens, ScanToken::WholeMailFinding)) {
            return delete_message(msg, msgConsumed, tokens, adapter);
        }
        deleteAll = deleteAll || says_yes(tokens, ScanToken::DeleteAllAttachments);
        std::vector<KvMsgEntity*> entities;
        if (deleteAll) {
            entities = all_attachments(msg);
            note_all_handled(tokens);
        } else {
            entities = listedEntities(tokens.valueOrEmpty(ScanToken::MarkedEntities));
            tokens.RemoveToken(ScanToken::MarkedEntities);
            if (says_yes(tokens, ScanToken::DropMarkedEntityNotes)) {
                tokens.RemoveToken(ScanToken::MarkedEntityNotes);
            }
        }
        if (entities.empty()) {
            ActionLog::L2("No marked MIME Entities for deletion.");
            return true;
        }
        if (virusFound) {
            record(tokens, deleteAll ? kAllAttachments : kMarkedOnes);
        }
        return remove_all(msg, entities, virusFound);
    });
}

} // namespace quzo
