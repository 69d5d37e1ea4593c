// Entities: order, types, the body, file names, decoded bodies.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>

#include "messages.h"
#include "quzo/core/error_text.h"
#include "quzo/core/handles.h"

namespace quzo::platform::test {
namespace {

using namespace std::string_literals;

// mixed ( alternative ( text, related ( html, png ) ), attached message ( text ), text, tnef )
const char kNested[] =
    "Content-Type: multipart/mixed; boundary=m\n\n"
    "--m\nContent-Type: multipart/alternative; boundary=a\n\n"
    "--a\n\nplain\n"
    "--a\nContent-Type: multipart/related; boundary=r\n\n"
    "--r\nContent-Type: text/HTML; charset=x\n\n<p>\n"
    "--r\nContent-Type: image/png; name=p.png\n\nPNG\n--r--\n"
    "--a--\n"
    "--m\nContent-Type: message/rfc822\n\nSubject: inner\nContent-Type: multipart/mixed; boundary=i\n\n"
    "--i\n\ninner text\n--i\nContent-Type: Application/VND.MS-TNEF\n\nx\n--i--\n"
    "--m\nContent-Type: text/plain\n\nfooter\n"
    "--m\nContent-Type: image/png\nContent-Type: application/x-ms-tnef\n\nx\n"
    "--m--\n";

std::vector<KvMsgEntity*> entitiesOf(MailMessage& message) {
    std::vector<KvMsgEntity*> entities;
    for (KvMsgEntity* one = message.getRootEntity(); one != nullptr; one = one->getNext()) {
        entities.push_back(one);
    }
    return entities;
}

TEST(Entities, DocumentOrderTypesAndBody) {
    const auto message = parsed(kNested);
    const auto entities = entitiesOf(*message);
    std::string types;
    std::string bodies;
    std::string embedded;
    for (KvMsgEntity* one : entities) {
        types += std::to_string(one->getEntityType());
        bodies += msgu::isBody(message.get(), one) ? 'b' : '-';
        embedded += EntityReader::embedded(*one) ? 'e' : '-';
        EXPECT_EQ(one->hasError(), 0);
    }
    //                m a t r h p M m t x t x
    EXPECT_EQ(types, "221211321111");
    EXPECT_EQ(bodies, "--b-b-------");
    EXPECT_EQ(embedded, "-------eee--");
    EXPECT_EQ(entities[0]->getNextSibling(), nullptr);
    EXPECT_EQ(entities[1]->getNextSibling(), entities[6]);
    EXPECT_EQ(entities[5]->getNextSibling(), nullptr);
    EXPECT_EQ(EntityReader::contentType(*entities[4]), "text/html");
    EXPECT_EQ(EntityReader::decodedBody(*entities[5], 100), "PNG");
    EXPECT_EQ(EntityReader::bodySize(*entities[10]), 6U);
    EXPECT_FALSE(message->limited());
}

TEST(Entities, FoundByType) {
    const auto message = parsed(kNested);
    const auto entities = entitiesOf(*message);
    const auto found = [&](const char* type, bool deep) {
        std::list<KvMsgEntity*> list{nullptr};
        EXPECT_TRUE(msgu::findContentType(message.get(), type, list, deep));
        std::vector<std::size_t> indices;
        for (KvMsgEntity* one : list) {
            indices.push_back(static_cast<std::size_t>(std::find(entities.begin(), entities.end(), one) -
                                                       entities.begin()));
        }
        return indices;
    };
    using Indices = std::vector<std::size_t>;
    EXPECT_EQ(found("ms-tnef", true), (Indices{9, 11}));
    EXPECT_EQ(found("ms-tnef", false), (Indices{11}));
    EXPECT_EQ(found("APPLICATION/ms-tnef", true), (Indices{9, 11}));
    EXPECT_EQ(found("image/png", true), (Indices{5, 11}));
    EXPECT_EQ(found("text/plain", false), (Indices{2, 10}));
    EXPECT_EQ(found("tnef", true), Indices{});
    EXPECT_EQ(found("", true), Indices{});
}

TEST(Entities, ExistenceNeverFollowsThePointer) {
    const auto message = parsed(kNested);
    const auto other = parsed(kNested);
    for (KvMsgEntity* one : entitiesOf(*message)) {
        EXPECT_TRUE(msgu::existEntity(message.get(), one));
        EXPECT_FALSE(msgu::existEntity(other.get(), one));
        EXPECT_FALSE(msgu::isBody(other.get(), one));
    }
    const auto root = reinterpret_cast<std::uintptr_t>(message->getRootEntity());
    for (const std::uintptr_t nonsense :
         {std::uintptr_t{0}, std::uintptr_t{1}, root + 1, ~std::uintptr_t{0}}) {
        auto* entity = reinterpret_cast<KvMsgEntity*>(nonsense); // NOLINT(performance-no-int-to-ptr)
        EXPECT_FALSE(msgu::existEntity(message.get(), entity));
        EXPECT_FALSE(msgu::isBody(message.get(), entity));
    }
}

TEST(Entities, BodyOfASinglePart) {
    for (const char* bytes : {"A: 1\n\nx", "Content-Type: image/png\n\nx",
                              "Content-Type: text/plain\nContent-Disposition: attachment\n\nx",
                              "Content-Type: multipart/mixed; boundary=b\n\nno boundary line"}) {
        const auto message = parsed(bytes);
        EXPECT_TRUE(msgu::isBody(message.get(), message->getRootEntity())) << bytes;
    }
}

TEST(Entities, LimitsCutTheTreeAndNotTheTag) {
    Limits limits;
    limits.parts = 3;
    const auto message = MailMessage::parse(kNested, limits);
    KvMsgEntity& root = *message->getRootEntity();
    EXPECT_EQ(entitiesOf(*message).size(), 3U);
    EXPECT_TRUE(message->limited());
    EXPECT_EQ(message->error(), 0);
    EXPECT_NE(root.getNext()->hasError(), 0);
    EXPECT_FALSE(msgu::setHeader(root.getNext(), "X", "y", nullptr));
    EXPECT_EQ(root.getNext()->getHeaderField(0, false), nullptr);
    EXPECT_NE(root.getNext()->getHeaderField(0, true), nullptr);
    EXPECT_TRUE(msgu::setHeader(&root, "X", "y", nullptr));
    // What the scan did not see could be damaged.
    EXPECT_FALSE(msgu::removeEntityAndDummyParent(root.getNext(), ""));
    EXPECT_EQ(root.insertMessage(message->getAttachHandle(), -1), kErrorLimit);
}

struct NameCase {
    const char* name;
    const char* header;
    std::vector<std::string> names;
};

class FileNames : public testing::TestWithParam<NameCase> {};

TEST_P(FileNames, AllOfThemDecoded) {
    const auto message = parsed(std::string(GetParam().header) + "\n\n");
    KvMsgEntity& root = *message->getRootEntity();
    EXPECT_EQ(EntityReader::fileNames(root), GetParam().names);
    const KvMsgFileInfo* info = root.getFileInfo();
    const bool marked = std::string_view(GetParam().header).find(" attachment") != std::string_view::npos;
    ASSERT_EQ(info != nullptr, marked || !GetParam().names.empty());
    if (info != nullptr) {
        EXPECT_EQ(info->fileName, GetParam().names.empty() ? "" : GetParam().names.front());
    }
}

const NameCase kNames[] = {
    {"None", "Content-Type: text/plain; charset=x", {}},
    {"Empty", "Content-Disposition: attachment; filename=\"\"", {}},
    {"NoneAtAll", "Content-Type: x/y\nContent-Disposition: attachment; size=1", {}},
    {"Inline", "Content-Type: x/y\nContent-Disposition: inline", {}},
    {"Plain", "Content-Disposition: attachment; filename=a.exe", {"a.exe"}},
    {"QuotedWithSeparators", "Content-Disposition: attachment; filename=\"a;b=\\\"c.exe\"", {"a;b=\"c.exe"}},
    {"BothFields",
     "Content-Type: x/y; name=a.txt\nContent-Disposition: attachment; filename=b.exe",
     {"b.exe", "a.txt"}},
    {"SameTwice",
     "Content-Type: x/y; name=a.txt\nContent-Disposition: inline; FILENAME=\"a.txt\"",
     {"a.txt"}},
    {"WrongPlaces", "Content-Type: x/y; filename=a\nContent-Disposition: attachment; name=b", {"b", "a"}},
    {"Encoded",
     "Content-Disposition: attachment; filename*=iso-8859-1'de'%FCber%2Eexe",
     {"\xC3\xBC"
      "ber.exe"}},
    {"PlainAndEncoded",
     "Content-Disposition: attachment; filename=a.txt; filename*=utf-8''b.exe",
     {"a.txt", "b.exe"}},
    {"TwoPlain", "Content-Disposition: attachment; filename=a.txt; filename=b.exe", {"a.txt", "b.exe"}},
    {"Continued",
     "Content-Disposition: attachment;\n filename*0=\"a b\"; filename*1=c;\n filename*2=.exe",
     {"a bc.exe"}},
    {"ContinuedAndEncoded",
     "Content-Disposition: attachment; filename*0*=utf-8''%C3%BC; filename*1*=%2Ee; filename*2=xe",
     {"\xC3\xBC.exe"}},
    {"ContinuedOutOfOrder", "Content-Disposition: attachment; filename*1=.exe; filename*0=a", {"a.exe"}},
    {"EncodedWord", "Content-Disposition: attachment; filename=\"=?utf-8?B?w7wuZXhl?=\"", {"\xC3\xBC.exe"}},
    {"RawUtf8", "Content-Disposition: attachment; filename=\"\xC3\xBC.exe\"", {"\xC3\xBC.exe"}},
    {"RawLatin1", "Content-Disposition: attachment; filename=\"\xFC.exe\"", {"\xC3\xBC.exe"}},
    {"TwoFields", "Content-Disposition: inline\nContent-Disposition: attachment; filename=a.exe", {"a.exe"}},
    {"FoldedInQuotes", "Content-Disposition: attachment; filename=\"a\n b.exe\"", {"a b.exe"}},
    {"UnfinishedQuote", "Content-Disposition: attachment; filename=\"a.exe", {"a.exe"}},
    {"UnfinishedQuoteAndMore",
     "Content-Disposition: attachment; filename=\"a.exe; size=5",
     {"a.exe; size=5", "a.exe"}},
};

INSTANTIATE_TEST_SUITE_P(Names, FileNames, testing::ValuesIn(kNames),
                         [](const auto& one) { return std::string(one.param.name); });

TEST(Decoding, Bodies) {
    struct Case {
        std::string header;
        std::string body;
        std::string text;
    };
    const Case cases[] = {
        {"", "a\r\nb", "a\r\nb"},
        {"Content-Transfer-Encoding: BASE64 ", "Z3LD\r\nvMOf", "gr\xC3\xBC\xC3\x9F"},
        {"Content-Transfer-Encoding: quoted-printable\nContent-Type: text/plain; charset=iso-8859-1",
         "gr=FC=\r\n=DF", "gr\xC3\xBC\xC3\x9F"},
        {"Content-Transfer-Encoding: x-uuencode", "begin 644 a.txt\n#86)C\n`\nend\n", "abc"},
        {"Content-Transfer-Encoding: x-unknown", "Z3LD", "Z3LD"},
        {"Content-Type: text/plain; charset=utf-8", "a\xC3(b", "a\xEF\xBF\xBD(b"},
        {"Content-Type: text/plain; charset=no-such", "\xC3\xBC", "\xC3\xBC"},
        {"Content-Type: text/plain; charset=us-ascii", "gr\xFC", "gr\xC3\xBC"},
        {"Content-Type: text/plain; charset=iso-2022-jp", "\x1B$B%F\x1B(B", "\xE3\x83\x86"},
        {"", "a\0b"s,
         "a\xEF\xBF\xBD"
         "b"},
    };
    for (const Case& one : cases) {
        const auto message = parsed((one.header.empty() ? "A: 1" : one.header) + "\n\n" + one.body);
        KvMsgEntity& root = *message->getRootEntity();
        EXPECT_THAT(EntityReader::texts(root, 1000), testing::ElementsAre(one.text)) << one.header;
        EXPECT_LE(EntityReader::texts(root, 2).front().size(), 2U);
        EXPECT_LE(EntityReader::decodedBody(root, 2).size(), 2U);
    }
    const auto big = parsed("Content-Transfer-Encoding: base64\n\n" + std::string(400000, 'A'));
    EXPECT_EQ(EntityReader::decodedBody(*big->getRootEntity(), 1U << 20U), std::string(300000, '\0'));
    EXPECT_EQ(EntityReader::decodedBody(*big->getRootEntity(), 100000).size(), 100000U);
}

} // namespace
} // namespace quzo::platform::test
