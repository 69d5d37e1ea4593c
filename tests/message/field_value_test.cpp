// Reading field values, the subject and the charset; address lists.
#include <gtest/gtest.h>

#include <algorithm>

#include "messages.h"
#include "platform/base/line_breaks.h"
#include "platform/base/utf8.h"
#include "platform/message/values/address_list.h"

namespace quzo::platform::test {
namespace {

using namespace std::string_literals;

TEST(FieldValue, DecodedTrimmedAndCached) {
    struct Case {
        std::string line;
        const char* value;
        const char* charset; // null: none
    };
    const Case cases[] = {
        {"X:  a  b \r\n", "a  b", nullptr},
        {"X:tight\n", "tight", nullptr},
        {"X:\r\n", "", nullptr},
        {"X: a\r\n\tb\r\n  c\r\n", "a\tb  c", nullptr},
        {"X: =?UTF-8?B?Z3LDvMOf?= gott\n", "gr\xC3\xBC\xC3\x9F gott", "utf-8"},
        {"X: =?iso-8859-1?Q?gr=FC?=\n =?iso-8859-1?Q?=DF?=\n", "gr\xFC\xDF", "iso-8859-1"},
        {"X: gr\xFC\xDF\n", "gr\xFC\xDF", "windows-1252"},
        {"X: gr\xFC\xDF\nContent-Type: text/plain; charset=koi8-r\n", "gr\xFC\xDF", "koi8-r"},
        {"X: gr\xFC\xDF\nContent-Type: text/plain; charset=shift_jis\n", "gr\xFC\xDF", "windows-1252"},
        {"X: gr\xFC\xDF\nContent-Type: text/plain; charset=utf-16\n", "gr\xFC\xDF", "windows-1252"},
        {"X: =?x-none?Q?=FC?= =?utf-8?Q?=FC?=\n", "=?x-none?Q?=FC?= =?utf-8?Q?=FC?=", nullptr},
        {"X: a\x1B[31m\n", "a\x1B[31m", "utf-8"},
        {"X: \x1B$BF|\x1B(B\n", "\x1B$BF|\x1B(B", "iso-2022-jp"},
        {"X: =?us-ascii?Q?a?=\n", "a", "utf-8"},
        // What would be written raw must not change by that.
        {"X: =?iso-8859-1?Q?=FC=1B?=\n", "\xC3\xBC\x1B", "utf-8"},
        {"X: =?iso-8859-15?Q?=3D=3F?=\n", "=?", "utf-8"},
        {"X: =?utf-8?Q?a=00b?=\n", "a b", "utf-8"},
        {"X: gr\xC3\xBC\xC3\x9F\n", "gr\xC3\xBC\xC3\x9F", "utf-8"},
        {"X: a\0b\n"s, "a b", nullptr},
        {"X: =?utf-16be?B?AGEAYg==?=\n", "ab", "utf-8"},
    };
    for (const Case& one : cases) {
        const auto message = parsed(one.line + "\n");
        const KvMsgHeaderField* field = message->getRootEntity()->getHeaderFieldByName("x", true);
        ASSERT_NE(field, nullptr) << one.line;
        const char* charset = "not set";
        const char* value = field->getValue(&charset);
        EXPECT_STREQ(value, one.value) << one.line;
        EXPECT_STREQ(charset, one.charset) << one.line;
        EXPECT_EQ(field->getValue(nullptr), value) << "the pointer must hold";
        std::string raw = one.line.substr(0, one.line.find("Content-Type"));
        std::replace(raw.begin(), raw.end(), '\0', ' ');
        EXPECT_EQ(field->getRawLine(), raw);
    }
}

// For callers who write values back without encoding them.
TEST(FieldValue, RawBytesAsTheyCame) {
    const struct {
        const char* subject;
        const char* value;
        const char* charset; // null: none
        const char* ofMessage;
    } cases[] = {
        {"caf\xC3\xA9", "caf\xC3\xA9", nullptr, "utf-8"},
        {"caf\xE9", "caf\xE9", nullptr, "windows-1252"},
        {"\xC6\xFC", "\xC6\xFC", nullptr, "euc-jp"},
        {"a\x1B[31m", "a\x1B[31m", nullptr, "utf-8"},
        {"a", "a", nullptr, "euc-jp"},
        {"=?utf-8?Q?=C3=A9?=", "\xC3\xA9", "utf-8", "euc-jp"},
        {"caf\xE9\nSubject: =?koi8-r?Q?=F4?=", "caf\xE9", nullptr, "windows-1252"},
    };
    for (const auto& c : cases) {
        const auto message =
            parsed("Content-Type: text/plain; charset=euc-jp\nSubject: "s + c.subject + "\n\n",
                   RawValues::AsTheyCame);
        const char* charset = "not set";
        const KvMsgHeaderField* field = message->getRootEntity()->getHeaderFieldByName("subject", true);
        EXPECT_STREQ(field->getValue(&charset), c.value);
        EXPECT_STREQ(charset, c.charset) << c.subject;
        EXPECT_STREQ(msgu::getCharset(message.get()), c.ofMessage) << c.subject;
    }
}

struct CharsetCase {
    const char* name;
    const char* bytes;
    const char* charset; // null: none
};

class MessageCharset : public testing::TestWithParam<CharsetCase> {};

TEST_P(MessageCharset, IsFound) {
    const auto message = parsed(GetParam().bytes);
    const char* found = msgu::getCharset(message.get());
    EXPECT_STREQ(found, GetParam().charset);
    ASSERT_TRUE(msgu::setHeader(message->getRootEntity(), "Subject", "\xC3\xBC", "utf-8"));
    EXPECT_STREQ(found, GetParam().charset) << "callers keep it while they change the subject";
}

const CharsetCase kCharsets[] = {
    {"Leaf", "Content-Type: text/html; charset=\"ISO-8859-15\"\n\n", "ISO-8859-15"},
    {"Nothing", "A: 1\n\n", nullptr},
    {"AsciiSaysNothing", "Content-Type: text/plain; charset=US-ASCII\n\n", nullptr},
    {"AsciiBodyEncodedSubject",
     "Content-Type: text/plain; charset=us-ascii\nSubject: a =?koi8-r*ru?Q?x?=\n\n", "koi8-r"},
    {"NoText", "Content-Type: image/png; charset=x\nSubject: =?utf-8?Q?x?=\n\n", "utf-8"},
    {"NoWord", "Subject: =?no word?= =?x\n\n", nullptr},
    {"Unknown", "Content-Type: text/plain; charset=X-UNKNOWN\n\n", nullptr},
    {"UnknownBeforeAWord", "Content-Type: text/plain; charset=X-UNKNOWN\nSubject: =?utf-8?Q?x?=\n\n",
     "utf-8"},
    {"UnknownWord", "Subject: =?x-none?Q?x?=\n\n", nullptr},
    {"NoCString", "Content-Type: text/plain; charset=utf-16be\nSubject: =?utf-16?B?AGE=?=\n\n", nullptr},
    {"Ebcdic", "Content-Type: text/plain; charset=ibm037\n\n", nullptr},
    {"SevenBitShifts", "Content-Type: text/plain; charset=iso-2022-jp\n\n", "iso-2022-jp"},
    {"TheSubjectsOwn", "Content-Type: text/plain; charset=utf-8\nSubject: =?koi8-r?Q?x?=\n\n", "koi8-r"},
    {"TheSubjectsIsUnicode", "Content-Type: text/plain; charset=koi8-r\nSubject: =?utf-8?Q?x?=\n\n",
     "koi8-r"},
    {"TheSubjectsIsTheSame", "Content-Type: text/plain; charset=latin1\nSubject: =?iso-8859-1?Q?x?=\n\n",
     "latin1"},
    {"TheSubjectsRawText", "Content-Type: text/plain; charset=utf-8\nSubject: \xE9\n\n", "windows-1252"},
    {"SubjectsOfSeveral",
     "Content-Type: text/plain; charset=koi8-r\nSubject: =?koi8-r?Q?x?=\nSubject: =?iso-8859-2?Q?x?=\n\n",
     "us-ascii"},
    {"NoCharsetName", "Content-Type: text/plain; charset=\"a b\"\n\n", nullptr},
    {"FirstTextPartOfTheBody",
     "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: text/plain; charset=x1\n"
     "Content-Disposition: ATTACHMENT\n\n\n--b\nContent-Type: text/html; charset=big5\n\n\n--b--\n",
     "big5"},
    {"NotOfAnAttachedMessage",
     "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: message/rfc822\n\n"
     "Content-Type: text/plain; charset=x1\n\n\n--b--\n",
     nullptr},
};

INSTANTIATE_TEST_SUITE_P(Charsets, MessageCharset, testing::ValuesIn(kCharsets),
                         [](const auto& one) { return std::string(one.param.name); });

TEST(MessageCharsetCache, FollowsEveryEdit) {
    const auto message = parsed("Content-Type: text/plain; charset=koi8-r\nSubject: plain\n\n");
    KvMsgEntity* root = message->getRootEntity();
    const char* first = msgu::getCharset(message.get());
    EXPECT_STREQ(first, "koi8-r");
    ASSERT_TRUE(msgu::setHeader(root, "Content-Type", "text/plain; charset=big5", nullptr));
    EXPECT_STREQ(msgu::getCharset(message.get()), "big5");
    ASSERT_EQ(root->getHeaderFieldByName("subject", false)->setValue("\xF4", "koi8-r"), 0);
    EXPECT_STREQ(msgu::getCharset(message.get()), "koi8-r");
    ASSERT_EQ(root->removeHeader("Subject"), 0);
    EXPECT_STREQ(msgu::getCharset(message.get()), "big5");
    ASSERT_EQ(root->removeHeader("Content-Type"), 0);
    EXPECT_EQ(msgu::getCharset(message.get()), nullptr);
    ASSERT_NE(root->addHeaderField(-1, "Subject", "\xA4", "iso-8859-15"), nullptr);
    EXPECT_STREQ(msgu::getCharset(message.get()), "iso-8859-15");
    EXPECT_STREQ(first, "koi8-r") << "callers keep it";
}

TEST(Subject, IsConverted) {
    struct Case {
        const char* header;
        const char* local;
        const char* mail;
        const char* subject; // null: no result
    };
    const Case cases[] = {
        {"Subject: plain\n", "utf-8", nullptr, "plain"},
        {"subject: =?iso-8859-1?Q?=FC?=\nSubject: second\n", "utf-8", nullptr, "\xC3\xBC"},
        {"Subject: =?utf-8?B?w7zlrZc=?=\n", "iso-8859-1", nullptr, "\xFC?"},
        {"Subject: \xFC\n", "utf-8", "iso-8859-2", "\xC3\xBC"},
        {"Subject: \xC3\xBC\n", "iso-8859-1", nullptr, "\xFC"},
        {"Subject: \xA4\n", "utf-8", nullptr, "\xC2\xA4"},
        {"Subject: a\x1B\n", "utf-8", nullptr, "a\x1B"},
        {"Subject: \xA4\nContent-Type: text/plain; charset=iso-8859-15\n", "utf-8", "", "\xE2\x82\xAC"},
        {"Subject: \xA4\n", "iso-8859-15", nullptr, "\xA4"},
        {"A: 1\n", "utf-8", nullptr, nullptr},
        {"Subject: =?x-none?Q?=FC?= =?utf-8?Q?=C3=BC?=\n", "utf-8", nullptr, "=?x-none?Q?=FC?= \xC3\xBC"},
        {"Subject: a\n", "x-none", nullptr, nullptr},
    };
    for (const Case& one : cases) {
        const auto message = parsed(one.header + "\n"s);
        std::string subject;
        const bool found = msgu::getSubject(message.get(), one.local, one.mail, subject);
        EXPECT_EQ(found, one.subject != nullptr) << one.header;
        if (found) {
            EXPECT_EQ(subject, one.subject) << one.header;
        }
    }
}

TEST(AddressList, SplitOutsideQuotesCommentsLiteralsAndGroups) {
    struct Case {
        const char* list;
        std::vector<std::string_view> entries;
    };
    const Case cases[] = {
        {"", {}},
        {" ; ;; ", {}},
        {"a@x;b@x", {"a@x", "b@x"}},
        {" a@x ;\tb@x;", {"a@x", "b@x"}},
        {";\"NotificationRecipients\"<NotificationRecipients>",
         {"\"NotificationRecipients\"<NotificationRecipients>"}},
        {"\"a;b\" <c@x>; d@x", {"\"a;b\" <c@x>", "d@x"}},
        {"\"a\\\";b\" <c@x>; d@x", {"\"a\\\";b\" <c@x>", "d@x"}},
        {"a@x (one; (two;) \\); three); b@x", {"a@x (one; (two;) \\); three)", "b@x"}},
        {"Team: a@x, b@x;; c@x", {"Team: a@x, b@x;", "c@x"}},
        {"Team: a@x; b@x;c@x", {"Team: a@x;", "b@x", "c@x"}},
        {"undisclosed-recipients:;", {"undisclosed-recipients:;"}},
        {"a@[IPv6:1::2]; b@x", {"a@[IPv6:1::2]", "b@x"}},
        {"<@a:b@x>; c@x", {"<@a:b@x>", "c@x"}},
        {"\"open; a@x", {"\"open; a@x"}},
    };
    for (const Case& one : cases) {
        EXPECT_EQ(splitAddressList(one.list), one.entries) << one.list;
    }
}

TEST(AddressList, IsWrittenAndFolded) {
    const auto written = [](const std::string& list, const char* charset) {
        std::string out;
        EXPECT_EQ(writtenAddressList(list, charset, 4, "\r\n", out), 0) << list;
        return out;
    };
    EXPECT_EQ(written("a@x;b@x ; ;c@x", nullptr), "a@x, b@x, c@x");
    EXPECT_EQ(written("a@x\r\nBcc: v@x;b@x", nullptr), "a@x  Bcc: v@x;, b@x");
    EXPECT_EQ(written("M\xFCller <a@x>", nullptr), "M\xFCller <a@x>");
    const std::string encoded = written("\"M\xC3\xBCller; B\" <a@x>;b@x", "utf-8");
    EXPECT_EQ(encoded.find_first_of("\xC3\xBC\""), std::string::npos);
    std::string decoded;
    EXPECT_TRUE(msgu::getHeader(parsed("To: " + encoded + "\n\n")->getRootEntity(), "To", decoded));
    EXPECT_EQ(decoded, "M\xC3\xBCller; B <a@x>, b@x");
    std::string many;
    for (int i = 0; i < 40; ++i) {
        many += "\"A very long name; really\" <recipient" + std::to_string(i) + "@example.com>;";
    }
    const std::string folded = written(many, nullptr);
    std::size_t begin = 0;
    int lines = 0;
    for (std::size_t end = 0; end != std::string::npos; begin = end + 2, ++lines) {
        end = folded.find("\r\n", begin);
        const std::size_t length = (end == std::string::npos ? folded.size() : end) - begin;
        EXPECT_LE(length + (begin == 0 ? 4 : 0), 76U);
        EXPECT_TRUE(begin == 0 || (folded[begin] == ' ' && folded[begin + 1] == '"')) << begin;
    }
    EXPECT_EQ(lines, 40);
    const auto message = parsed("tO: x@x\r\n\r\n");
    ASSERT_TRUE(msgu::setHeader(message->getRootEntity(), "To", "a@x;b@x", "us-ascii"));
    ASSERT_TRUE(msgu::setHeader(message->getRootEntity(), "BCC", ";c@x;", "utf-8"));
    ASSERT_TRUE(msgu::setHeader(message->getRootEntity(), "Cc", "Team: a@x; b@x;", nullptr));
    EXPECT_EQ(test::written(*message), "tO: a@x, b@x\r\nBCC: c@x\r\nCc: Team: a@x; b@x;\r\n\r\n");
}

// A group that is too large for GMime at once is written member by member.
TEST(AddressList, LargeGroupsAreEncoded) {
    std::string list = "\"T\xC3\xA4m\": ";
    for (int i = 0; i < 300; ++i) {
        list += "\"M\xC3\xBCller, " + std::to_string(i) + "\" <m" + std::to_string(i) + "@x>, p@x, ";
    }
    list += "z@x;; \"\xC3\x9C\" <u@x>";
    std::string written;
    ASSERT_EQ(writtenAddressList(list, "utf-8", 4, "\r\n", written), 0);
    EXPECT_EQ(std::count_if(written.begin(), written.end(), [](unsigned char c) { return c > 0x7E; }), 0);
    std::string decoded;
    EXPECT_TRUE(msgu::getHeader(parsed("To: " + written + "\n\n")->getRootEntity(), "To", decoded));
    EXPECT_TRUE(decoded.starts_with("T\xC3\xA4m: M\xC3\xBCller, 0 <m0@x>, p@x, M\xC3\xBCller, 1 <m1@x>"))
        << decoded;
    EXPECT_TRUE(decoded.ends_with("p@x, z@x;, \xC3\x9C <u@x>")) << decoded.substr(decoded.size() - 60);
}

TEST(AddressList, HostileLists) {
    for (const char* piece :
         {"a:", "a ,", "(", "<", "\"", "\\", "[", "\xC3\xBC:", "\xC3\xBC,", "\xC3\xBC <a@x>;", "\xC3\xBC,;",
          "\xC3\xBC:;", "\xC3\xBC ", "\xC3\xBC", "\" a b", "a \" b\"", "<@a,@b:", "=?utf-8?q?a?= "}) {
        std::string list;
        while (list.size() < 300000) {
            list += piece;
        }
        list += " \xC3\xBC";
        std::string written;
        EXPECT_EQ(writtenAddressList(list, nullptr, 4, "\r\n", written), 0) << piece;
        EXPECT_FALSE(hasLongLine("To: " + written)) << piece;
        EXPECT_TRUE(isUtf8(written)) << piece;
        const auto message = parsed("A: 1\n\nbody\n");
        ASSERT_TRUE(msgu::setHeader(message->getRootEntity(), "To", list.c_str(), "utf-8")) << piece;
        EXPECT_TRUE(test::written(*message).ends_with("\n\nbody\n")) << piece;
        EXPECT_FALSE(hasLongLine(test::written(*message))) << piece;
    }
}

} // namespace
} // namespace quzo::platform::test
