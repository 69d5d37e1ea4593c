// quzo/core/msgu.h and factories.h: what the library asks of messages beside their own operations, and how
// they are made and freed.
//
// A message that comes here is always one of ours, so the casts are safe. Whoever defines one of these
// operations promises what its header says, above all that nothing is thrown.
#include "quzo/core/msgu.h"

#include <cstring>
#include <memory>
#include <string_view>

#include "message.h"
#include "quzo/core/error_text.h"
#include "quzo/core/factories.h"
#include "quzo/core/guard.h"
#include "quzo/core/text.h"

namespace quzo {
namespace {

struct Locator final : KvMsgResourceLocator {
    explicit Locator(std::string_view data) : bytes(data) {}
    std::string bytes;
};

const example::Entity& rootOf(const KvMsgMailMessage& msg) {
    return static_cast<const example::Message&>(msg).root();
}

} // namespace

// Mail of the library's own, such as notifications, needs more of a message than ours has.
KvMsgMailMessage* KvMsg_CreateMailMessage() { return nullptr; }
void KvMsg_DeleteMailMessage(KvMsgMailMessage* msg) {
    const std::unique_ptr<example::Message> gone(static_cast<example::Message*>(msg));
}

KvMsgResourceLocator* KvMsg_CreateResourceLocator(const char* data, int, std::size_t length, std::size_t,
                                                  int) {
    return guarded("KvMsg_CreateResourceLocator", static_cast<KvMsgResourceLocator*>(nullptr),
                   [&]() -> KvMsgResourceLocator* {
                       return std::make_unique<Locator>(std::string_view(data, length)).release();
                   });
}
void KvMsg_DeleteResourceLocator(KvMsgResourceLocator* locator) {
    const std::unique_ptr<Locator> gone(static_cast<Locator*>(locator));
}
void KvMsg_DeleteSessionInfo(KvMsgMailSessionInfo*) {} // nobody got one
void KvMsg_FreeHeaderValue(char* value) { const std::unique_ptr<char[]> gone(value); }
void KvMsg_SetDisclaimerAttachmentAsDefault(int) {} // there are no stamps

namespace msgu {

void getHeaders(const KvMsgMailMessage* msg, std::string& out) {
    guarded("msgu::getHeaders", 0, [&] {
        out = msg != nullptr ? rootOf(*msg).header() : std::string();
        return 0;
    });
}

bool getSubject(const KvMsgMailMessage* msg, const char* localCharset, const char* mailCharset,
                std::string& out) {
    return guarded("msgu::getSubject", false, [&] {
        int error = 0;
        return msg != nullptr &&
               getHeader(const_cast<KvMsgMailMessage*>(msg)->getRootEntity(), "Subject", out) &&
               conv(out.c_str(), mailCharset, localCharset, out, error, false);
    });
}

const char* getXMailId(const KvMsgMailMessage*) { return nullptr; }
const char* getCharset(const KvMsgMailMessage*) { return nullptr; } // nothing says more than us-ascii

bool getRcpt(const KvMsgMailMessage* msg, std::string& out, std::list<std::string>& rcpts) {
    out.clear();
    rcpts.clear();
    return msg != nullptr; // there are none
}
bool setRcpt(KvMsgMailMessage*, const char*, bool) { return false; }

KvMsgEntity* getRootEntity(KvMsgMailMessage* msg) { return msg != nullptr ? msg->getRootEntity() : nullptr; }

bool getHeader(KvMsgEntity* entity, const char* name, std::string& value) {
    return guarded("msgu::getHeader", false, [&] {
        const KvMsgHeaderField* field =
            entity != nullptr ? entity->getHeaderFieldByName(name, true) : nullptr;
        const char* text = field != nullptr ? field->getValue(nullptr) : nullptr;
        if (text != nullptr) {
            value = text;
        }
        return text != nullptr;
    });
}

// Replaces the first field where it stands and removes further ones of the name.
bool setHeader(KvMsgEntity* entity, const char* name, const char* value, const char* charset) {
    if (entity == nullptr || entity->hasError() != 0) {
        return false;
    }
    KvMsgHeaderField* first = entity->getHeaderFieldByName(name, false);
    if (first == nullptr) {
        return entity->addHeaderField(-1, name, value, charset) != nullptr;
    }
    for (int index = entity->getHeaderFieldCount() - 1; index >= 0; --index) {
        KvMsgHeaderField* field = entity->getHeaderField(index, false);
        if (field != first && static_cast<example::Field*>(field)->is(name) &&
            entity->removeHeaderField(index) != 0) {
            return false;
        }
    }
    return first->setValue(value, charset) == 0;
}

bool conv(const char* text, const char* fromCharset, const char* toCharset, std::string& out, int& error,
          bool) {
    error = kErrorNoMemory;
    return guarded("msgu::conv", false, [&] {
        std::string target(std::strlen(text) + 1, '\0'); // `text` may be what is in `out`
        std::size_t length = target.size() - 1;
        error = KvMsg_CharsetConverterString(text, fromCharset, target.data(), toCharset, &length, 0, '?');
        target.resize(length);
        if (error == 0) {
            out.swap(target);
        }
        return error == 0;
    });
}

bool conv(const char* text, const char* fromCharset, const char* toCharset, char* out, unsigned long& length,
          int& error, bool) {
    std::size_t room = length > 0 ? length - 1 : 0;
    error = length == 0 ? int{kErrorInvalidArgument}
                        : KvMsg_CharsetConverterString(text, fromCharset, out, toCharset, &room, 0, '?');
    length = error == 0 ? room : length;
    return error == 0;
}

// Only what needs no encoded words.
char* genRfc2047(const char* text, const char*, int& error) {
    error = kErrorNoMemory;
    return guarded("msgu::genRfc2047", static_cast<char*>(nullptr), [&]() -> char* {
        const std::string_view plain = text != nullptr ? text : "";
        const bool takesWords = !example::isAscii(plain) || plain.find_first_of("\"\\\r\n") != plain.npos ||
                                plain.find("=?") != plain.npos;
        error = text == nullptr ? kErrorInvalidArgument : takesWords ? kErrorNotSupported : kErrorNone;
        if (error != kErrorNone) {
            return nullptr;
        }
        auto made = std::make_unique<char[]>(plain.size() + 1); // ends with NUL
        plain.copy(made.get(), plain.size());
        return made.release();
    });
}

bool findContentType(KvMsgMailMessage*, const char*, std::list<KvMsgEntity*>&, bool) { return false; }
bool isBody(KvMsgMailMessage* msg, KvMsgEntity* entity) { return existEntity(msg, entity); }
bool existEntity(KvMsgMailMessage* msg, KvMsgEntity* entity) {
    return msg != nullptr && msg->getRootEntity() == entity;
}
bool removeEntityAndDummyParent(KvMsgEntity*, const char*) { return false; }

} // namespace msgu
} // namespace quzo
