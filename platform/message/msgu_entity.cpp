// The msgu helpers on entities.
#include <algorithm>
#include <string>

#include "platform/base/ascii.h"
#include "platform/message/edit/tree_edits.h"
#include "platform/message/message_impl.h"
#include "quzo/core/error_text.h"
#include "quzo/core/guard.h"
#include "quzo/core/msgu.h"

namespace quzo::msgu {
namespace {

using platform::MessageImpl;

// A subtype without the prefixes that the same format may bear or not.
std::string_view withoutPrefix(std::string_view subtype) {
    for (const std::string_view prefix : {"x-", "vnd."}) {
        if (platform::startsWithNoCase(subtype, prefix)) {
            subtype.remove_prefix(prefix.size());
        }
    }
    return subtype;
}

bool matches(std::string_view type, std::string_view subtype, std::string_view wanted) {
    const std::size_t slash = wanted.find('/');
    if (slash != std::string_view::npos) {
        if (!platform::equalsNoCase(type, wanted.substr(0, slash))) {
            return false;
        }
        wanted.remove_prefix(slash + 1);
    }
    return platform::equalsNoCase(withoutPrefix(subtype), withoutPrefix(wanted));
}

// Every Content-Type field counts: readers of mail differ in which of several they believe.
bool hasType(platform::Entity& entity, std::string_view wanted) {
    bool any = false;
    for (const platform::HeaderField* field : entity.header().all("Content-Type")) {
        const platform::ContentType type = platform::readContentType(field->rawValue());
        if (type.valid()) {
            any = true;
            if (matches(type.type, type.subtype, wanted)) {
                return true;
            }
        }
    }
    if (any) {
        return false;
    }
    const std::string standing = entity.mediaType();
    const std::string_view view = standing;
    const std::size_t slash = view.find('/');
    return matches(view.substr(0, slash), view.substr(slash + 1), wanted);
}

} // namespace

KvMsgEntity* getRootEntity(KvMsgMailMessage* msg) { return msg == nullptr ? nullptr : msg->getRootEntity(); }

bool findContentType(KvMsgMailMessage* msg, const char* type, std::list<KvMsgEntity*>& found, bool deep) {
    return msg != nullptr && type != nullptr && guarded("Looking for a content type", false, [&] {
               found.clear();
               for (KvMsgEntity* entity = msg->getRootEntity(); entity != nullptr;
                    entity = entity->getNext()) {
                   auto& own = static_cast<platform::Entity&>(*entity);
                   if ((deep || !own.embedded()) && hasType(own, type)) {
                       found.push_back(entity);
                   }
               }
               return true;
           });
}

bool isBody(KvMsgMailMessage* msg, KvMsgEntity* entity) {
    return msg != nullptr && entity != nullptr && guarded("Looking for the body", false, [&] {
               const auto& body = MessageImpl::from(msg)->tree().body();
               return std::find(body.begin(), body.end(), entity) != body.end();
           });
}

bool existEntity(KvMsgMailMessage* msg, KvMsgEntity* entity) {
    return msg != nullptr && entity != nullptr && guarded("Looking for an entity", false, [&] {
               return MessageImpl::from(msg)->tree().contains(entity);
           });
}

bool removeEntityAndDummyParent(KvMsgEntity* entity, const char* /*reserved*/) {
    return entity != nullptr && guarded("Removing an entity", false, [&] {
               return platform::removeEntity(static_cast<platform::Entity&>(*entity)) == kErrorNone;
           });
}

} // namespace quzo::msgu
