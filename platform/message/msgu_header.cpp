// The msgu helpers that read and set header fields.
#include <cstring>
#include <string>

#include "platform/base/ascii.h"
#include "platform/message/charset_of_message.h"
#include "platform/message/message_impl.h"
#include "platform/message/values/address_list.h"
#include "platform/message/values/field_text.h"
#include "quzo/core/error_text.h"
#include "quzo/core/guard.h"
#include "quzo/core/msgu.h"

namespace quzo::msgu {
namespace {

using platform::MessageImpl;

bool isRecipientField(std::string_view name) {
    return platform::equalsNoCase(name, "to") || platform::equalsNoCase(name, "cc") ||
           platform::equalsNoCase(name, "bcc");
}

// Replaces the value of the first field of the name and removes the others, or adds one at the end.
bool placeField(platform::HeaderBlock& header, const char* name, const char* value, const char* charset) {
    platform::HeaderField* first = header.find(name);
    if (first == nullptr) {
        int error = kErrorNone;
        return header.add(header.count(), name, value, charset, error) != nullptr;
    }
    header.prepareToRemove(name); // so that nothing fails between the two changes
    if (first->setValue(value, charset) != kErrorNone) {
        return false;
    }
    header.removeAll(name, first);
    return true;
}

std::string orEmpty(const char* text) { return text == nullptr ? std::string() : std::string(text); }

} // namespace

void getHeaders(const KvMsgMailMessage* msg, std::string& out) {
    out.clear();
    if (msg != nullptr) {
        guarded("Reading the headers", false, [&] {
            out = MessageImpl::from(msg)->headerText();
            return true;
        });
    }
}

bool getSubject(const KvMsgMailMessage* msg, const char* localCharset, const char* mailCharset,
                std::string& out) {
    return msg != nullptr && guarded("Reading the subject", false, [&] {
               return platform::subjectOfMessage(*MessageImpl::from(msg), orEmpty(localCharset),
                                                 orEmpty(mailCharset), out);
           });
}

const char* getXMailId(const KvMsgMailMessage* msg) {
    const bool known = msg != nullptr && !MessageImpl::from(msg)->mailId().empty();
    return known ? MessageImpl::from(msg)->mailId().c_str() : nullptr;
}

const char* getCharset(const KvMsgMailMessage* msg) {
    using Result = const char*;
    return guarded("Reading the message's charset", Result(nullptr),
                   [&]() -> Result { return msg == nullptr ? nullptr : MessageImpl::from(msg)->charset(); });
}

bool getHeader(KvMsgEntity* entity, const char* name, std::string& value) {
    return entity != nullptr && name != nullptr && guarded("Reading a header field", false, [&] {
               const KvMsgHeaderField* field = entity->getHeaderFieldByName(name, true);
               const char* text = field == nullptr ? nullptr : field->getValue(nullptr);
               if (text == nullptr) {
                   return false;
               }
               value = text;
               return true;
           });
}

bool setHeader(KvMsgEntity* entity, const char* name, const char* value, const char* charset) {
    if (entity == nullptr || name == nullptr || value == nullptr) {
        return false;
    }
    return guarded("Setting a header field", false, [&] {
        if (!platform::validFieldName(name) || entity->hasError() != kErrorNone) {
            return false;
        }
        auto& own = static_cast<platform::Entity&>(*entity);
        // A field that is configured as it is comes without a charset; lists are in one.
        if (charset == nullptr || !isRecipientField(name)) {
            return placeField(own.header(), name, value, charset);
        }
        std::string list;
        return platform::writtenAddressList(value, charset, std::strlen(name) + 2,
                                            own.context().source.lineBreak(), list) == kErrorNone &&
               placeField(own.header(), name, list.c_str(), nullptr);
    });
}

} // namespace quzo::msgu
