// The recording platform. Conversions copy bytes, so a test sees in the result which attempt made it: a
// target charset may put a prefix of its own before what it receives.
#include "fake_platform.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "quzo/core/action.h"
#include "quzo/core/error_text.h"
#include "quzo/core/factories.h"
#include "quzo/core/init_action_lib.h"
#include "quzo/core/msgu.h"

namespace quzo {
namespace test {

FakePlatform& fake() {
    static FakePlatform platform;
    return platform;
}

void RecordingLog::write(int lineLevel, const char* format, ...) {
    const InPlatform here;
    char text[4096];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    EXPECT_STREQ(format, "%s");
    lines.push_back("L" + std::to_string(lineLevel) + " " + text);
}

int FakeSettings::getValue(const char* key, std::string& value, const char* section, int reserved) {
    const InPlatform here;
    EXPECT_EQ(reserved, 0);
    const std::string name = std::string(section) + "/" + key;
    reads.push_back(name);
    const auto entry = values.find(name);
    if (entry == values.end()) {
        return 1;
    }
    value = entry->second;
    return 0;
}

int FakeSettings::getIntValue(const char* key, int& value, const char* section, int reserved) {
    const InPlatform here;
    std::string text;
    if (getValue(key, text, section, reserved) != 0) {
        return 1;
    }
    value = std::atoi(text.c_str());
    return 0;
}

const char* FakeField::getValue(const char** charsetOut) const {
    if (charsetOut != nullptr) {
        *charsetOut = charset.empty() ? nullptr : charset.c_str();
    }
    return valueIsNull ? nullptr : value.c_str();
}

int FakeField::setValue(const char* newValue, const char* newCharset) {
    const InPlatform here;
    record("setValue", "'" + std::string(newValue) + "'", shown(newCharset));
    if (refused.count(newCharset != nullptr ? newCharset : "") != 0) {
        return 3;
    }
    value = newValue;
    return 0;
}

FakeField& FakeEntity::add(const std::string& name, const std::string& value, const std::string& charset) {
    const InPlatform here;
    fields.push_back(std::make_unique<FakeField>());
    fields.back()->name = name;
    fields.back()->value = value;
    fields.back()->charset = charset;
    fields.back()->raw = name + ": " + value + "\r\n";
    return *fields.back();
}

KvMsgHeaderField* FakeEntity::getHeaderField(int index, bool forRead) {
    const InPlatform here;
    if (!forRead) {
        record("write field", index);
    }
    return fields[static_cast<std::size_t>(index)].get();
}

KvMsgHeaderField* FakeEntity::addHeaderField(int position, const char* name, const char* value,
                                             const char* charset) {
    const InPlatform here;
    record("addHeaderField", position, name, std::string("'") + value + "'", shown(charset));
    if (!takesFields) {
        return nullptr;
    }
    FakeField& added = add(name, value);
    added.name = lostField == name ? "" : added.name;
    return &added;
}

FakeField* FakeEntity::find(const char* name) {
    const auto field = std::find_if(fields.begin(), fields.end(), [name](const auto& one) {
        return strcasecmp(one->name.c_str(), name) == 0;
    });
    return field == fields.end() ? nullptr : field->get();
}

KvMsgHeaderField* FakeEntity::getHeaderFieldByName(const char* name, bool forRead) {
    const InPlatform here;
    if (!forRead) {
        record("write field", name);
    }
    return find(name);
}

int FakeEntity::setContent(KvMsgResourceLocator* content, const char* contentType, const char* newCharset,
                           const char* encoding) {
    const InPlatform here;
    record("setContent", "'" + static_cast<FakeLocator*>(content)->bytes + "'", contentType,
           shown(newCharset), encoding);
    if (contentError == 0) {
        KvMsg_DeleteResourceLocator(content);
    }
    return contentError;
}

int FakeMessage::insertStamp(int position, KvMsgResourceLocator* stamp, int kind, const char* srcCharset,
                             const char* dstCharset) {
    const InPlatform here;
    record("insertStamp", position, "'" + static_cast<FakeLocator*>(stamp)->bytes + "'", kind, srcCharset,
           shown(dstCharset));
    return fake().stampError;
}

int FakeEntity::removeHeader(const char* name) {
    const InPlatform here;
    record("removeHeader", name);
    const auto gone = std::remove_if(fields.begin(), fields.end(), [&](const auto& field) {
        return strcasecmp(field->name.c_str(), name) == 0;
    });
    fields.erase(gone, fields.end());
    return 0;
}

void FakeAdapter::note(const std::string& call, KvMsgMailMessage* msg) {
    fake().calls.push_back(call);
    headerThen.clear();
    recipientsThen.clear();
    if (msg != nullptr) {
        recipientsThen = static_cast<FakeMessage*>(msg)->recipients;
    }
    if (KvMsgEntity* root = msg != nullptr ? msg->getRootEntity() : nullptr; root != nullptr) {
        for (const auto& field : static_cast<FakeEntity*>(root)->fields) {
            headerThen.push_back(field->name + "=" + field->value);
        }
    }
}

bool FakeMessage::isSigned() const {
    record("isSigned");
    return isSignedAnswer;
}

bool FakeMessage::isEncrypted() const {
    record("isEncrypted");
    return isEncryptedAnswer;
}

LibraryTest::LibraryTest() {
    fake() = FakePlatform();
    log.level = 3;
    start();
}

LibraryTest::~LibraryTest() { EXPECT_EQ(lines(1), std::vector<std::string>()) << "unexpected level-1 line"; }

void LibraryTest::start() {
    EXPECT_TRUE(InitActionLib(settings, log));
    log.lines.clear();
    settings.reads.clear();
    fake().calls.clear();
}

std::vector<std::string> LibraryTest::lines(int level) const {
    const std::string prefix = "L" + std::to_string(level) + " ";
    std::vector<std::string> found;
    for (const std::string& line : log.lines) {
        if (line.compare(0, prefix.size(), prefix) == 0) {
            found.push_back(line.substr(prefix.size()));
        }
    }
    return found;
}

void LibraryTest::expectL1(const std::string& line) {
    const auto found = std::find(log.lines.begin(), log.lines.end(), "L1 " + line);
    ASSERT_NE(found, log.lines.end())
        << "no such line: " << line << "\nthere are: " << ::testing::PrintToString(log.lines);
    log.lines.erase(found);
}

} // namespace test

} // namespace quzo
