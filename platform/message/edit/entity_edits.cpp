// The library's operations that change what a message consists of. See tree_edits.h.
#include "platform/message/edit/entity.h"
#include "platform/message/edit/resource_locator.h"
#include "platform/message/edit/tree_edits.h"
#include "quzo/core/error_text.h"
#include "quzo/core/factories.h"
#include "quzo/core/guard.h"

namespace quzo::platform {

int Entity::setContent(KvMsgResourceLocator* content, const char* contentType, const char* charset,
                       const char* transferEncoding) {
    return guarded("Replacing a body", static_cast<int>(kErrorNoMemory), [&]() -> int {
        if (content == nullptr) {
            return kErrorInvalidArgument;
        }
        const auto* locator = static_cast<const MemoryLocator*>(content);
        const int error = replaceBody(*this, {locator->bytes(), contentType, charset, transferEncoding});
        if (error == kErrorNone) {
            KvMsg_DeleteResourceLocator(content);
        }
        return error;
    });
}

int Entity::insertChildEntity(KvMsgEntity* child, int position) {
    return guarded("Inserting an entity", static_cast<int>(kErrorNoMemory), [&]() -> int {
        return child == nullptr ? static_cast<int>(kErrorInvalidArgument)
                                : insertCopy(*this, static_cast<Entity&>(*child), position);
    });
}

int Entity::insertMessage(KvMsgAttachHandle message, int position) {
    return guarded("Inserting a message", static_cast<int>(kErrorNoMemory), [&]() -> int {
        if (message.message == nullptr) {
            return kErrorInvalidArgument;
        }
        // A copy is made of it; its tree may have to be made for that.
        KvMsgEntity* root = const_cast<KvMsgMailMessage*>(message.message)->getRootEntity();
        return insertWhole(*this, static_cast<Entity&>(*root), position);
    });
}

} // namespace quzo::platform
