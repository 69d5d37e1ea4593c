#!/usr/bin/env python3
"""Stamps and strips real messages, and reads them with Python.

usage: stamp_corpus_test.py QUZO CORPUS

Stamps every message of CORPUS/mail at both positions with ASCII, accented and Japanese text: Python's email package
finds the stamp exactly once in every text alternative of the body that it could read before, and nothing else changed
there; signed, encrypted and TNEF messages stay as they are, and are stamped beside their content when the area allows
it. Then removes all attachments: none is left, and what remains has its bytes.
Prints its counts. Exits 1 on any fault, 77 when there are no messages.
"""
import collections
import email
import html.parser
import os
import re
import subprocess
import sys
import tempfile

STAMP = "Hinweis: Prüfung 免責事項 <ok> & done"
POLICY = '[[rule]]\nid = 1\nname = "R"\nwhen = { always = true }\nactions = [%s]\n'
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
    "b47a4a0": "no semicolon in front of charset", "bd2d47a": "a header line that is none",
    "87ff97f": "windows-1252 as iso-8859-1", "94acb01": "the same", "c2fe00c": "the same",
    "82f4587": "a list's lines behind base64", "a2b9a9a": "the same",
}

faults = 0
counts = collections.Counter()


def fault(name, text):
    global faults
    faults += 1
    if faults <= 40:
        print(f"FAULT {name}: {text}")


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
    return re.sub(r"\s+", "", text)


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


def is_protected(raw, msg):
    return ARMOUR.search(raw) or any(p.get_content_type() in PROTECTION for p in msg.walk())


def check_stamp(name, before, after):
    old, new = email.message_from_bytes(before), email.message_from_bytes(after)
    stamp = re.sub(r"\s+", "", STAMP)
    if is_protected(before, old):
        counts["protected"] += 1
        if before != after:
            fault(name, "protected, and changed")
        return
    if name[:7] in READ_OTHERWISE:
        counts["read otherwise"] += 1
        if before == after:
            fault(name, "not stamped")
        return
    was, now = alternatives(old), alternatives(new)
    if not was:
        texts = [text_of(p) or "" for p in new.walk() if p.get_content_type() == "text/plain" and not p.is_multipart()]
        counts["no text body"] += 1
        if sum(stamp in text for text in texts) != 1:
            fault(name, "no text body, and no stamp of its own")
        return
    if len(was) != len(now):
        fault(name, f"{len(was)} alternatives became {len(now)}")
        return
    for one, other in zip(was, now):
        read = text_of(one)
        if read is None:
            counts["alternatives that Python could not read"] += 1
            continue
        counts["alternatives"] += 1
        shown = text_of(other)
        if shown is None or shown.count(stamp) != 1 or shown.replace(stamp, "") != read:
            fault(name, f"{one.get_content_type()}: " + ("not readable any more" if shown is None else
                                                          f"stamp {shown.count(stamp)} times, or another text"))
    counts["stamped"] += 1


def leaves(msg):
    return [(p.get_content_type(), p.get_payload()) for p in msg.walk() if not p.is_multipart()]


def check_strip(name, before, after):
    old, new = email.message_from_bytes(before), email.message_from_bytes(after)
    if name[:7] in READ_OTHERWISE or is_protected(before, old) or before == after:
        counts["not stripped, or not compared"] += 1
        return
    counts["stripped"] += 1
    had = collections.Counter(map(str, leaves(old)))
    extra = collections.Counter(map(str, leaves(new))) - had
    # The root of a message that was nothing but an attachment is emptied.
    extra -= collections.Counter({str(("text/plain", "")): 2})
    if extra:
        fault(name, f"a part that was not there: {list(extra)[0][:80]}")
    for part in new.walk():
        if part.get_content_disposition() == "attachment" and part is not new and not part.is_multipart():
            fault(name, "an attachment is left")


def run(quzo, work, mail, actions, check):
    policy = os.path.join(work, "policy.toml")
    with open(policy, "w") as file:
        file.write(POLICY % actions)
    out = tempfile.mkdtemp(dir=work)
    done = subprocess.run([quzo, "apply", "-c", os.path.join(work, "quzo.ini"), "-p", policy, "-o", out, "-j", "2",
                           "--from", "a@x.example", "--to", "b@y.example"] +
                          [os.path.join(mail, name) for name in sorted(os.listdir(mail))],
                          capture_output=True, text=True)
    if done.returncode != 0:
        fault("apply", f"exit {done.returncode}: {done.stderr[-300:]}")
    for name in sorted(os.listdir(mail)):
        with open(os.path.join(mail, name), "rb") as file:
            before = file.read()
        try:
            with open(os.path.join(out, name), "rb") as file:
                check(name, before, file.read())
        except FileNotFoundError:
            fault(name, "no output")


def main():
    quzo, mail = sys.argv[1], os.path.join(sys.argv[2], "mail")
    if not os.path.isdir(mail) or not os.listdir(mail):
        print(f"skipped: there are no messages in {mail}")
        sys.exit(77)
    with tempfile.TemporaryDirectory() as work:
        with open(os.path.join(work, "quzo.ini"), "w") as file:
            file.write(f"[platform]\nstore = sqlite3://{work}/store.db\n")
        with open(os.path.join(work, "stamp.txt"), "w", encoding="utf-8") as file:
            file.write(STAMP)
        for position in ("before", "after"):
            subprocess.run([quzo, "object", "add", "stamp", position, "-c", os.path.join(work, "quzo.ini"), "--text-file",
                            os.path.join(work, "stamp.txt"), "--position", position], check=True, capture_output=True)
            run(quzo, work, mail, '{ type = "stamp", object = "%s" }' % position, check_stamp)
        run(quzo, work, mail, '{ type = "delete-attachment", all = true }', check_strip)
    print(", ".join(f"{what}: {n}" for what, n in sorted(counts.items())))
    print(f"{faults} faults")
    sys.exit(1 if faults else 0)


main()
