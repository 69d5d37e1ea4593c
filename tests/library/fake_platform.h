// A recording platform: the operations that the library leaves undefined, made of tables.
//
// Each test sets what the operations answer in `fake()` and reads back, from `fake().calls`, which of them
// were called in which order and with what. LibraryTest resets it and keeps a log; a level-1 line that the
// test did not ask for fails it.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "in_platform.h"
#include "quzo/core/adapter.h"
#include "quzo/core/log.h"
#include "quzo/core/message.h"
#include "quzo/core/named_obj_cache.h"
#include "quzo/core/settings_source.h"
#include "quzo/core/token_map.h"

namespace quzo::test {

class FakeMessage;

struct FakePlatform {
    std::vector<std::string> calls;
    std::map<std::string, std::string> bundle;                    // texts of IDG_QUZO_UTIL
    std::set<std::pair<std::string, std::string>> badConversions; // {from, to} that fail, with error 5
    bool convCopies = false; // msgu::conv gives what it receives, with the prefix, and not "converted"
    std::map<std::string, std::string> conversionPrefix; // text put before what a target charset receives
    std::string subject = "decoded subject";
    std::string headers = "A: b\r\n";
    const char* charset = nullptr;
    const char* xMailId = nullptr;
    bool setHeaderWorks = true;
    bool convWorks = true;
    bool setRcptWorks = true;
    std::string refusedRecipient;                                   // setRcpt fails with this one
    std::map<unsigned, std::pair<std::string, std::string>> stored; // named objects: name, content
    bool storeWorks = true;
    std::string convInput;
    std::set<std::string> foundTypes; // content types that a search of the message finds
    bool typeSearchWorks = true;
    bool locatorWorks = true;
    int stampError = 0;
    std::set<KvMsgEntity*> existing; // entities of the message; those that were removed leave it
    std::set<KvMsgEntity*> body;
    std::set<KvMsgEntity*> stuck; // entities that cannot be removed
    bool getRcptWorks = true;
    bool wordsWork = true; // msgu::genRfc2047
    bool createWorks = true;
    std::function<void(FakeMessage&)> prepareCreated; // what KvMsg_CreateMailMessage gives
    int trapError = 0;
    std::map<std::string, std::map<std::string, std::string>> files; // by path: values by "section/key"

    // Looks the key up in `bundle`; `value` stays as it is when there is none.
    bool textOf(const char* key, std::string& value) const {
        const InPlatform here;
        const auto entry = bundle.find(key);
        if (entry != bundle.end()) {
            value = entry->second;
        }
        return entry != bundle.end();
    }
};

FakePlatform& fake();

// Notes a call of the platform: its parts, with blanks between them.
template <typename... Parts>
void record(const Parts&... parts) {
    const InPlatform here;
    std::ostringstream call;
    const char* between = "";
    ((call << between << parts, between = " "), ...);
    fake().calls.push_back(call.str());
}

class FakeLocator : public KvMsgResourceLocator {
public:
    explicit FakeLocator(std::string text) : bytes(std::move(text)) {}
    std::string bytes;
};

// A text that may be null, as the records show it.
inline std::string shown(const char* text) { return text != nullptr ? text : "null"; }

class RecordingLog : public LogMsg {
public:
    void write(int lineLevel, const char* format, ...) override;

    // Every line as "L2 text".
    std::vector<std::string> lines;
};

class FakeSettings : public GlobalSetting {
public:
    int getValue(const char* key, std::string& value, const char* section, int reserved) override;
    int getIntValue(const char* key, int& value, const char* section, int reserved) override;

    std::map<std::string, std::string> values; // "section/key"
    std::vector<std::string> reads;
};

class FakeField : public KvMsgHeaderField {
public:
    const char* getName() const override { return nameIsNull ? nullptr : name.c_str(); }
    const char* getValue(const char** charsetOut) const override;
    int setValue(const char* newValue, const char* newCharset) override;
    int setParameter(const char* parameter, const char* text, int reserved) override;
    const char* getRawLine() const override { return raw.empty() ? nullptr : raw.c_str(); }

    std::string name;
    std::string value;
    std::string charset; // empty: none
    std::string raw;
    bool nameIsNull = false;
    bool valueIsNull = false;
    std::set<std::string> refused; // charsets that setValue refuses; "" is the null charset
    int parameterError = 0;
};

class FakeEntity : public KvMsgEntity {
public:
    FakeField& add(const std::string& name, const std::string& value, const std::string& charset = "");
    FakeField* find(const char* name); // null when there is none

    int getEntityType() const override { return type; }
    KvMsgEntity* getNext() override { return next; }
    KvMsgEntity* getNextSibling() override { return sibling; }
    int hasError() const override { return error; }
    // On success the locator is the entity's; here it is freed at once.
    int setContent(KvMsgResourceLocator* content, const char* contentType, const char* newCharset,
                   const char* encoding) override;
    const KvMsgFileInfo* getFileInfo() override { return file.get(); }
    int getHeaderFieldCount() const override { return static_cast<int>(fields.size()); }
    KvMsgHeaderField* getHeaderField(int index, bool forRead) override;
    KvMsgHeaderField* getHeaderFieldByName(const char* name, bool forRead) override;
    KvMsgHeaderField* addHeaderField(int position, const char* name, const char* value,
                                     const char* charset) override;
    int removeHeaderField(int index) override;
    int removeHeader(const char* name) override;
    int insertChildEntity(KvMsgEntity* child, int position) override;
    // On success the first field Content-Type says multipart/mixed.
    int insertMessage(KvMsgAttachHandle handle, int position) override;

    std::vector<std::unique_ptr<FakeField>> fields; // a null one is a field that cannot be had
    KvMsgEntity* sibling = nullptr;
    KvMsgEntity* next = nullptr;
    int type = kEntityLeaf;
    std::unique_ptr<KvMsgFileInfo> file;
    int contentError = 0;
    int error = 0;
    bool takesFields = true;
    std::string lostField; // a field of this name is taken and cannot be found then
    int insertError = 0;
};

class FakeAddress : public KvMsgAddress {
public:
    const char* getAddress() const override { return address.c_str(); }
    const char* getDisplayName() const override { return name.c_str(); }

    std::string address;
    std::string name;
};

// The envelope of the message that it lies in.
class FakeSession : public KvMsgMailSessionInfo {
public:
    explicit FakeSession(std::vector<std::string>& list) : recipients(list) {}

    const KvMsgAddress* getSender() const override { return hasSender ? &sender : nullptr; }
    int setSender(const char* address) override;
    unsigned getRecipientCount() const override {
        return countsNone ? 0 : static_cast<unsigned>(recipients.size());
    }
    const KvMsgAddress* getRecipient(unsigned index) const override;
    int insertRecipient(unsigned position, const char* address) override;

    FakeAddress sender;
    bool hasSender = false;
    int senderError = 0;
    bool countsNone = false;
    std::vector<std::string>& recipients;

private:
    mutable FakeAddress shownRecipient;
};

class FakeMessage : public KvMsgMailMessage {
public:
    KvMsgEntity* getRootEntity() override { return hasRoot ? &root : nullptr; }
    int insertStamp(int position, KvMsgResourceLocator* stamp, int kind, const char* srcCharset,
                    const char* dstCharset) override;
    bool isSigned() const override;
    bool isEncrypted() const override;
    const char* getIdentifier() const override { return identifier.c_str(); }
    KvMsgMailSessionInfo* getSessionInfo() override { return hasSession ? &session : nullptr; }
    KvMsgAttachHandle getAttachHandle() const override { return {this}; }

    FakeEntity root;
    std::vector<std::string> recipients;
    FakeSession session{recipients};
    bool hasSession = true;
    bool hasRoot = true;
    bool isSignedAnswer = false;
    bool isEncryptedAnswer = false;
    std::string identifier = "AB12";
};

class FakeAdapter : public KvIsAdapter {
public:
    int deleteMessage(unsigned& error, KvMsgMailMessage*) override {
        record("deleteMessage");
        error = deleteError;
        return error != 0 ? 1 : 0;
    }
    int sendMessage(unsigned& error, KvMsgMailMessage* msg, bool rescan) override {
        const InPlatform here;
        note(std::string("sendMessage") + (rescan ? " rescan" : ""), msg);
        error = sendError;
        return error != 0 ? 1 : 0;
    }
    int submitForScan(unsigned& error, KvMsgMailMessage* msg, int mode) override {
        const InPlatform here;
        note("submitForScan " + std::to_string(mode), msg);
        error = sendError;
        return error != 0 ? 1 : 0;
    }
    int sendComposed(unsigned& error, KvMsgMailMessage* msg) override {
        const InPlatform here;
        note("sendComposed", msg);
        error = sendError;
        return error != 0 ? 1 : 0;
    }
    int postponeMessage(unsigned& error, KvMsgMailMessage*, unsigned char hour, unsigned char minute,
                        int endHour, int endMinute) override {
        const InPlatform here;
        fake().calls.push_back("postponeMessage " + std::to_string(hour) + ":" + std::to_string(minute) +
                               " to " + std::to_string(endHour) + ":" + std::to_string(endMinute));
        error = sendError;
        return postponeResult;
    }
    int handoffMessage(unsigned& error, KvMsgMailMessage*, const char* host, unsigned port) override {
        const InPlatform here;
        fake().calls.push_back(std::string("handoffMessage ") + host + ":" + std::to_string(port));
        error = sendError;
        return error != 0 ? 1 : 0;
    }
    int quarantineMessage(int& error, KvMsgMailMessage* msg, const char* name, const char* queueDir,
                          char* pathOut) override {
        const InPlatform here;
        note(std::string("quarantineMessage '") + name + "' " + queueDir, msg);
        std::strcpy(pathOut, "/stored/path"); // NOLINT(clang-analyzer-security.insecureAPI.strcpy)
        return error = storeError;
    }
    int archiveMessage(int& error, KvMsgMailMessage* msg, const char* name, const char* queueDir,
                       const char* areaDescription) override {
        const InPlatform here;
        note(std::string("archiveMessage '") + name + "' " + queueDir + " " + areaDescription, msg);
        return error = storeError;
    }

    // The header fields that the message had when it was sent or stored, as "Name=value".
    std::vector<std::string> headerThen;
    std::vector<std::string> recipientsThen;
    unsigned sendError = 0;
    int storeError = 0;
    unsigned deleteError = 0;
    int postponeResult = 0;

private:
    void note(const std::string& call, KvMsgMailMessage* msg);
};

class FakeNamedObjects : public NamedObjMgrForScanner {
public:
    QuzoNamedObj* find(unsigned id) const override {
        const auto entry = objects.find(id);
        return entry == objects.end() ? nullptr : entry->second;
    }

    std::map<unsigned, QuzoNamedObj*> objects;
};

// Sets the library up with the values of `settings` and the log at level 3.
class LibraryTest : public ::testing::Test {
protected:
    LibraryTest();
    ~LibraryTest() override;

    // Runs InitActionLib with `settings` and forgets the lines and calls it made.
    void start();

    // The lines of one level, without "L1 ".
    std::vector<std::string> lines(int level) const;

    // Takes a level-1 line that the test provoked off the log; fails when it is not there.
    void expectL1(const std::string& line);

    FakeSettings settings;
    RecordingLog log;
    TokenMap<ScanToken> tokens;
    FakeMessage message;
    FakeAdapter adapter;
    FakeNamedObjects namedObjects;
};

} // namespace quzo::test
