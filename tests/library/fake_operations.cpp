// The operations of the platform, as the fake one has them. See fake_platform.h.
#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "fake_platform.h"
#include "quzo/core/action.h"
#include "quzo/core/blob.h"
#include "quzo/core/error_text.h"
#include "quzo/core/factories.h"
#include "quzo/core/msgu.h"
#include "quzo/core/text.h"
#include "quzo/settings/named_obj.h"

namespace quzo {
using test::fake;
using test::InPlatform;
using test::record;
using test::shown;

struct KvResbundle::Impl {
    bool open = false;
};
KvResbundle::KvResbundle() {
    const InPlatform here;
    impl_ = std::make_unique<Impl>();
}
KvResbundle::~KvResbundle() = default;
const char* KvResbundle::GetResourceFileName() { return "resources"; }
bool KvResbundle::_init(const char* fileName, const char* bundleId, const char* locale) {
    record("bundle", fileName, bundleId, std::string("'") + locale + "'");
    impl_->open = true;
    return true;
}
bool KvResbundle::getString(const char* key, std::string& value) {
    return impl_->open && fake().textOf(key, value);
}

const char* KVMSGERR::I2A(int error) { return error == 5 ? "five" : "other"; }

const char* QuzoAction::getActionName(ActionType type) {
    return type == ActionType::Notify ? "Notify" : "Action";
}

bool QuzoAction::CreateActionTokenString(const char* actionList, std::string& out) {
    const InPlatform here;
    out = std::string("<") + actionList + ">";
    return true;
}

int platform_icasencmp(const char* a, const char* b, unsigned n) { return strncasecmp(a, b, n); }

int KvMsg_CharsetConverterString(const char* source, const char* sourceCharset, char* target,
                                 const char* targetCharset, std::size_t* length, int flag, char substitute) {
    const InPlatform here;
    EXPECT_EQ(substitute, '?');
    record("convert", std::string(sourceCharset) + ">" + targetCharset, "room", *length, "flag", flag);
    if (fake().badConversions.count({sourceCharset, targetCharset}) != 0) {
        std::strcpy(target, "rubbish"); // NOLINT(clang-analyzer-security.insecureAPI.strcpy)
        *length = 7;
        return 5;
    }
    const std::string text = fake().conversionPrefix[targetCharset] + source;
    *length = std::min(*length, text.size());
    std::memcpy(target, text.data(), *length);
    target[*length] = '\0';
    return 0;
}

void tokenize(const std::string& text, std::vector<std::string>& parts, const std::string& delimiters) {
    const InPlatform here;
    parts.clear();
    std::size_t begin = 0;
    while (begin < text.size()) {
        const std::size_t end = std::min(text.find_first_of(delimiters, begin), text.size());
        parts.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
}

struct KvCachedResbundle::Impl {};
KvCachedResbundle::KvCachedResbundle(const char* groupId) { record("cached bundle", groupId); }
KvCachedResbundle::~KvCachedResbundle() = default;
bool KvCachedResbundle::getString(const char* key, std::string& value) { return fake().textOf(key, value); }

KvMsgResourceLocator* KvMsg_CreateResourceLocator(const char* data, int kind, std::size_t length,
                                                  std::size_t capacity, int ownership) {
    const InPlatform here;
    record("locator", kind, length, capacity, ownership);
    return fake().locatorWorks ? std::make_unique<test::FakeLocator>(std::string(data, length)).release()
                               : nullptr;
}
void KvMsg_DeleteResourceLocator(KvMsgResourceLocator* locator) {
    const InPlatform here;
    record("delete locator");
    const std::unique_ptr<test::FakeLocator> gone(static_cast<test::FakeLocator*>(locator));
}
void KvMsg_SetDisclaimerAttachmentAsDefault(int on) { record("as attachment", on); }

struct RdbmsInterface::Impl {};
RdbmsInterface::RdbmsInterface() {
    const InPlatform here;
    impl_ = std::make_unique<Impl>();
    record("connect");
}
RdbmsInterface::~RdbmsInterface() { record("disconnect"); }

bool QuzoNamedObj::getIds(RdbmsInterface&, unsigned tenant, NaObjType type,
                          std::vector<SummaryNamedObject>& rows) {
    const InPlatform here;
    record("getIds", tenant, "type", static_cast<unsigned>(type));
    for (const auto& [id, object] : fake().stored) {
        rows.push_back({id, 1, 2, object.first});
    }
    return fake().storeWorks;
}
bool QuzoNamedObj::add(RdbmsInterface&, unsigned tenant, const char* name, const char* content, NaObjType,
                       unsigned& newId) {
    record("add", tenant, name, content);
    newId = 77;
    return fake().storeWorks;
}
bool QuzoNamedObj::modify(RdbmsInterface&, unsigned tenant, unsigned id, const char* name,
                          const char* content, NaObjType) {
    record("modify", tenant, id, name, content);
    return fake().storeWorks;
}
bool QuzoNamedObj::getContentBlob(RdbmsInterface&, unsigned id, std::string& name, std::string& content) {
    const InPlatform here;
    const auto entry = fake().stored.find(id);
    if (entry == fake().stored.end()) {
        return false;
    }
    name = entry->second.first;
    content = entry->second.second;
    return true;
}
unsigned QuzoNamedObj::remove(RdbmsInterface&, unsigned tenant, unsigned id) {
    record("remove", tenant, id);
    return 4711;
}

// A blob of the simplest form, without escapes.
bool Blob::readBlob(const char*& cursor, Map& map) {
    const InPlatform here;
    for (; *cursor != '\0'; ++cursor) {
        const char* equals = std::strchr(cursor, '=');
        const char* end = std::strchr(cursor, ';');
        if (equals == nullptr || end == nullptr || end < equals) {
            return false;
        }
        map[std::string(cursor, equals)] = std::string(equals + 1, end);
        cursor = end;
    }
    return true;
}
void Blob::writeBlob(std::string& out, const Map& map) {
    const InPlatform here;
    for (const auto& [key, value] : map) {
        out.append(key).append("=").append(value).append(";");
    }
}
bool Blob::bindBlobField(Map& map, const char* key, std::string& field, bool store) {
    const InPlatform here;
    if (store) {
        map[key] = field;
    } else if (map.count(key) == 0) {
        return false;
    } else {
        field = map[key];
    }
    return true;
}
bool Blob::bindBlobField(Map& map, const char* key, int& field, bool store) {
    const InPlatform here;
    std::string text = std::to_string(field);
    if (!bindBlobField(map, key, text, store)) {
        return false;
    }
    field = std::atoi(text.c_str());
    return true;
}

namespace msgu {

void getHeaders(const KvMsgMailMessage*, std::string& out) {
    const InPlatform here;
    out = fake().headers;
}

bool getSubject(const KvMsgMailMessage*, const char* localCharset, const char* mailCharset,
                std::string& out) {
    const InPlatform here;
    record("getSubject", localCharset, shown(mailCharset));
    out = fake().subject;
    return !out.empty();
}

const char* getXMailId(const KvMsgMailMessage*) { return fake().xMailId; }
const char* getCharset(const KvMsgMailMessage*) { return fake().charset; }

bool conv(const char* text, const char* fromCharset, const char* toCharset, std::string& out, int& error,
          bool strict) {
    const InPlatform here;
    record("conv", std::string(fromCharset) + ">" + toCharset + (strict ? " strict" : ""));
    fake().convInput = text;
    if (!fake().convWorks || fake().badConversions.count({fromCharset, toCharset}) != 0) {
        error = 5;
        return false;
    }
    out = fake().convCopies ? fake().conversionPrefix[toCharset] + text : "converted";
    return true;
}

bool getHeader(KvMsgEntity* entity, const char* name, std::string& value) {
    const InPlatform here;
    const test::FakeField* field = static_cast<test::FakeEntity*>(entity)->find(name);
    value = field == nullptr ? value : field->value;
    return field != nullptr;
}

bool setHeader(KvMsgEntity* entity, const char* name, const char* value, const char* charset) {
    const InPlatform here;
    record("setHeader", name, std::string("'") + value + "'", shown(charset));
    if (!fake().setHeaderWorks) {
        return false;
    }
    auto& fields = *static_cast<test::FakeEntity*>(entity);
    if (test::FakeField* field = fields.find(name); field != nullptr) {
        field->value = value;
    } else {
        fields.add(name, value);
    }
    return true;
}

KvMsgEntity* getRootEntity(KvMsgMailMessage* msg) { return msg->getRootEntity(); }

bool getRcpt(const KvMsgMailMessage* msg, std::string&, std::list<std::string>& rcpts) {
    const InPlatform here;
    const auto& recipients = static_cast<const test::FakeMessage*>(msg)->recipients;
    rcpts.assign(recipients.begin(), recipients.end());
    return fake().getRcptWorks;
}

// Keeps every part as it comes, blanks included, so that a test sees who tidied up.
bool setRcpt(KvMsgMailMessage* msg, const char* rcpts, bool append) {
    const InPlatform here;
    record("setRcpt", std::string("'") + rcpts + (append ? "' append" : "' replace"));
    if (!fake().setRcptWorks || (*rcpts != '\0' && fake().refusedRecipient == rcpts)) {
        return false;
    }
    auto& recipients = static_cast<test::FakeMessage*>(msg)->recipients;
    if (!append) {
        recipients.clear();
    }
    std::vector<std::string> parts;
    tokenize(rcpts, parts, ";");
    for (const std::string& part : parts) {
        if (!part.empty()) {
            recipients.push_back(part);
        }
    }
    return true;
}

bool findContentType(KvMsgMailMessage* msg, const char* type, std::list<KvMsgEntity*>& found, bool deep) {
    const InPlatform here;
    record("findContentType", type + std::string(deep ? " deep" : ""));
    if (fake().foundTypes.count(type) != 0) {
        found.push_back(msg->getRootEntity());
    }
    return fake().typeSearchWorks;
}

bool isBody(KvMsgMailMessage*, KvMsgEntity* entity) { return fake().body.count(entity) != 0; }

bool existEntity(KvMsgMailMessage*, KvMsgEntity* entity) { return fake().existing.count(entity) != 0; }

bool removeEntityAndDummyParent(KvMsgEntity* entity, const char* reserved) {
    const InPlatform here;
    EXPECT_STREQ(reserved, "");
    const KvMsgFileInfo* file = entity->getFileInfo();
    record("remove", file == nullptr ? "" : shown(file->fileName));
    return fake().stuck.count(entity) == 0 && fake().existing.erase(entity) != 0;
}

} // namespace msgu
} // namespace quzo
