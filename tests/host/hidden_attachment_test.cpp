// What a client shows as a file of a name, conditions find under that name, however the sender writes it. One
// row for each way of writing; the message is the least that shows the file in some client.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/host/scan_support.h"

namespace quzo::host {
namespace {

using namespace std::string_literals;
using test::messageOf;
using test::Scan;

bool matches(const std::string& when, platform::MailMessage& msg) {
    Scan scan("[[rule]]\nid = 1\nstop = true\nwhen = " + when + "\n");
    const ScanResult result = scan(msg);
    EXPECT_EQ(result.outcome, Outcome::Unchanged);
    return !result.rules.empty();
}

std::string base64(const std::string& text) {
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (std::size_t at = 0; at < text.size(); at += 3) {
        std::uint32_t bits = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            bits = bits << 8U | (at + i < text.size() ? static_cast<unsigned char>(text[at + i]) : 0U);
        }
        for (std::size_t i = 0; i < 4; ++i) {
            out += at + i <= text.size() ? kDigits[bits >> (18 - 6 * i) & 63U] : '=';
        }
        out += (at / 3) % 19 == 18 ? "\r\n" : "";
    }
    return out + "\r\n";
}

std::string quotedPrintable(const std::string& text) {
    std::string out;
    for (const char c : text) {
        out += c == '=' ? "=3D" : c == '.' ? "=2E" : std::string(1, c);
    }
    return out;
}

// A multipart whose second part is `part`, header and body.
std::string mixed(const std::string& part, const std::string& boundary = "o") {
    return "Content-Type: multipart/mixed; boundary=\"" + boundary + "\"\r\n\r\n--" + boundary +
           "\r\n\r\nhello\r\n--" + boundary + "\r\n" + part + "\r\n--" + boundary + "--\r\n";
}

const std::string kFile =
    "Content-Type: application/x-evil\r\nContent-Disposition: attachment; filename=a.exe\r\n\r\nMZ\r\n";
const std::string kInner = "Subject: inner\r\n" + mixed(kFile, "i");
// A text part without header, then the file, behind boundary lines as they are given.
std::string parts(const std::string& delimiter, const std::string& close) {
    return delimiter + "\r\n\r\nhello\r\n" + delimiter + "\r\n" + kFile + close + "\r\n";
}
std::string multipartOf(const std::string& parameters) {
    return "Content-Type: multipart/mixed" + parameters + "\r\n\r\n";
}
std::string encoded(const std::string& encoding, const std::string& body) {
    return "Content-Type: message/rfc822\r\nContent-Transfer-Encoding: " + encoding + "\r\n\r\n" + body;
}
std::string disposition(const std::string& value) {
    return mixed("Content-Type: application/octet-stream\r\nContent-Disposition: " + value +
                 "\r\n\r\nMZ\r\n");
}
std::string loneReturns(const std::string& text) {
    std::string out;
    for (const char c : text) {
        out.append(c == '\n' ? 0 : 1, c);
    }
    return out;
}

struct Hidden {
    const char* name;
    std::string message;
    const char* when = "{ attachment = ['*.exe'] }";
};

void PrintTo(const Hidden& hidden, std::ostream* out) { *out << hidden.name; }

const std::vector<Hidden>& hidden() {
    static const std::vector<Hidden> rows = {
        // Attached messages in an encoding
        {"Base64Message", mixed(encoded("base64", base64(kInner)))},
        {"QuotedPrintableMessage", mixed(encoded("quoted-printable", quotedPrintable(kInner)))},
        {"EncodedMessageAsRoot", encoded("base64", base64(kInner))},
        {"EncodedTwice", mixed(encoded("base64", base64(mixed(encoded("base64", base64(kInner)), "m"))))},
        {"EncodedGlobalMessage",
         "Content-Type: message/global\r\nContent-Transfer-Encoding: base64\r\n\r\n" + base64(kInner)},
        {"EncodingBehindAComment", mixed(encoded("(x) base64", base64(kInner)))},
        {"EncodedMessageOfADigest",
         "Content-Type: multipart/digest; boundary=o\r\n\r\n--o\r\nContent-Transfer-Encoding: "
         "base64\r\n\r\n" +
             base64(kInner) + "--o--\r\n"},
        {"EncodedMultipart",
         "Content-Type: multipart/mixed; boundary=i\r\nContent-Transfer-Encoding: base64\r\n\r\n" +
             base64(parts("--i", "--i--"))},
        {"TypeInEncodedMessage", mixed(encoded("base64", base64(kInner))),
         "{ content_type = 'application/x-evil' }"},
        {"TextInEncodedMessage", mixed(encoded("base64", base64("Subject: x\r\n\r\nneedle\r\n"))),
         "{ body = 'needle' }"},

        // Fields that contradict each other
        {"SecondTypeIsMessage",
         mixed("Content-Type: text/plain\r\nContent-Type: message/rfc822\r\n\r\n" + kInner)},
        {"FirstTypeIsMessage",
         mixed("Content-Type: message/rfc822\r\nContent-Type: text/plain\r\n\r\n" + kInner)},
        {"FirstEncodingPlain", mixed("Content-Type: message/rfc822\r\nContent-Transfer-Encoding: 7bit\r\n"
                                     "Content-Transfer-Encoding: base64\r\n\r\n" +
                                     base64(kInner))},
        {"SecondEncodingPlain", mixed("Content-Type: message/rfc822\r\nContent-Transfer-Encoding: base64\r\n"
                                      "Content-Transfer-Encoding: 7bit\r\n\r\n" +
                                      kInner)},
        {"OtherBoundaryComesSecond",
         "Content-Type: multipart/mixed; boundary=a\r\nContent-Type: multipart/mixed; "
         "boundary=b\r\n\r\n--b\r\n\r\nx\r\n" +
             parts("--a", "--a--")},
        {"FirstTypeMultipartSecondMessage",
         "Content-Type: multipart/mixed; boundary=a\r\nContent-Type: message/rfc822\r\n\r\n" +
             parts("--a", "--a--")},
        {"HarmlessFirstType",
         mixed("Content-Type: text/plain\r\nContent-Type: application/x-evil\r\n\r\nMZ\r\n"),
         "{ content_type = 'application/x-evil' }"},
        {"HarmlessLastType",
         mixed("Content-Type: application/x-evil\r\nContent-Type: text/plain\r\n\r\nMZ\r\n"),
         "{ content_type = 'application/x-evil' }"},
        {"TextByTheOtherType", mixed("Content-Type: text/plain\r\nContent-Type: image/png\r\n\r\nneedle\r\n"),
         "{ body = 'needle' }"},
        {"TextInTheOtherEncoding",
         "Content-Transfer-Encoding: 7bit\r\nContent-Transfer-Encoding: base64\r\n\r\n" + base64("needle"),
         "{ body = 'needle' }"},
        {"TextInTheFirstEncoding",
         "Content-Transfer-Encoding: base64\r\nContent-Transfer-Encoding: 7bit\r\n\r\n" + base64("needle"),
         "{ body = 'needle' }"},
        {"TextInTheOtherCharset",
         "Content-Type: text/plain; charset=utf-16le\r\nContent-Type: text/plain; "
         "charset=us-ascii\r\n\r\nneedle",
         "{ body = 'needle' }"},

        // Names
        {"OpenComment", disposition("attachment (oops; filename=\"a.exe\"")},
        {"NameInAComment", disposition("attachment (oops; filename=\"a.exe\")")},
        {"OpenQuoteBefore", disposition("attachment; x=\"; filename=\"a.exe\"")},
        {"NameWithoutType", disposition("filename=\"a.exe\"")},
        {"TypeFieldWithoutType", mixed("Content-Type: name=\"a.exe\"\r\n\r\nMZ\r\n")},
        {"SemicolonForgotten", disposition("attachment filename=\"a.exe\"")},
        {"EncodedWordInTwoSections",
         disposition("attachment; filename*0=\"=?utf-8?B?YS5l\";\r\n filename*1=\"eGU=?=\"")},
        {"EncodedWordInPercents", disposition("attachment; filename*=utf-8''=%3Futf-8%3FB%3FYS5leGU%3D%3F=")},
        {"NulInTheName", disposition("attachment; filename=\"a.exe\0.txt\""s)},
        {"NulBeforeTheDot", disposition("attachment; filename=\"a\0.exe\""s)},
        {"NulInPercents", disposition("attachment; filename*=utf-8''a.exe%00.txt")},
        {"NulInAnEncodedWord", disposition("attachment; filename=\"=?utf-8?Q?a=2Eexe=00=2Etxt?=\"")},

        // Boundaries
        {"EmptyBoundary", multipartOf("; boundary=\"\"") + parts("--", "----")},
        {"BoundaryWithComment", multipartOf("; boundary=b(c)") + parts("--b", "--b--")},
        {"BoundaryThatLooksCommented", multipartOf("; boundary=b(c)") + parts("--b(c)", "--b(c)--")},
        {"BoundaryInAnOpenComment", multipartOf(" (oops; boundary=b") + parts("--b", "--b--")},
        {"BoundaryWithTrailingBlank", multipartOf("; boundary=\"b \"") + parts("--b ", "--b --")},
        {"BoundaryThatDiffersInABlank",
         multipartOf("; boundary=\"b \"") + "--b \r\n\r\nhello\r\n--b--\r\n" + parts("--b ", "--b --")},
        {"BoundaryWithBackslash", multipartOf("; boundary=\"a\\b\"") + parts("--a\\b", "--a\\b--")},
        {"BoundaryWithQuotedPair", multipartOf("; boundary=\"a\\b\"") + parts("--ab", "--ab--")},
        {"BoundaryInMixedSections",
         multipartOf("; boundary*0=a%62; boundary*1*=%63") + parts("--abc", "--abc--")},
        {"BoundaryInSectionsAsWritten",
         multipartOf("; boundary*0*=''a%62; boundary*1=c") + parts("--''a%62c", "--''a%62c--")},
        {"BoundaryInSectionsAndPlain",
         multipartOf("; boundary*0=x; boundary*1=y; boundary=b") + parts("--b", "--b--")},
        {"SecondBoundaryOfOneField", multipartOf("; boundary=a; boundary=b") + parts("--b", "--b--")},
        {"DecoyForTheFirstBoundary",
         multipartOf("; boundary=a; boundary=b") + "--a\r\n\r\nx\r\n--a--\r\n" + parts("--b", "--b--")},

        // Messages in pieces or outside
        {"PartialMessage",
         mixed("Content-Type: message/partial; id=x; number=1; total=2\r\n\r\nSubject: x\r\n" + kFile)},
        {"ExternalBody", mixed("Content-Type: message/external-body; access-type=URL\r\n\r\n" + kFile)},
        {"ExternalBodyByItsName",
         mixed("Content-Type: message/external-body; access-type=local-file; name=\"a.exe\"\r\n\r\n")},

        // Lone carriage returns
        {"LoneReturns", loneReturns("Subject: x\r\n" + mixed(kFile))},
        {"LoneReturnsInAPart", mixed(loneReturns(mixed(kFile, "i")))},
        {"LoneReturnsInAnEncodedMessage", mixed(encoded("base64", base64(loneReturns(kInner))))},
    };
    return rows;
}

class HiddenAttachment : public testing::TestWithParam<Hidden> {};

TEST_P(HiddenAttachment, IsFound) {
    const auto msg = messageOf(GetParam().message);
    EXPECT_TRUE(matches(GetParam().when, *msg));
    EXPECT_FALSE(matches("{ attachment = ['*.scr'] }", *msg));
}

INSTANTIATE_TEST_SUITE_P(Constructs, HiddenAttachment, testing::ValuesIn(hidden()),
                         [](const auto& one) { return std::string(one.param.name); });

// What was found inside of an encoded message marks that message, once, and names the files; the rest of the
// message is marked only for what no part of it shows by itself.
TEST(HiddenAttachments, MarkThePartInWhichTheyLie) {
    const std::string inner =
        "Content-Type: multipart/mixed; boundary=i\r\n\r\n--i\r\nContent-Disposition: "
        "attachment; filename=a.exe\r\n\r\nMZ\r\n--i\r\nContent-Disposition: attachment; "
        "filename=b.exe\r\n\r\nMZ\r\n--i--\r\n";
    const auto msg = messageOf("Subject: x\r\n" +
                               mixed(encoded("base64", base64(inner)) + "--o\r\n" +
                                     "Content-Disposition: attachment; filename=c.exe\r\n\r\nM\rZ\r\n"));
    Scan scan(
        "[[rule]]\nid = 1\nwhen = { attachment = '*.exe' }\nactions = [{ type = 'tag-subject', tag = "
        "'[%FILENAME%|%ENTITY%|%ATTACH_COUNT%] ' }]\n");
    EXPECT_EQ(scan(*msg).outcome, Outcome::Modified);
    EXPECT_THAT(test::textOf(*msg), testing::HasSubstr("Subject: [a.exe; b.exe; c.exe|2; 3|2] x\r\n"));
}

} // namespace
} // namespace quzo::host
