// Conditions over whole messages: what each kind sees, and how kinds combine.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/host/scan_support.h"

namespace quzo::host {
namespace {

using test::messageOf;
using test::Scan;

bool matches(const std::string& when, platform::MailMessage& msg,
             const std::vector<std::pair<ScanToken, std::string>>& tokens = {}) {
    Scan scan("[[rule]]\nid = 1\nstop = true\nwhen = " + when + "\n");
    for (const auto& [code, value] : tokens) {
        scan.tokens.set(code, value);
    }
    const ScanResult result = scan(msg);
    EXPECT_EQ(result.outcome, Outcome::Unchanged);
    return !result.rules.empty();
}

struct Case {
    const char* when;
    bool holds;
};

const char kPlain[] =
    "From: A <a@a.example>\r\n"
    "Subject: =?utf-8?Q?Gr=C3=BC=C3=9Fe?=\r\n"
    "X-Twice: one\r\n"
    "X-Twice: two\r\n"
    "X-Folded: a\r\n b\r\n"
    "X-Raw: caf\xe9\r\n"
    "Content-Type: text/plain; charset=iso-8859-1\r\n"
    "Content-Transfer-Encoding: quoted-printable\r\n"
    "\r\n"
    "The stra=DFe is clo=\r\nsed.\r\n";

class PlainMessage : public testing::TestWithParam<Case> {};

TEST_P(PlainMessage, Holds) {
    const auto msg = messageOf(kPlain, "Boss@Example.com", {"x@b.example", "y@c.example"});
    EXPECT_EQ(matches(GetParam().when, *msg), GetParam().holds) << GetParam().when;
}

INSTANTIATE_TEST_SUITE_P(
    All, PlainMessage,
    testing::Values(
        Case{"{ always = true }", true}, Case{"{ always = false }", false},
        Case{"{ sender = '*@example.com' }", true}, Case{"{ sender = ['x', 'boss@*'] }", true},
        Case{"{ sender = '<>' }", false}, Case{"{ recipient = '*@c.example' }", true},
        Case{"{ recipient = '*@d.example' }", false}, Case{"{ every_recipient = '*@c.example' }", false},
        Case{"{ every_recipient = ['*@c.example', '*@b.example'] }", true},
        // All must hold; combinations nest.
        Case{"{ sender = 'boss@*', recipient = 'z*' }", false},
        Case{"{ any = [{ sender = 'z*' }, { recipient = 'y*' }] }", true},
        Case{"{ any = [{ sender = 'z*' }, { recipient = 'z*' }] }", false},
        Case{"{ all = [{ sender = 'b*' }, { not = { recipient = 'z*' } }] }", true},
        Case{"{ not = { sender = 'b*', recipient = 'z*' } }", true},
        Case{"{ not = [{ sender = 'z*' }, { recipient = 'y*' }] }", false},
        // Decoded headers; any field of the name, in any case.
        Case{"{ subject = '^Gr\xc3\xbc\xc3\x9f.$' }", true}, Case{"{ subject = '^gr' }", false},
        Case{"{ subject = '(?i)^gr' }", true}, Case{"{ subject = ['x', 'e$'] }", true},
        Case{"{ header = { x-twice = '^two$' } }", true}, Case{"{ header = { X-Twice = 'three' } }", false},
        Case{"{ header = { X-Twice = 'one', X-Folded = '^a b$' } }", true},
        Case{"{ header = { X-Twice = 'one', X-None = '' } }", false},
        Case{"{ header = { X-None = '' } }", false}, Case{"{ header = { X-Raw = '^caf.$' } }", true},
        // Decoded bodies, unanchored.
        Case{"{ body = 'stra\xc3\x9f"
             "e is closed' }",
             true},
        Case{"{ body = '^is' }", false}, Case{"{ content_type = 'text/plain' }", true},
        Case{"{ content_type = 'plain' }", true}, Case{"{ content_type = 'TEXT/*' }", true},
        Case{"{ content_type = 'text' }", false}, Case{"{ attachment = '*' }", false},
        Case{"{ signed = true }", false}, Case{"{ signed = false }", true},
        Case{"{ encrypted = false }", true}, Case{"{ size_over = 100 }", true},
        Case{"{ size_over = '1K' }", false}, Case{"{ size_under = '1K' }", true},
        Case{"{ size_under = 0 }", false}, Case{"{ token = { SENDER = '^Boss@Example.com$' } }", true},
        Case{"{ token = { RCPTS = '^x@b.example;y@c.example$' } }", true},
        Case{"{ token = { PROTOCOL = 'FILE' } }", true}, Case{"{ token = { VIRUSNAME = '' } }", false}));

TEST(Conditions, SizeLimitsAreStrict) {
    const auto msg = messageOf(std::string("A: b\n\n") + std::string(94, 'x'));
    EXPECT_FALSE(matches("{ size_over = 100 }", *msg));
    EXPECT_FALSE(matches("{ size_under = 100 }", *msg));
    EXPECT_TRUE(matches("{ size_over = 99, size_under = 101 }", *msg));
}

TEST(Conditions, EnvelopeMayBeEmpty) {
    const auto msg = messageOf("A: b\n\nc\n", "", {});
    EXPECT_TRUE(matches("{ sender = '<>' }", *msg));
    EXPECT_TRUE(matches("{ sender = '' }", *msg));
    EXPECT_FALSE(matches("{ recipient = '*' }", *msg));
    EXPECT_FALSE(matches("{ every_recipient = '*' }", *msg));
}

TEST(Conditions, SeeTokensOfOthers) {
    const auto msg = messageOf("A: b\n\nc\n");
    EXPECT_TRUE(matches("{ token = { VirusName = 'EICAR' } }", *msg, {{ScanToken::VirusName, "EICAR-Test"}}));
    EXPECT_TRUE(matches("{ token = { 7 = '^1' } }", *msg, {{ScanToken::WholeMailFinding, "1"}}));
    EXPECT_FALSE(matches("{ token = { '%VIRUSNAME%' = 'x' } }", *msg));
}

const char kParts[] =
    "Subject: parts\n"
    "Content-Type: multipart/mixed; boundary=b\n"
    "\n"
    "--b\n"
    "Content-Type: text/plain\n"
    "\n"
    "hello\n"
    "--b\n"
    "Content-Type: application/x-msdownload; name=\"harmless.txt\"\n"
    "Content-Disposition: attachment; filename*=utf-8''%C3%84rger.EXE%20.%E2%80%8B%20.%C2%A0\n"
    "Content-Transfer-Encoding: base64\n"
    "\n"
    "TVqQAAMA\n"
    "--b\n"
    "Content-Type: message/rfc822\n"
    "\n"
    "Subject: inner\n"
    "Content-Type: multipart/mixed; boundary=c\n"
    "\n"
    "--c\n"
    "Content-Type: text/html\n"
    "\n"
    "<p>nested words</p>\n"
    "--c\n"
    "Content-Disposition: attachment; filename=\"=?utf-8?B?aW5uZXIuc2Ny?=\"\n"
    "\n"
    "x\n"
    "--c--\n"
    "--b--\n";

class PartsMessage : public testing::TestWithParam<Case> {};

TEST_P(PartsMessage, Holds) {
    const auto msg = messageOf(kParts);
    EXPECT_EQ(matches(GetParam().when, *msg), GetParam().holds) << GetParam().when;
}

INSTANTIATE_TEST_SUITE_P(
    All, PartsMessage,
    testing::Values(
        // Each name counts, without what stands at its end for show, and in attached messages too.
        Case{"{ attachment = '*.exe' }", true}, Case{"{ attachment = '\xc3\xa4rger.exe' }", true},
        Case{"{ attachment = 'harmless.txt' }", true}, Case{"{ attachment = ['*.com', '*.scr'] }", true},
        Case{"{ attachment = '*.zip' }", false}, Case{"{ content_type = 'message/rfc822' }", true},
        Case{"{ content_type = 'msdownload' }", true}, Case{"{ content_type = 'x-msdownload' }", true},
        Case{"{ content_type = 'multipart/signed' }", false}, Case{"{ body = '^hello' }", true},
        Case{"{ body = 'nested words' }", true}, Case{"{ body = 'TVqQ' }", false},
        // Header conditions are about the message itself.
        Case{"{ subject = 'inner' }", false}));

TEST(Conditions, SeeAMegabyteOfEachText) {
    constexpr std::size_t kMegabyte = 1U << 20U;
    const std::string needle = "needle";
    const auto holds = [](const std::string& text) {
        return matches("{ body = 'needle' }", *messageOf("A: b\n\n" + text));
    };
    EXPECT_TRUE(holds(std::string(kMegabyte - needle.size(), '.') + needle));
    EXPECT_FALSE(holds(std::string(kMegabyte - needle.size() + 1, '.') + needle));

    const auto behind = [&](std::size_t parts) {
        std::string text = "Content-Type: multipart/mixed; boundary=b\n\n";
        for (std::size_t i = 0; i < parts; ++i) {
            text.append("--b\n\n").append(kMegabyte + 100, ' ').append("\n");
        }
        return matches("{ body = 'needle' }", *messageOf(text + "--b\n\n" + needle + "\n--b--\n"));
    };
    EXPECT_TRUE(behind(1));
    EXPECT_TRUE(behind(7));
    EXPECT_FALSE(behind(8)); // 8 MiB of all together
}

struct EmbeddedCase {
    const char* message;
    const char* format; // null: none
};

// Each message bears one format, and only the condition for that one holds.
TEST(Conditions, SeeFormatsOfEmbeddedFiles) {
    const EmbeddedCase cases[] = {
        {"A: b\n\nhello\nbegin 644 a.exe\n#86)C\n`\nend\n", "uuencode"},
        {"A: b\n\nbegin-base64 0755 a.exe\nTVo=\n====\n", "uuencode"},
        {"Content-Transfer-Encoding: x-uuencode\n\nbegin 644 a.exe\n#86)C\n`\nend\n", "uuencode"},
        {"Content-Transfer-Encoding: base64\n\naGkKYmVnaW4gNjQ0IGEuZXhlCg==\n", "uuencode"},
        {"Content-Type: text/plain\r\n\r\n=ybegin line=128 size=3 name=a.exe\r\nabc\r\n", "yenc"},
        {"A: b\n\n(This file must be converted with BinHex 4.0)\n\n:abc:\n", "binhex"},
        {"Content-Type: application/mac-binhex40\n\nx\n", "binhex"},
        {"Content-Type: application/vnd.ms-tnef\n\nx\n", "tnef"},
        {"Content-Type: application/octet-stream; name=WINMAIL.dat\n\nx\n", "tnef"},
        {"Content-Type: application/octet-stream\nContent-Transfer-Encoding: base64\n\neJ8+IgAA\n", "tnef"},
        {"A: b\n\nbegin with this\nbegin 12 a\nbegin 999 a\nbegin 644\nnot begin 644 a\n=ybegin x\n",
         nullptr},
    };
    for (const EmbeddedCase& one : cases) {
        const auto msg = messageOf(one.message);
        for (const std::string format : {"uuencode", "tnef", "yenc", "binhex"}) {
            EXPECT_EQ(matches("{ embedded = '" + format + "' }", *msg),
                      one.format != nullptr && format == one.format)
                << one.message << format;
        }
        EXPECT_EQ(matches("{ embedded = ['UUENCODE', 'tnef', 'yenc', 'binhex'] }", *msg),
                  one.format != nullptr);
    }
}

TEST(Conditions, NulHidesNothingInAHeader) {
    using namespace std::string_literals;
    const auto msg = messageOf("Subject: a\0hidden\n\nb\n"s);
    EXPECT_TRUE(matches("{ subject = 'hidden' }", *msg));
}

TEST(Conditions, BrokenWordsHideNothing) {
    const auto msg = messageOf(
        "Subject: =?x-foo?B?aW52b2ljZQ==?= =?utf-8?Q?tax=FF?=\n =?utf-8?Q?free=E4?= f\xE9\xE9 "
        "=?us-ascii?Q?gr=FC=DF?=\n\nb\n");
    EXPECT_TRUE(matches("{ subject = '^invoicetax.free. f\xC3\xA9\xC3\xA9 gr\xC3\xBC\xC3\x9F$' }", *msg));
}

} // namespace
} // namespace quzo::host
