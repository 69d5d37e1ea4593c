// The operations of the fake platform that mail of the library's own is composed and sent with. See
// fake_platform.h.
#include <algorithm>
#include <cstring>
#include <memory>

#include "fake_platform.h"
#include "quzo/core/factories.h"
#include "quzo/core/msgu.h"
#include "quzo/core/snmp.h"

namespace quzo {
using test::fake;
using test::FakeMessage;
using test::InPlatform;

namespace test {

int FakeField::setParameter(const char* parameter, const char* text, int reserved) {
    const InPlatform here;
    EXPECT_EQ(reserved, 0);
    fake().calls.push_back("setParameter " + std::string(parameter) + " '" + text + "'");
    return parameterError;
}

int FakeEntity::removeHeaderField(int index) {
    const InPlatform here;
    fake().calls.push_back("removeHeaderField " + std::to_string(index));
    fields.erase(fields.begin() + index);
    return 0;
}

int FakeEntity::insertChildEntity(KvMsgEntity* child, int position) {
    const InPlatform here;
    fake().calls.push_back("insertChildEntity " + static_cast<FakeEntity*>(child)->fields.at(0)->value + " " +
                           std::to_string(position));
    return insertError;
}

int FakeEntity::insertMessage(KvMsgAttachHandle handle, int position) {
    const InPlatform here;
    fake().calls.push_back(
        "insertMessage " +
        (handle.message != nullptr ? handle.message->getIdentifier() : std::string("null")) + " " +
        std::to_string(position));
    const auto contentType = std::find_if(fields.begin(), fields.end(),
                                          [](const auto& field) { return field->name == "Content-Type"; });
    if (insertError == 0 && contentType != fields.end()) {
        (*contentType)->value = "multipart/mixed";
    }
    return insertError;
}

int FakeSession::setSender(const char* address) {
    const InPlatform here;
    fake().calls.push_back("setSender '" + std::string(address) + "'");
    if (senderError == 0) {
        sender.address = address;
        hasSender = true;
    }
    return senderError;
}

const KvMsgAddress* FakeSession::getRecipient(unsigned index) const {
    const InPlatform here;
    shownRecipient.address = recipients.at(index);
    return &shownRecipient;
}

int FakeSession::insertRecipient(unsigned position, const char* address) {
    const InPlatform here;
    fake().calls.push_back("insertRecipient " + std::to_string(position) + " '" + address + "'");
    recipients.insert(recipients.begin() + static_cast<std::ptrdiff_t>(position), address);
    return 0;
}

} // namespace test

KvMsgMailMessage* KvMsg_CreateMailMessage() {
    const InPlatform here;
    fake().calls.emplace_back("create message");
    if (!fake().createWorks) {
        return nullptr;
    }
    auto made = std::make_unique<FakeMessage>();
    if (fake().prepareCreated) {
        fake().prepareCreated(*made);
    }
    return made.release();
}
void KvMsg_DeleteMailMessage(KvMsgMailMessage* msg) {
    const InPlatform here;
    fake().calls.emplace_back("delete message");
    const std::unique_ptr<FakeMessage> gone(static_cast<FakeMessage*>(msg));
}
void KvMsg_DeleteSessionInfo(KvMsgMailSessionInfo* /*session*/) {
    const InPlatform here;
    fake().calls.emplace_back("delete session");
}
void KvMsg_FreeHeaderValue(char* value) {
    const InPlatform here;
    fake().calls.emplace_back("free words");
    const std::unique_ptr<char[]> gone(value);
}

int SendSNMPTrap(const char* server, unsigned trapType, const char* community, const char* text,
                 int reserved) {
    const InPlatform here;
    fake().calls.push_back(std::string("trap ") + server + " " + std::to_string(trapType) + " '" + community +
                           "' '" + text + "' " + std::to_string(reserved));
    return fake().trapError;
}

struct ConfigFileOnDisk::Impl {
    std::map<std::string, std::string> values;
};
ConfigFileOnDisk::ConfigFileOnDisk(const char* path) {
    const InPlatform here;
    if (const auto file = fake().files.find(path); file != fake().files.end()) {
        impl_ = std::make_unique<Impl>();
        impl_->values = file->second;
    }
}
ConfigFileOnDisk::~ConfigFileOnDisk() = default;
bool ConfigFileOnDisk::isLoaded() const { return impl_ != nullptr; }
bool ConfigFileOnDisk::getparam(const char* section, const char* key, std::string& value) const {
    const InPlatform here;
    fake().calls.push_back(std::string("getparam ") + section + "/" + key);
    const auto entry = impl_->values.find(std::string(section) + "/" + key);
    if (entry == impl_->values.end()) {
        return false;
    }
    value = entry->second;
    return true;
}

namespace msgu {

bool conv(const char* text, const char* fromCharset, const char* toCharset, char* out, unsigned long& length,
          int& error, bool strict) {
    const InPlatform here;
    fake().calls.push_back(std::string("conv ") + fromCharset + ">" + toCharset + (strict ? " strict" : "") +
                           " into " + std::to_string(length));
    if (fake().badConversions.count({fromCharset, toCharset}) != 0) {
        error = 5;
        return false;
    }
    const std::string converted = (fake().conversionPrefix[toCharset] + text).substr(0, length - 1);
    length = converted.size();
    std::memcpy(out, converted.c_str(), converted.size() + 1);
    return true;
}

char* genRfc2047(const char* text, const char* charset, int& error) {
    const InPlatform here;
    if (!fake().wordsWork) {
        error = 3;
        return nullptr;
    }
    const std::string words = std::string("=?") + charset + "?" + text + "?=";
    auto made = std::make_unique<char[]>(words.size() + 1);
    std::memcpy(made.get(), words.c_str(), words.size() + 1);
    return made.release();
}

} // namespace msgu
} // namespace quzo
