// The messages. See structure_samples.h.
#include "tests/message/structure_samples.h"

namespace quzo::platform::test {

using namespace std::string_view_literals;

const std::vector<StructureSample>& structureSamples() {
    static const std::vector<StructureSample> samples = {
        // Header blocks
        {"empty input", "", "leaf [] \"\"\n"},
        {"only an empty line", "\n", "leaf [] \"\"\n"},
        {"empty lines before the header", "\r\n\nSubject: x\n\nbody\n", "leaf [Subject] \"body\\n\"\n"},
        {"a byte order mark before the header", "\xEF\xBB\xBFSubject: x\n\nbody\n",
         "leaf [Subject] \"body\\n\"\n"},
        {"all that may stand before the header", "\xEF\xBB\xBF>From a\n\n>From b\nSubject: x\n\nbody\n",
         "leaf [Subject] \"body\\n\"\n"},
        {"an empty line and no field behind it", "\nDear reader,\nnote: x\n",
         "leaf [] \"Dear reader,\\nnote: x\\n\"\n"},
        {"header only", "Subject: x\nFrom: y\n", "leaf [Subject, From] \"\"\n"},
        {"header only, unfinished line", "Subject: x\nFrom: y", "leaf [Subject, From] \"\"\n"},
        {"plain", "Subject: x\n\nbody", "leaf [Subject] \"body\"\n"},
        {"folds", "A: x\n y\n\tz\nB:\n x\n\nbody\n", "leaf [A, B] \"body\\n\"\n"},
        {"a line of blanks goes on with the field", "A: x\n \t\nB: y\n\nbody\n", "leaf [A, B] \"body\\n\"\n"},
        {"blanks before the colon", "A : x\nB\t: y\n\nbody\n", "leaf [A, B] \"body\\n\"\n"},
        {"lines that are no field", "A: x\njunk\nno field: x\n: x\nB: y\nmore junk\n goes on\nC: z\n\nbody\n",
         "leaf [A, B, C] \"body\\n\"\n"},
        {"junk before the first field", "junk\nA: x\n\nbody\n", "leaf [A] \"body\\n\"\n"},
        {"blanks before the first field", " \n x\nA: x\n\nbody\n", "leaf [A] \"body\\n\"\n"},
        {"no field at all", "Dear reader,\n\nthis is no mail.\n",
         "leaf [] \"Dear reader,\\n\\nthis is no mail.\\n\" unreadable\n"},
        {"control and 8-bit characters in names", "A\001: x\nB\177: x\nC\xc3\xa4: x\n\nbody\n",
         "leaf [C\xc3\xa4] \"body\\n\"\n"},
        {"NUL", "A: x\0y\nB\0: x\nC: z\n\nbo\0dy\n"sv, "leaf [A, C] \"bo\\0dy\\n\"\n"},
        {"carriage returns alone are no line break", "A: x\rB: y\n\nbo\rdy\n", "leaf [A] \"bo\\rdy\\n\"\n"},
        {"a line of carriage returns is empty", "A: x\r\r\n\r\r\nB: y\r\r\n", "leaf [A] \"B: y\\r\\r\\n\"\n"},
        {"mbox line", "From a Mon Jan  1 00:00:00 2001\nA: x\n\nbody\n", "leaf [A] \"body\\n\"\n"},
        {"quoted mbox line", ">From a Mon Jan  1 00:00:00 2001\nA: x\n\nbody\n", "leaf [A] \"body\\n\"\n"},
        {"mbox lines alone", "From a\n>From b\n", "leaf [] \"\"\n"},
        {"From with a blank before the colon is a field", "From : a\nA: x\n\nbody\n",
         "leaf [From, A] \"body\\n\"\n"},

        // Multiparts
        {"two parts",
         "Content-Type: multipart/mixed; boundary=aa\n\npre\namble\n--aa\nA: "
         "1\n\nfirst\n--aa\n\nsecond\n\n--aa--\nepi\n",
         "multipart [Content-Type] boundary=aa preamble=\"pre\\namble\" epilogue=\"epi\\n\"\n"
         "  leaf [A] \"first\"\n"
         "  leaf [] \"second\\n\"\n"},
        {"nothing around the boundaries", "Content-Type: multipart/mixed; boundary=aa\n\n--aa\n\nx\n--aa--",
         "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n  leaf [] \"x\"\n"},
        {"empty parts",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa\nA: 1\n\n--aa\n\n--aa\nB: 2\n\n\n--aa--\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n"
         "  leaf [A] \"\"\n  leaf [] \"\"\n  leaf [B] \"\"\n"},
        {"a boundary ends a header",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa\nA: 1\n--aa\n--aa\nB: 2\n--aa--\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n"
         "  leaf [A] \"\"\n  leaf [] \"\"\n  leaf [B] \"\"\n"},
        {"no close delimiter", "Content-Type: multipart/mixed; boundary=aa\n\n--aa\n\nx\n--aa\n\ny\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" unclosed\n  leaf [] \"x\"\n  leaf [] "
         "\"y\\n\"\n"},
        {"ends with a boundary line", "Content-Type: multipart/mixed; boundary=aa\n\n--aa\n\nx\n--aa\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" unclosed\n  leaf [] \"x\"\n"},
        {"no boundary parameter", "Content-Type: multipart/mixed\n\n--aa\n\nx\n--aa--\n",
         "leaf [Content-Type] \"--aa\\n\\nx\\n--aa--\\n\"\n"},
        {"the boundary never occurs", "Content-Type: multipart/mixed; boundary=bb\n\n--aa\n\nx\n--aa--\n",
         "leaf [Content-Type] \"--aa\\n\\nx\\n--aa--\\n\"\n"},
        {"an empty boundary", "Content-Type: multipart/mixed; boundary=\"\"\n\n--\n\nx\n----\n",
         "multipart [Content-Type] boundary= preamble=\"\" epilogue=\"\"\n  leaf [] \"x\"\n"},
        {"an empty boundary at the end", "Content-Type: multipart/mixed; boundary=\"\"\n\n--\n\nx\n--",
         "multipart [Content-Type] boundary= preamble=\"\" unclosed\n  leaf [] \"x\"\n"},
        {"only a close delimiter", "Content-Type: multipart/mixed; boundary=aa\n\npre\n--aa--\nepi\n",
         "leaf [Content-Type] \"pre\\n--aa--\\nepi\\n\"\n"},
        {"a close delimiter in front of the first part",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa--\n--aa\n\nx\n--aa--\n",
         "multipart [Content-Type] boundary=aa preamble=\"--aa--\" epilogue=\"\"\n  leaf [] \"x\"\n"},
        {"parts behind the close delimiter",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa\n\nx\n--aa--\n--aa\n\ny\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"--aa\\n\\ny\\n\"\n  leaf [] \"x\"\n"},
        {"what is no boundary line",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa\n\n--aax\n --aa\n--a\n--aa-\n--aa-- "
         "x\nx--aa\n---aa\n--aa--\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n"
         "  leaf [] \"--aax\\n --aa\\n--a\\n--aa-\\n--aa-- x\\nx--aa\\n---aa\"\n"},
        {"blanks behind the boundary",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa \t\n\nx\n--aa\t\n\ny\n--aa-- \n",
         "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n  leaf [] \"x\"\n  leaf [] "
         "\"y\"\n"},
        {"NUL behind the boundary",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa\n\nx\n--aa\0\n--aa--\n"sv,
         "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n  leaf [] \"x\\n--aa\\0\"\n"},
        {"the empty line is missing",
         "A: 1\nContent-Type: multipart/mixed; boundary=aa\n--aa--\n--aa\nB: 2\n\nx\n--aa--\n",
         "multipart [A, Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n  leaf [B] \"x\"\n"},
        {"a part without any field",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa\njust text\n\nmore\n--aa--\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n"
         "  leaf [] \"just text\\n\\nmore\" unreadable\n"},

        // Nesting
        {"nested",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa\nContent-Type: multipart/alternative; "
         "boundary=bb\n\n"
         "--bb\n\none\n--bb\n\ntwo\n--bb--\ninner\n--aa\n\nthree\n--aa--\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n"
         "  multipart [Content-Type] boundary=bb preamble=\"\" epilogue=\"inner\"\n"
         "    leaf [] \"one\"\n    leaf [] \"two\"\n  leaf [] \"three\"\n"},
        {"an outer boundary ends unclosed parts",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa\nContent-Type: multipart/related; "
         "boundary=bb\n\n"
         "--bb\nContent-Type: multipart/alternative; boundary=cc\n\n--cc\n\none\n--aa\n\ntwo\n--bb\n--aa--\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n"
         "  multipart [Content-Type] boundary=bb preamble=\"\" unclosed\n"
         "    multipart [Content-Type] boundary=cc preamble=\"\" unclosed\n"
         "      leaf [] \"one\"\n  leaf [] \"two\\n--bb\"\n"},
        {"the same boundary twice",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa\nContent-Type: multipart/mixed; boundary=aa\n\n"
         "--aa\n\none\n--aa--\n--aa\n\ntwo\n--aa--\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n"
         "  multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n"
         "    leaf [] \"one\"\n  leaf [] \"two\"\n"},
        {"the same boundary inside, closed before its first part",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa\nContent-Type: multipart/mixed; boundary=aa\n"
         "--aa--\n\none\n--aa\n\ntwo\n--aa--\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" unclosed\n"
         "  multipart [Content-Type] boundary=aa preamble=\"--aa--\\n\\none\" epilogue=\"\"\n    leaf [] "
         "\"two\"\n"},
        {"an inner multipart whose second Content-Type has the outer boundary",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa\nContent-Type: multipart/mixed boundary=bb\n"
         "Content-Type: multipart/mixed; boundary=aa\n\n--bb\n\none\n--aa--\ntwo\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"two\\n\"\n"
         "  multipart [Content-Type, Content-Type] boundary=bb preamble=\"\" unclosed\n    leaf [] "
         "\"one\"\n"},
        {"the outer boundary inside of a multipart that names its own loosely",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa\nContent-Type: multipart/mixed boundary=bb\n\n"
         "--bb\nContent-Type: multipart/mixed; boundary=aa\n\n--aa\n\none\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" unclosed\n"
         "  multipart [Content-Type] boundary=bb preamble=\"\" unclosed\n"
         "    multipart [Content-Type] boundary=aa preamble=\"\" unclosed\n      leaf [] \"one\\n\"\n"},
        {"an inner boundary that is the outer close delimiter, of two Content-Type fields",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa\nContent-Type: multipart/mixed; "
         "boundary=\"aa--\"\n"
         "Content-Type: text/plain\n\none\n--aa--\ntwo\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" unclosed\n"
         "  multipart [Content-Type, Content-Type] boundary=aa-- preamble=\"one\" unclosed\n"
         "    leaf [] \"two\\n\" unreadable\n"},
        {"an embedded message whose other Content-Type has a boundary",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa\nContent-Type: multipart/mixed; boundary=bb\n"
         "Content-Type: message/rfc822\n--bb\nA: 1\n\none\n--aa--\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n"
         "  message [Content-Type, Content-Type]\n    leaf [A] \"one\"\n"},
        {"junk, and behind it the outer boundary in a field",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa\njunk\0\0\n\nContent-Type: multipart/mixed; "
         "boundary=aa\n--aa\n\none\n"sv,
         "multipart [Content-Type] boundary=aa preamble=\"\" unclosed\n"
         "  leaf [] \"junk\\0\\0\\n\\nContent-Type: multipart/mixed; boundary=aa\" unreadable\n  leaf [] "
         "\"one\\n\"\n"},
        {"junk and carriage returns in front of a part's text",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa\njunk\n\r\r\r\n-",
         "multipart [Content-Type] boundary=aa preamble=\"\" unclosed\n"
         "  leaf [] \"junk\\n\\r\\r\\r\\n-\" unreadable\n"},
        {"boundaries that begin alike",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa\nContent-Type: multipart/mixed; boundary=aab\n\n"
         "--aab\n\none\n--aab--\n--aa\n\ntwo\n--aa--\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n"
         "  multipart [Content-Type] boundary=aab preamble=\"\" epilogue=\"\"\n"
         "    leaf [] \"one\"\n  leaf [] \"two\"\n"},
        {"a boundary that looks like the close delimiter of the outer one",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa\nContent-Type: multipart/mixed; "
         "boundary=aa--\n\n"
         "--aa--\n\none\n--aa----\n--aa--\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n"
         "  multipart [Content-Type] boundary=aa-- preamble=\"\" epilogue=\"\"\n    leaf [] \"one\"\n"},
        {"the boundary of an inner multipart that has none of its own lines",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa\nContent-Type: multipart/mixed; "
         "boundary=bb\n\none\n--aa--\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n  leaf [Content-Type] \"one\"\n"},

        // Embedded messages
        {"message in a multipart",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa\nContent-Type: message/rfc822\n\n"
         "From b\nSubject: inner\n\none\n--aa\n\ntwo\n--aa--\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n"
         "  message [Content-Type]\n    leaf [Subject] \"one\"\n  leaf [] \"two\"\n"},
        {"message in a message in a message",
         "Content-Type: message/rfc822\n\nContent-Type: MESSAGE/Global\nContent-Transfer-Encoding: 8bit\n\n"
         "Content-Type: message/news\n\nContent-Type: text/plain\n\nbody\n",
         "message [Content-Type]\n  other [Content-Type, Content-Transfer-Encoding]\n    other "
         "[Content-Type]\n"
         "      leaf [Content-Type] \"body\\n\"\n"},
        {"messages that are none",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa\nContent-Type: message/partial\n\nA: 1\n"
         "--aa\nContent-Type: message/delivery-status\n\nB: 2\n--aa\nContent-Type: "
         "message/external-body\n\nC: 3\n--aa--\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n"
         "  leaf [Content-Type] \"A: 1\"\n  leaf [Content-Type] \"B: 2\"\n  leaf [Content-Type] \"C: 3\"\n"},
        {"encoded message",
         "Content-Type: message/rfc822\nContent-Transfer-Encoding: BASE64 (c)\n\nQTogMQ==\n",
         "leaf [Content-Type, Content-Transfer-Encoding] \"QTogMQ==\\n\"\n"},
        {"no message at all",
         "Content-Type: multipart/mixed; boundary=aa\n\n--aa\nContent-Type: message/rfc822\n\n--aa--\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n  leaf [Content-Type] \"\"\n"},
        {"a message that is none", "Content-Type: message/rfc822\n\nno header here\n\nat all\n",
         "message [Content-Type]\n  leaf [] \"no header here\\n\\nat all\\n\" unreadable\n"},
        {"digest",
         "Content-Type: multipart/digest; boundary=aa\n\n--aa\n\nSubject: 1\n\none\n--aa\nContent-Type: "
         "text/plain\n\n"
         "two\n--aa\nContent-Type: nonsense\n\nSubject: 3\n\nthree\n--aa--\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n"
         "  message []\n    leaf [Subject] \"one\"\n  leaf [Content-Type] \"two\"\n"
         "  message [Content-Type]\n    leaf [Subject] \"three\"\n"},

        // Content-Type fields that readers disagree about
        {"a leaf behind a multipart type",
         "Content-Type: multipart/mixed; boundary=aa\nContent-Type: text/plain\n\n--aa\n\nx\n--aa--\n",
         "multipart [Content-Type, Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n  leaf [] \"x\"\n"},
        {"a type that is none behind another, in a digest",
         "Content-Type: multipart/digest; boundary=aa\n\n--aa\nContent-Type: a/b\nContent-Type: "
         "nonsense\n\nx\n"
         "--aa--\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n"
         "  leaf [Content-Type, Content-Type] \"x\"\n"},
        {"a boundary that is written badly",
         "Content-Type: multipart/mixed charset=x; =; boundary=\"aa; y=z\n\n--aa\n\nx\n--aa--\n",
         "multipart [Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n  leaf [] \"x\"\n"},
        {"two boundaries, the first is used",
         "Content-Type: multipart/mixed; boundary=aa\nContent-Type: multipart/mixed; boundary=bb\n\n"
         "--aa\n\nx\n--bb\n--aa--\n",
         "multipart [Content-Type, Content-Type] boundary=aa preamble=\"\" epilogue=\"\"\n  leaf [] "
         "\"x\\n--bb\"\n"},
        {"two boundaries, the last is used",
         "Content-Type: multipart/mixed; boundary=aa\nContent-Type: multipart/mixed; "
         "boundary=bb\n\n--bb\n\nx\n--bb--\n",
         "multipart [Content-Type, Content-Type] boundary=bb preamble=\"\" epilogue=\"\"\n  leaf [] \"x\"\n"},
    };
    return samples;
}

} // namespace quzo::platform::test
