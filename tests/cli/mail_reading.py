"""How an independent reader, Python's email package, sees the body of a message and a stamp in it.

The tests of real messages use it, and the comparison with other programs in bench.
"""
import html.parser
import re

PROTECTION = ("multipart/signed", "multipart/encrypted", "application/pkcs7-mime", "application/x-pkcs7-mime",
              "application/ms-tnef", "application/vnd.ms-tnef")
ARMOUR = re.compile(rb"^-----BEGIN PGP (SIGNED )?MESSAGE", re.MULTILINE)
# Messages that Python takes apart in another way than mail clients do, by the start of their names, and why.
READ_OTHERWISE = {
    "827e54c": "boundary on two lines", "85d194c": "boundary on two lines", "cde7733": "boundary on two lines",
    "93800c5": "no semicolon in front of boundary", "a811b11": "a header line that is none",
    "ba47c5e": "two Content-Types", "d69aa55": "a boundary line as the last line", "ecca350": "the same",
    "dcba992": "header lines that are none", "fe2f5df": "one character too many in base64",
    "bcf708c": "text that calls itself base64", "83f8f5a": "its own table for iso-2022-jp",
    "b47a4a0": "no semicolon in front of charset", "ef34a62": "the same", "bd2d47a": "a header line that is none",
    "87ff97f": "windows-1252 as iso-8859-1", "94acb01": "the same", "c2fe00c": "the same",
    "82f4587": "a list's lines behind base64", "a2b9a9a": "the same",
}


def without_blanks(text):
    return re.sub(r"\s+", "", text)


class Shown(html.parser.HTMLParser):
    def __init__(self):
        super().__init__(convert_charrefs=True)
        self.text = []
        self.hidden = 0

    def handle_starttag(self, tag, attrs):
        self.hidden += tag in ("script", "style")

    def handle_endtag(self, tag):
        self.hidden -= tag in ("script", "style") and self.hidden > 0

    def handle_data(self, data):
        if not self.hidden:
            self.text.append(data)


def text_of(part):
    """The text of a part without blanks, or None when Python cannot read it."""
    raw = part.get_payload(decode=True)
    try:
        text = (raw or b"").decode(part.get_content_charset() or "us-ascii")
    except (LookupError, UnicodeDecodeError):
        return None
    if part.get_content_type() == "text/html":
        shown = Shown()
        shown.feed(text)
        shown.close()
        text = "".join(shown.text)
    return without_blanks(text)


def alternatives(part):
    """The text parts of a message's body."""
    kind = part.get_content_type()
    if not part.is_multipart():
        return [part] if kind in ("text/plain", "text/html") else []
    if kind.startswith("message/") or kind in PROTECTION or kind == "multipart/digest":
        return []
    parts = [p for p in part.get_payload()]
    if kind == "multipart/related":
        start = part.get_param("start")
        named = [p for p in parts if start and (p.get("content-id") or "").strip() == start.strip()]
        parts = (named or parts)[:1]
    parts = [p for p in parts if p.get_content_disposition() != "attachment"]
    found = [alternatives(p) for p in parts]
    if kind == "multipart/alternative":
        return sum(found, [])
    return next((some for some in found if some), [])


def shows_stamp(before, after, stamp):
    """Whether a text part shows what it did and the stamp, given without blanks, once; None: it could not be read."""
    read, shown = text_of(before), text_of(after)
    if read is None:
        return None
    return shown is not None and shown.count(stamp) == 1 and shown.replace(stamp, "") == read


def is_protected(raw, msg):
    return ARMOUR.search(raw) or any(p.get_content_type() in PROTECTION for p in msg.walk())
