// Stamps in messages of every shape, each against the bytes that it must give.
#include <gtest/gtest.h>

#include "quzo/core/error_text.h"
#include "quzo/core/handles.h"
#include "quzo/settings/stamp_forms.h"
#include "tests/message/messages.h"

namespace quzo::platform::test {
namespace {

struct Ask {
    int position = 2;
    const char* charset = "utf-8";
    bool once = false;
};

int stamp(MailMessage& message, const std::string& text, const Ask& ask = {}) {
    const LocatorHandle locator(KvMsg_CreateResourceLocator(text.data(), 1, text.size(), text.size(), 1));
    message.setStampOnce(ask.once);
    return message.insertStamp(ask.position, locator.get(), 20, "utf-8", ask.charset);
}

// With our own boundary as "NEW".
std::string stamped(const std::string& bytes, const std::string& text, const Ask& ask = {}) {
    const auto message = parsed(bytes);
    EXPECT_EQ(stamp(*message, text, ask), kErrorNone);
    std::string out = written(*message);
    const std::size_t first = out.find("=_");
    if (first != std::string::npos) {
        const std::string boundary = out.substr(first, out.find('"', first) - first);
        for (std::size_t at = first; at != std::string::npos; at = out.find(boundary, at)) {
            out.replace(at, boundary.size(), "NEW");
        }
    }
    return out;
}

constexpr Ask kFirst{1, "utf-8", false};
constexpr Ask kAny{2, nullptr, false};

std::string text(const std::string& type, const std::string& body, const std::string& encoding = "") {
    return "Subject: s\nMIME-Version: 1.0\nContent-Type: " + type + "\n" +
           (encoding.empty() ? "" : "Content-Transfer-Encoding: " + encoding + "\n") + "\n" + body;
}

struct Row {
    const char* what;
    std::string bytes;
    std::string stamp;
    Ask ask;
    std::string wanted;
};

void expectRows(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(stamped(row.bytes, row.stamp, row.ask), row.wanted);
    }
}

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

TEST(Stamp, InHtml) {
    const std::string html = "text/html; charset=utf-8";
    const std::string latin = "text/html; charset=iso-8859-1";
    const std::string forms = joinStampForms({"text", "<b>html</b>\nline"});
    const auto body = [](const std::string& inner) { return "<html><body>" + inner + "</body></html>\n"; };
    expectRows({
        {"before the end of the body",
         text(html, body("x")),
         "S",
         {},
         text(html, "<html><body>x\n<div>S</div>\n</body></html>\n")},
        {"behind its beginning", text(html, body("x")), "S", kFirst,
         text(html, "<html><body>\n<div>S</div>\nx</body></html>\n")},
        {"escaped",
         text(html, body("\n")),
         "<a href=\"x\"> & 'q'\nT",
         {},
         text(html, body("\n<div>&lt;a href=&quot;x&quot;&gt; &amp; &#39;q&#39;<br />\nT</div>\n"))},
        {"paragraphs and addresses",
         text(html, body("\n")),
         "see www.a.example.\n\nor x@b.example",
         {},
         text(html, body("\n<div><p>see <a\nhref=\"https://www.a.example\"\n>www.a.example</a>.</p>\n<p>or "
                         "<a\nhref=\"mailto:x@b.example\"\n>x@b.example</a></p></div>\n"))},
        {"a form of its own",
         text(html, body("\n")),
         forms,
         {},
         text(html, body("\n<div><b>html</b>\nline</div>\n"))},
        {"which text does not get", text("text/plain", "x\n"), forms, {}, text("text/plain", "x\ntext\n")},
        {"what the charset lacks",
         text(latin, body("\n"), "8bit"),
         "\u00E9\u0416",
         {},
         text(latin, body("\n<div>\xE9&#1046;</div>\n"), "8bit")},
        {"7bit stays", text(latin, body("\n")), "\u00E9", {}, text(latin, body("\n<div>&#233;</div>\n"))},
        {"two charsets claimed",
         text(html, "<meta charset=latin1><p>\n", "8bit"),
         "\u00E9",
         {},
         text(html, "<meta charset=latin1><p>\n<div>&#233;</div>\n", "8bit")},
        {"quoted-printable in the middle",
         text(html, body("a=C3=\n=A9 "), "quoted-printable"),
         "\u00E9",
         {},
         text(html, "<html><body>a=C3=\n=A9 =\n\n<div>=C3=A9</div>\n</body></html>\n", "quoted-printable")},
        {"utf-16", text("text/html; charset=utf-16be", "ADwAcAA+\n", "base64"), "S", kAny,
         text("text/html; charset=utf-16be", "ADwAcAA+AA0ACgA8AGQAaQB2AD4AUwA8AC8AZABpAHYAPg==\n", "base64")},
    });
}

TEST(Stamp, PlacesInHtml) {
    const std::string html = "text/html; charset=utf-8";
    // "|" is where the stamp goes, which gets lines of its own there.
    const struct {
        const char* what;
        std::string behind, before;
    } rows[] = {
        {"no body tag", "<p>a</p>\n|", "|<p>a</p>\n"},
        {"a head", "<html><head><title>t</title></head><p>a|</html>",
         "<html><head><title>t</title></head>|<p>a</html>"},
        {"a doctype and a meta tag", "<!DOCTYPE html>\n<meta a=b>x|", "<!DOCTYPE html>\n<meta a=b>|x"},
        {"the last of two", "<body>a</body><body>b|</body>", "<body>|a</body><body>b</body>"},
        {"not in a comment", "<body>a<!-- </body> -->|", "<body>|a<!-- </body> -->"},
        {"nor a script", "<body>a<script>'</body>'</script>|</BODY >",
         "<body>|a<script>'</body>'</script></BODY >"},
        {"nor an attribute", "<body title='>'>a<i t=\"</body>\">|", "<body title='>'>|a<i t=\"</body>\">"},
        {"before what is never closed", "<body>a|<!-- </body>", "<body>|a<!-- </body>"},
        {"the same of a tag", "<body>a|<i t=\"</body>", "<body>|a<i t=\"</body>"},
        {"and of a style", "<body>a|<style></body>", "<body>|a<style></body>"},
        {"empty comments", "<body>a<!--><!--->|</body>", "<body>|a<!--><!---></body>"},
        {"a comment that ends oddly", "<body><!-- </body> --!>a|</body>", "<body>|<!-- </body> --!>a</body>"},
        {"XHTML", "<?xml version='1.0'?><html><head><title/></head><body>a|</body></html>",
         "<?xml version='1.0'?><html><head><title/></head><body>|a</body></html>"},
        {"frames with a body", "<frameset><noframes><body>a|</body></noframes></frameset>",
         "<frameset><noframes><body>|a</body></noframes></frameset>"},
        {"what looks like a tag", "a < b <1 <body>x|</body>", "a < b <1 <body>|x</body>"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        for (const int position : {2, 1}) {
            std::string bytes = position == 2 ? row.behind : row.before;
            std::string wanted = bytes;
            const std::size_t mark = bytes.find('|');
            bytes.erase(mark, 1);
            const bool atLine = mark == 0 || wanted[mark - 1] == '\n';
            const bool last = mark == bytes.size();
            const bool endsLine = last ? bytes.ends_with('\n') : bytes[mark] != '\n';
            wanted.replace(mark, 1,
                           std::string(atLine ? "" : "\n") + "<div>S</div>" + (endsLine ? "\n" : ""));
            EXPECT_EQ(stamped(text(html, bytes), "S", {position}), text(html, wanted));
        }
    }
}

const std::string kHead = "Subject: s\nMIME-Version: 1.0\n";

std::string multi(const std::string& type, const std::string& boundary,
                  const std::vector<std::string>& parts) {
    std::string out = "Content-Type: multipart/" + type + "; boundary=" + boundary + "\n\n";
    for (const std::string& part : parts) {
        out.append("--").append(boundary).append("\n").append(part).append("\n");
    }
    return out + "--" + boundary + "--\n";
}

// "S" stands for the stamp where it must come.
TEST(Stamp, InWhichParts) {
    const std::string plain = "\nt\n%", html = "Content-Type: text/html\n\nh\n#",
                      image = "Content-Type: image/png\n\ni";
    const std::string own =
        "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: 7bit\n"
        "Content-Disposition: inline\n\nS";
    const std::string attached = "Content-Disposition: attachment\n\nt";
    const std::string message = "Content-Type: message/rfc822\n\nA: b\n\nt";
    const struct {
        const char* what;
        std::string wanted; // with % and # where text and HTML get theirs
    } rows[] = {
        {"alternatives", multi("alternative", "a", {plain, html})},
        {"in mixed", multi("mixed", "m", {multi("alternative", "a", {plain, html}), image, "\nfooter"})},
        {"related in alternative", multi("alternative", "a", {plain, multi("related", "r", {html, image})})},
        {"alternative in related in mixed",
         multi("mixed", "m",
               {multi("related", "r", {multi("alternative", "a", {plain, html}), image}), attached})},
        {"the start of a related part",
         multi("related; start=\"<x>\"", "r", {"\nnot me", "Content-ID: <x>\n" + html})},
        {"mixed in alternative",
         multi("alternative", "a",
               {plain, multi("mixed", "m", {html, image, "Content-Type: text/html\n\nno"})})},
        {"a calendar",
         multi("alternative", "a", {plain, html, "Content-Type: text/calendar\n\nBEGIN:VCALENDAR"})},
        {"an attachment first", multi("mixed", "m", {attached, plain})},
        {"a report", multi("report; report-type=delivery-status", "m",
                           {plain, "Content-Type: message/delivery-status\n\nA: b", message})},
        {"forwarded", multi("mixed", "m", {plain, message})},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        std::string before = kHead + row.wanted, after = before;
        for (std::size_t at; (at = before.find_first_of("%#")) != std::string::npos;) {
            before.erase(at - 1, 2);
        }
        for (std::size_t at; (at = after.find_first_of("%#")) != std::string::npos;) {
            after.replace(at, 1, after[at] == '%' ? "S" : "<div>S</div>");
        }
        EXPECT_EQ(stamped(before, "S"), after);
    }
    const auto mixed = [&](const std::vector<std::string>& parts) {
        std::string out = multi("mixed", "m", parts);
        return kHead + out;
    };
    EXPECT_EQ(stamped(mixed({image, message}), "S"), mixed({image, message, own}));
    EXPECT_EQ(stamped(mixed({image}), "S", kFirst), mixed({own, image}));
    EXPECT_EQ(
        stamped(mixed({multi("signed", "s", {"\nt", "Content-Type: application/pgp-signature\n\nx"}), image}),
                "S"),
        mixed({multi("signed", "s", {"\nt", "Content-Type: application/pgp-signature\n\nx"}), own, image}));
}

TEST(Stamp, AroundWhatMustNotChange) {
    const std::string own =
        "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: 7bit\n"
        "Content-Disposition: inline\n\nS\n";
    const std::string bodies[] = {
        "Content-Type: application/pkcs7-mime; smime-type=enveloped-data\n\nMIIB\n",
        multi("signed", "s", {"\nt", "Content-Type: application/pgp-signature\n\nx"}),
        multi("encrypted", "e", {"Content-Type: application/pgp-encrypted\n\nVersion: 1", "\nx"}),
        "Content-Type: text/plain\n\n-----BEGIN PGP SIGNED MESSAGE-----\n\nt\n",
        "Content-Type: image/png\nContent-Transfer-Encoding: base64\n\niVBO\n",
        "Content-Type: text/calendar\n\nBEGIN:VCALENDAR\n",
        "Content-Type: text/plain\nContent-Transfer-Encoding: x-odd\n\nt\n",
        "Content-Type: text/plain\nContent-Transfer-Encoding: base64\n\nthis is no base64\n",
    };
    for (const std::string& body : bodies) {
        SCOPED_TRACE(body);
        // The message's own fields, then the two parts.
        const auto wrapped = [](const std::string& first, const std::string& second) {
            std::string out = kHead + "Content-Type: multipart/mixed; boundary=\"NEW\"\n\n--NEW\n";
            return out.append(first).append("--NEW\n").append(second).append("--NEW--\n");
        };
        std::string bytes = kHead;
        bytes += body;
        std::string whole = body;
        whole += '\n';
        EXPECT_EQ(stamped(bytes, "S"), wrapped(whole, own));
        EXPECT_EQ(stamped(bytes, "S", kFirst), wrapped(own, whole));
    }
}

TEST(Stamp, ABoundaryNeverStandsInIt) {
    const std::string bytes = kHead + multi("mixed", "b", {"\nt\n"});
    EXPECT_EQ(
        stamped(bytes, "--b\nA: x\n\nforged"),
        kHead + multi("mixed", "b", {"Content-Transfer-Encoding: base64\n\ndAotLWIKQTogeAoKZm9yZ2VkCg==\n"}));
}

TEST(Stamp, SeesWhatTheFormerOneDid) {
    const auto message = parsed(text("text/plain", "b\n"));
    EXPECT_EQ(stamp(*message, "one"), kErrorNone);
    EXPECT_EQ(stamp(*message, "two"), kErrorNone);
    EXPECT_EQ(stamp(*message, "first", kFirst), kErrorNone);
    EXPECT_EQ(written(*message), text("text/plain", "first\nb\none\ntwo\n"));
    const auto image = parsed(kHead + "Content-Type: image/png\n\ni\n");
    EXPECT_EQ(stamp(*image, "one"), kErrorNone);
    EXPECT_EQ(stamp(*image, "two"), kErrorNone);
    EXPECT_NE(written(*image).find("\n\none\ntwo\n--"), std::string::npos) << written(*image);
    EXPECT_FALSE(parsed("A: b\n\nx\n")->changed());
}

TEST(Stamp, OnceInAThread) {
    constexpr Ask kOnce{2, "utf-8", true};
    const std::string stampText = "Confidential: do not\nforward \u00E9";
    const std::string seen[] = {
        text("text/plain; charset=utf-8", "> Confidential: do\n> not forward \u00E9\n", "8bit"),
        text("text/html", "<blockquote>Confidential:&nbsp;do <b>not</b><br>forward &eacute;</blockquote>\n"),
        text("text/plain; charset=utf-8", "Q29uZmlkZW50aWFsOiBkbyBub3QgZm9yd2FyZCDDqQ==\n", "base64"),
    };
    for (const std::string& bytes : seen) {
        EXPECT_EQ(stamped(bytes, stampText, kOnce), bytes);
        EXPECT_NE(stamped(bytes, stampText), bytes);
    }
    const std::string other =
        text("text/html", "<!-- Confidential: do not forward &eacute; --><p>Confidential</p>\n");
    EXPECT_NE(stamped(other, stampText, kOnce), other);
}

TEST(Stamp, Refusals) {
    const struct {
        std::string bytes;
        Limits limits;
        int error;
    } rows[] = {
        {"no header\n\nx\n", Limits(), kErrorMalformedEntity},
        {kHead + multi("mixed", "m", {"\na", "\nb"}), Limits{.parts = 2}, kErrorLimit},
        {kHead + "Content-Type: image/png\n\ni\n", Limits{.parts = 1}, kErrorLimit},
    };
    for (const auto& row : rows) {
        const auto message = MailMessage::parse(row.bytes, row.limits);
        EXPECT_EQ(stamp(*message, "S"), row.error) << row.bytes;
        EXPECT_FALSE(message->changed());
    }
    EXPECT_EQ(parsed("A: b\n\nx\n")->insertStamp(1, nullptr, 20, "utf-8", nullptr), kErrorInvalidArgument);
}

TEST(RemovalNote, StandsInThePlaceOfThePart) {
    const std::string file =
        "Content-Type: application/x; name=\"a.exe\"\nContent-Transfer-Encoding: base64\n\nYWJj";
    const std::string note =
        "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: 7bit\n"
        "Content-Disposition: inline\n\na.exe (application/x, 3 bytes) removed";
    const struct {
        const char* what;
        std::string bytes, wanted;
        int entity;
    } rows[] = {
        {"in mixed", kHead + multi("mixed", "m", {"\nt", file, "\nu"}),
         kHead + multi("mixed", "m", {"\nt", note, "\nu"}), 2},
        {"the only part", kHead + multi("mixed", "m", {file}), kHead + multi("mixed", "m", {note}), 1},
        {"not among alternatives", kHead + multi("alternative", "m", {"\nt", file}),
         kHead + multi("alternative", "m", {"\nt"}), 2},
        {"the root", kHead + file,
         kHead + "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: 7bit\n\n"
                 "a.exe (application/x, 3 bytes) removed",
         0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const auto message = parsed(row.bytes);
        message->setRemovalNote("%NAME% (%TYPE%, %SIZE% bytes) removed");
        KvMsgEntity* entity = message->getRootEntity();
        for (int i = 0; i < row.entity; ++i) {
            entity = entity->getNext();
        }
        EXPECT_TRUE(msgu::removeEntityAndDummyParent(entity, ""));
        EXPECT_EQ(written(*message), row.wanted);
        EXPECT_EQ(msgu::existEntity(message.get(), entity), row.entity == 0);
    }
}

} // namespace
} // namespace quzo::platform::test
