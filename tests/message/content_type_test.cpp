// Tests of the Content-Type reader of the structure scan.
#include "platform/message/structure/content_type.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace quzo::platform::test {

namespace {

struct TypeCase {
    std::string_view value;
    std::string_view type;
    std::string_view subtype;
    std::string_view boundary; // empty also when there is none
};

TEST(ContentTypeReader, ReadsTypesAndBoundaries) {
    const TypeCase cases[] = {
        {" multipart/mixed; boundary=aa\r\n", "multipart", "mixed", "aa"},
        {"MultiPart/Mixed;BOUNDARY=\"a a\"", "MultiPart", "Mixed", "a a"},
        {"\r\n multipart / mixed\r\n\t;\r\n boundary =\r\n aa\r\n", "multipart", "mixed", "aa"},
        {"(x(y)\\() multipart (a) / (b) mixed (c; boundary=no); (d) boundary (e) = (f) aa (g)", "multipart",
         "mixed", "aa"},
        {"(unfinished multipart/mixed; boundary=aa", "", "", ""},
        {"multipart; boundary=aa", "multipart", "", "aa"},
        {"", "", "", ""},
        {"/mixed", "", "mixed", ""},
        // Quoting
        {"multipart/mixed; boundary=\"a\\\"b\\\\c\"", "multipart", "mixed", "a\"b\\c"},
        {"multipart/mixed; x=\"; boundary=no\"; boundary=aa", "multipart", "mixed", "aa"},
        {"multipart/mixed; x=\"\\\"; boundary=no\"; boundary=aa", "multipart", "mixed", "aa"},
        {"multipart/mixed; boundary=\"a\r\n b\"", "multipart", "mixed", "a b"},
        {"multipart/mixed; boundary=\"\"", "multipart", "mixed", ""},
        {"multipart/mixed; boundary=\"aa\r\n", "multipart", "mixed", "aa"},
        {"multipart/mixed; boundary=\"aa; x=y", "multipart", "mixed", "aa"},
        // Quotes forgotten
        {"multipart/mixed; boundary=--=_a=b?c/d:e", "multipart", "mixed", "--=_a=b?c/d:e"},
        {"multipart/mixed; boundary=a b ; x=y", "multipart", "mixed", "a b"},
        {"multipart/mixed; boundary=a(b)", "multipart", "mixed", "a(b)"},
        // Semicolons forgotten, or too many
        {"multipart/mixed boundary=aa", "multipart", "mixed", "aa"},
        {"multipart/mixed; x=y\r\n boundary=aa", "multipart", "mixed", "aa"},
        {"multipart/mixed; x; =y; z=;; boundary=aa", "multipart", "mixed", "aa"},
        {"multipart/mixed; x=\"y\"z; boundary=aa", "multipart", "mixed", "aa"},
        {"multipart/mixed; noboundary=x; boundaries=y", "multipart", "mixed", ""},
        // The first of several
        {"multipart/mixed; boundary=aa; boundary=bb", "multipart", "mixed", "aa"},
        {"multipart/mixed; boundary*0=aa; boundary=bb", "multipart", "mixed", "aa"},
        // RFC 2231
        {"multipart/mixed; boundary*=us-ascii'en'a%62%zz%6", "multipart", "mixed", "ab%zz%6"},
        {"multipart/mixed; boundary*1=b; boundary*0=\"a\"; boundary*10=c", "multipart", "mixed", "abc"},
        {"multipart/mixed; boundary*0*=''%61; boundary*1*='%62'; boundary*2=%63", "multipart", "mixed",
         "a'b'%63"},
        {"multipart/mixed; boundary*99999999999999999999=b; boundary*3=a", "multipart", "mixed", "ab"},
    };
    for (const TypeCase& c : cases) {
        const ContentType read = readContentType(c.value);
        std::string storage;
        EXPECT_EQ(read.type, c.type) << c.value;
        EXPECT_EQ(read.subtype, c.subtype) << c.value;
        EXPECT_EQ(findParameter(read.parameters, "boundary", storage), c.boundary) << c.value;
    }
}

TEST(ContentTypeReader, TellsAnEmptyParameterFromNone) {
    std::string storage;
    EXPECT_NE(findParameter("; x=\"\"; y=", "x", storage).data(), nullptr);
    EXPECT_NE(findParameter("; x=\"\"; y=", "y", storage).data(), nullptr);
    EXPECT_EQ(findParameter("; x=\"\"; y=", "z", storage).data(), nullptr);
}

TEST(ContentTypeReader, UsualValuesAreViews) {
    constexpr std::string_view value = "multipart/mixed; boundary=\"a a\"";
    std::string storage;
    const std::string_view boundary = findParameter(readContentType(value).parameters, "boundary", storage);
    EXPECT_EQ(boundary.data(), value.data() + 27);
}

TEST(ContentTypeReader, OneOfSeveralFieldsGoverns) {
    struct Case {
        std::string_view header;
        std::string_view subtype;
    };
    const Case cases[] = {
        {"Content-Type: text/plain\nContent-Type: text/html\n\n", "html"},
        {"Content-Type: text/plain\nContent-Type: nonsense\n\n", "plain"},
        {"Content-Type: multipart/mixed; boundary=a\nContent-Type: text/plain\n\n", "mixed"},
        {"Content-Type: multipart/mixed\nContent-Type: text/plain\n\n", "plain"},
        {"Content-Type: message/rfc822\nContent-Type: application/x\n\n", "rfc822"},
        {"Content-Type: multipart/mixed; boundary=a\nContent-Type: multipart/related; boundary=b\n\n",
         "related"},
        {"Content-Type: multipart/mixed; boundary=\"\"\nContent-Type: text/plain\n\n", "mixed"},
        {"Content-Type: message/partial\nContent-Types: text/plain\n\n", "partial"},
        {"Subject: x\n\n", ""},
    };
    for (const Case& c : cases) {
        const HeaderSpan header = scanHeader(c.header, 0, c.header.size(), {});
        EXPECT_EQ(governingContentType(c.header, header).subtype, c.subtype) << c.header;
    }
}

TEST(ContentTypeReader, KnowsEncodedBodies) {
    for (const std::string_view encoded :
         {"base64", " BASE64\r\n", "Quoted-Printable", "x-uuencode (c)", "base64\r\n x"}) {
        const std::string text = "Content-Transfer-Encoding:" + std::string(encoded) + "\n\n";
        EXPECT_TRUE(isTransferEncoded(text, scanHeader(text, 0, text.size(), {}))) << encoded;
    }
    for (const std::string_view plain : {"7bit", "8bit", "binary", "", "base", "base64x"}) {
        const std::string text = "Content-Transfer-Encoding: " + std::string(plain) + "\n\n";
        EXPECT_FALSE(isTransferEncoded(text, scanHeader(text, 0, text.size(), {}))) << plain;
    }
}

} // namespace

} // namespace quzo::platform::test
