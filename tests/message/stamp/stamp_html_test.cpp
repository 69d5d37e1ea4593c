// Stamps in HTML: what they become, and where they go in whatever clients take for HTML.
#include <gtest/gtest.h>

#include "quzo/settings/stamp_forms.h"
#include "stamp_support.h"

namespace quzo::platform::test {
namespace {

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
        {"a word at the end of a sentence is no domain",
         text(html, body("\n")),
         "ask root@host.",
         {},
         text(html, body("\n<div>ask root@host.</div>\n"))},
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

} // namespace
} // namespace quzo::platform::test
