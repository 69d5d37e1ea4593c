// Stamps in plain text: where they go, in which charset and encoding, against the bytes that they must give.
#include <gtest/gtest.h>

#include "stamp_support.h"

namespace quzo::platform::test {
namespace {

TEST(Stamp, InPlainText) {
    const std::string plain = "text/plain; charset=utf-8";
    expectRows({
        {"behind", text(plain, "body\n"), "S", {}, text(plain, "body\nS\n")},
        {"before", text(plain, "body\n"), "S", kFirst, text(plain, "S\nbody\n")},
        {"no final line end", text(plain, "body"), "S", {}, text(plain, "body\nS")},
        {"empty", text(plain, ""), "S\r\n", {}, text(plain, "S\n")},
        {"line ends of the message", "A: b\r\n\r\nx\r\n", "S\n\nT", kAny, "A: b\r\n\r\nx\r\nS\r\n\r\nT\r\n"},
        {"no Content-Type", "A: b\n\nx\n", "S\n", {}, "A: b\n\nx\nS\n"},
        {"behind a byte order mark", text(plain, "\xEF\xBB\xBFx\n", "8bit"), "S", kFirst,
         text(plain, "\xEF\xBB\xBFS\nx\n", "8bit")},
        {"quoted-printable stays as it is",
         text(plain, "a=20\n=c3=a9 long=\n line\n", "quoted-printable"),
         "\u00E9",
         {},
         text(plain, "a=20\n=c3=a9 long=\n line\n=C3=A9\n", "quoted-printable")},
        {"its soft end",
         text(plain, "a=", "quoted-printable"),
         "S",
         {},
         text(plain, "a=\n\nS", "quoted-printable")},
        {"base64", text(plain, "YQ==\n", "base64"), "S", {}, text(plain, "YQ0KUw==\n", "base64")},
        {"base64, CRLF in it", text(plain, "YQ0K\n", "base64"), "S", {}, text(plain, "YQ0KUw0K\n", "base64")},
        {"base64, LF in it", text(plain, "YQo=\n", "base64"), "S", {}, text(plain, "YQpTCg==\n", "base64")},
        {"base64 without padding", text(plain, "YQ", "base64"), "S", {}, text(plain, "YQ0KUw==\n", "base64")},
        {"a list's lines behind base64",
         text(plain, "YQ==\n_____\nlist\n", "base64"),
         "S",
         {},
         text(plain, "YQ0KUw==\n\n_____\nlist\n", "base64")},
        {"7bit must carry 8-bit text",
         text(plain, "a=b\n"),
         "\u00E9",
         {},
         text(plain + "\nContent-Transfer-Encoding: quoted-printable", "a=3Db\n=C3=A9\n")},
        {"a line that is too long",
         text(plain, "x\n", "7bit"),
         std::string(999, 'y'),
         {},
         text(
             plain,
             "x\n" +
                 [] {
                     std::string lines;
                     for (int i = 0; i < 13; ++i) {
                         lines += std::string(75, 'y') + "=\n";
                     }
                     return lines;
                 }() +
                 std::string(24, 'y') + "\n",
             "quoted-printable")},
        {"a checksum of the former body goes",
         "Content-MD5: x\nContent-Type: text/plain\n\nb\n",
         "S",
         {},
         "Content-Type: text/plain\n\nb\nS\n"},
    });
}

TEST(Stamp, FlowedText) {
    const std::string flowed = "text/plain; format=flowed; delsp=yes";
    expectRows({
        {"nothing flows into it", text(flowed, "a \nb  \n"), "S ", {}, text(flowed, "a \nb\nS\n")},
        {"nor out of it", text(flowed, "b\n"), "S  \nT ", kFirst, text(flowed, "S\nT\nb\n")},
        {"the mark of a signature stays", text(flowed, "b\n-- \n"), "S", {}, text(flowed, "b\n-- \nS\n")},
        {"lines are stuffed",
         text(flowed, "b\n"),
         "> q\n x\nFrom here",
         {},
         text(flowed, "b\n > q\n  x\n From here\n")},
        {"encoded",
         text(flowed, "b=20\n", "quoted-printable"),
         "S",
         {},
         text(flowed, "b\nS\n", "quoted-printable")},
        {"not flowed", text("text/plain", "a \n"), "S ", {}, text("text/plain", "a \nS \n")},
    });
}

TEST(Stamp, CharsetLadder) {
    const std::string latin = "text/plain; charset=iso-8859-1";
    const std::string utf8 = "text/plain; charset=utf-8";
    constexpr Ask kLatin{2, "iso-8859-1", false};
    constexpr Ask kCyrillic{2, "koi8-r", false};
    expectRows({
        {"ASCII changes nothing", text(latin, "\xE9\n", "8bit"), "S", {}, text(latin, "\xE9\nS\n", "8bit")},
        {"nor where nobody knows the charset",
         text("text/plain; charset=x-y", "\xE9\n", "8bit"),
         "S",
         {},
         text("text/plain; charset=x-y", "\xE9\nS\n", "8bit")},
        {"what was asked for",
         text(latin, "\xE9\n", "8bit"),
         "\u0416",
         {},
         text(utf8, "\u00E9\n\u0416\n", "8bit")},
        {"if it carries both", text(latin, "\xE9\n", "8bit"), "\u00FC", kCyrillic,
         text(latin, "\xE9\n\xFC\n", "8bit")},
        {"its own", text(latin, "\xE9\n", "8bit"), "\u00FC", kAny, text(latin, "\xE9\n\xFC\n", "8bit")},
        {"else utf-8", text(latin, "\xE9\n", "8bit"), "\u0416", kCyrillic,
         text(utf8, "\u00E9\n\u0416\n", "8bit")},
        {"ASCII text takes any", text("text/plain", "a\n", "8bit"), "\u00FC", kLatin,
         text("text/plain; charset=iso-8859-1", "a\n\xFC\n", "8bit")},
        {"windows-1252 under the other name",
         text(latin, "\x93q\x94\n", "8bit"),
         "\u0416",
         {},
         text(utf8, "\u201Cq\u201D\n\u0416\n", "8bit")},
        {"unlabelled utf-8 is that",
         text("text/plain", "\u00E9\n", "8bit"),
         "\u0416",
         {},
         text(utf8, "\u00E9\n\u0416\n", "8bit")},
        {"stateful, in ASCII",
         text("text/plain; charset=iso-2022-jp", "\x1B$B$\"\x1B(B\n"),
         "S",
         {},
         text("text/plain; charset=iso-2022-jp", "\x1B$B$\"\x1B(B\nS\n")},
        {"stateful, in its own", text("text/plain; charset=iso-2022-jp", "a\n"), "\u3042", kAny,
         text("text/plain; charset=iso-2022-jp", "a\n\x1B$B$\"\x1B(B\n")},
        {"utf-16 in base64", text("text/plain; charset=utf-16be", "AGE=\n", "base64"), "S", kAny,
         text("text/plain; charset=utf-16be", "AGEADQAKAFM=\n", "base64")},
        {"the charset's name among parameters",
         text("text/plain; format=fixed;\n charset=\"iso-8859-1\"; x=y", "\xE9\n", "8bit"),
         "\u0416",
         {},
         text("text/plain; format=fixed;\n charset=utf-8; x=y", "\u00E9\n\u0416\n", "8bit")},
        {"nobody can read it: a part of its own",
         text("text/plain", "\xE9\n", "8bit"),
         "\u0416",
         {},
         "Subject: s\nMIME-Version: 1.0\nContent-Type: multipart/mixed; "
         "boundary=\"NEW\"\n\n--NEW\nContent-Type: "
         "text/plain\nContent-Transfer-Encoding: 8bit\n\n\xE9\n\n--NEW\nContent-Type: text/plain; "
         "charset=utf-8\nContent-Transfer-Encoding: base64\nContent-Disposition: "
         "inline\n\n0JY=\n\n--NEW--\n"},
    });
}

} // namespace
} // namespace quzo::platform::test
