// The key/value text of settings, error texts, and the adapter of messages where there are no queues.
#include "quzo/core/blob.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <set>
#include <string>

#include "platform/mta/queue_adapter.h"
#include "quzo/core/error_text.h"
#include "quzo/core/handles.h"

namespace {

using namespace std::string_literals;
using quzo::Blob;

TEST(Blob, IsReadableText) {
    std::string out = "old";
    Blob::writeBlob(out, {{"ip", "10.0.0.1"}, {"port", "25"}});
    EXPECT_EQ(out, "ip=10.0.0.1;port=25;");
    Blob::writeBlob(out, {{"a=b", "x;y%\n\0\x7F"s}, {"", "日\xE9"}});
    EXPECT_EQ(out, "=日\xE9;a%3Db=x%3By%25%0A%00%7F;");
    Blob::writeBlob(out, {});
    EXPECT_EQ(out, "");
}

TEST(Blob, BringsEveryMapBack) {
    std::mt19937 random(7);
    for (int i = 0; i < 300; ++i) {
        Blob::Map map;
        for (auto entries = random() % 6; entries > 0; --entries) {
            std::string texts[2];
            for (std::string& text : texts) {
                for (auto length = random() % 12; length > 0; --length) {
                    text += static_cast<char>(random() % 256);
                }
            }
            map[texts[0]] = texts[1];
        }
        std::string text;
        Blob::writeBlob(text, map);
        ASSERT_EQ(text.find('\0'), std::string::npos);
        Blob::Map back;
        const char* cursor = text.c_str();
        ASSERT_TRUE(Blob::readBlob(cursor, back)) << text;
        EXPECT_EQ(back, map);
        EXPECT_EQ(cursor, text.c_str() + text.size());
    }
}

TEST(Blob, TakesNothingThatOnlyResemblesIt) {
    for (const char* text : {"a", "a=1", "a;", ";", "a=1;;", "a=1;b", "a=1=2;", "a=%;", "a=%4;", "a=%4x;",
                             "%=1;", "a=1;a=2;", "a=1;%61=2;", "a=1\n;", "a=\x01;"}) {
        Blob::Map map;
        const char* cursor = text;
        EXPECT_FALSE(Blob::readBlob(cursor, map)) << text;
        EXPECT_EQ(cursor, text);
    }
    Blob::Map map;
    const char* cursor = nullptr;
    EXPECT_FALSE(Blob::readBlob(cursor, map));
    const std::string endless(17U << 20U, 'a');
    cursor = endless.c_str();
    EXPECT_FALSE(Blob::readBlob(cursor, map));
    const char behindNul[] = "a=1;\0b=2;";
    cursor = behindNul;
    EXPECT_TRUE(Blob::readBlob(cursor, map));
    EXPECT_EQ(cursor, behindNul + 4);
    EXPECT_EQ(map, (Blob::Map{{"a", "1"}}));
}

TEST(Blob, BindsFields) {
    Blob::Map map;
    std::string text = "x";
    int number = -25;
    EXPECT_TRUE(Blob::bindBlobField(map, "t", text, true));
    EXPECT_TRUE(Blob::bindBlobField(map, "n", number, true));
    EXPECT_EQ(map, (Blob::Map{{"t", "x"}, {"n", "-25"}}));
    number = 0;
    EXPECT_TRUE(Blob::bindBlobField(map, "n", number, false));
    EXPECT_EQ(number, -25);
    for (const char* value : {"", "x", "1x", " 1", "1 ", "+1", "2147483648", "0x10", "1.5"}) {
        map["n"] = value;
        EXPECT_FALSE(Blob::bindBlobField(map, "n", number, false)) << value;
        EXPECT_EQ(number, -25);
    }
    EXPECT_FALSE(Blob::bindBlobField(map, "missing", text, false));
    EXPECT_FALSE(Blob::bindBlobField(map, nullptr, text, true));
    EXPECT_EQ(text, "x");
}

TEST(ErrorText, HasATextForEveryNumber) {
    std::set<std::string> texts;
    for (int error = quzo::kErrorNone; error <= quzo::kErrorInternal; ++error) {
        texts.insert(quzo::KVMSGERR::I2A(error));
    }
    EXPECT_EQ(texts.size(), static_cast<std::size_t>(quzo::kErrorInternal) + 1);
    for (const int error : {-1, 14, 2147483647}) {
        EXPECT_STREQ(quzo::KVMSGERR::I2A(error), "unknown error");
    }
}

TEST(QueueAdapter, NotesDeletionAndRefusesTheRest) {
    quzo::platform::QueueAdapter adapter;
    const quzo::MessageHandle message(quzo::KvMsg_CreateMailMessage());
    quzo::KvMsgMailMessage* msg = message.get();
    ASSERT_NE(msg, nullptr);
    unsigned error = 77;
    EXPECT_NE(adapter.deleteMessage(error, nullptr), 0);
    EXPECT_NE(error, 0U);
    EXPECT_FALSE(adapter.deleted());
    const auto refused = [&](int result) { return result != 0 && error == quzo::kErrorNotSupported; };
    EXPECT_TRUE(refused(adapter.sendMessage(error = 0, msg, true)));
    EXPECT_TRUE(refused(adapter.submitForScan(error = 0, msg, 1)));
    EXPECT_TRUE(refused(adapter.sendComposed(error = 0, msg)));
    EXPECT_TRUE(refused(adapter.postponeMessage(error = 0, msg, 22, 0, 23, 59)));
    EXPECT_TRUE(refused(adapter.handoffMessage(error = 0, msg, "127.0.0.1", 25)));
    int signedError = 0;
    char path[quzo::KvIsAdapter::kPathSize];
    std::memset(path, '#', sizeof path);
    EXPECT_NE(adapter.quarantineMessage(signedError, msg, "", "/q", path), 0);
    EXPECT_EQ(signedError, quzo::kErrorNotSupported);
    EXPECT_STREQ(path, "");
    EXPECT_NE(adapter.archiveMessage(signedError = 0, msg, "", "/a", "area"), 0);
    EXPECT_EQ(signedError, quzo::kErrorNotSupported);
    EXPECT_FALSE(adapter.deleted());
    EXPECT_EQ(adapter.deleteMessage(error, msg), 0);
    EXPECT_EQ(error, 0U);
    EXPECT_TRUE(adapter.deleted());
}

} // namespace
