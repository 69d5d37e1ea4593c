#!/usr/bin/env python3
"""Stamps and strips real messages, and reads them with Python, and with Perl where MIME::Tools is there.

usage: stamp_corpus_test.py QUZO CORPUS

Stamps every message of CORPUS/mail at both positions with ASCII, accented and Japanese text: Python's email package
finds the stamp exactly once in every text alternative of the body that it could read before, and nothing else changed
there; signed, encrypted and TNEF messages stay as they are, and are stamped beside their content when the area allows
it. Then removes all attachments: none is left, and what remains has its bytes.
Prints its counts. Exits 1 on any fault, 77 when there are no messages.
"""
import collections
import email
import os
import subprocess
import sys
import tempfile

from mail_reading import READ_OTHERWISE, alternatives, is_protected, shows_stamp, text_of, without_blanks

STAMP = "Hinweis: Prüfung 免責事項 <ok> & done"
POLICY = '[[rule]]\nid = 1\nname = "R"\nwhen = { always = true }\nactions = [%s]\n'
# What Perl reads as iso-2022-jp, and mail clients show with holes: the stamp stands beside such a text.
PERL_READS_MORE = ("91f230e", "bdfa1a8", "cc4106f")

faults = 0
counts = collections.Counter()


def fault(name, text):
    global faults
    faults += 1
    if faults <= 40:
        print(f"FAULT {name}: {text}")


def check_stamp(name, before, after):
    old, new = email.message_from_bytes(before), email.message_from_bytes(after)
    stamp = without_blanks(STAMP)
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
        shows = shows_stamp(one, other, stamp)
        if shows is None:
            counts["alternatives that Python could not read"] += 1
            continue
        counts["alternatives"] += 1
        if not shows:
            fault(name, f"{one.get_content_type()}: the stamp is not there once, or another text")
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
    return out


def read_by_perl(mail, out):
    """What a second reader, second_reader.pl, says of the messages that are not protected."""
    names = []
    for name in sorted(os.listdir(mail)):
        with open(os.path.join(mail, name), "rb") as file:
            raw = file.read()
        if not is_protected(raw, email.message_from_bytes(raw)):
            names.append(name)
    said = subprocess.run(["perl", os.path.join(os.path.dirname(os.path.abspath(__file__)), "second_reader.pl"), STAMP,
                           mail, out], input="\n".join(names), capture_output=True, text=True, check=True).stdout
    *wrong, last = said.splitlines()
    for line in wrong:
        name, _, what = line.partition(": ")
        if name[:7] not in (*READ_OTHERWISE, *PERL_READS_MORE):
            fault(name, "Perl: " + what)
    print(f"Perl: {last}, {len(wrong)} of them read otherwise")


def main():
    quzo, mail = sys.argv[1], os.path.join(sys.argv[2], "mail")
    if not os.path.isdir(mail) or not os.listdir(mail):
        print(f"skipped: there are no messages in {mail}")
        sys.exit(77)
    has_perl = subprocess.run(["perl", "-MMIME::Parser", "-e1"], capture_output=True, check=False).returncode == 0
    if not has_perl:
        print("Perl does not read along: MIME::Tools is not installed")
    with tempfile.TemporaryDirectory() as work:
        with open(os.path.join(work, "quzo.ini"), "w") as file:
            file.write(f"[platform]\nstore = sqlite3://{work}/store.db\n")
        with open(os.path.join(work, "stamp.txt"), "w", encoding="utf-8") as file:
            file.write(STAMP)
        for position in ("before", "after"):
            subprocess.run([quzo, "object", "add", "stamp", position, "-c", os.path.join(work, "quzo.ini"), "--text-file",
                            os.path.join(work, "stamp.txt"), "--position", position], check=True, capture_output=True)
            out = run(quzo, work, mail, '{ type = "stamp", object = "%s" }' % position, check_stamp)
            if has_perl:
                read_by_perl(mail, out)
        run(quzo, work, mail, '{ type = "delete-attachment", all = true }', check_strip)
    print(", ".join(f"{what}: {n}" for what, n in sorted(counts.items())))
    print(f"{faults} faults")
    sys.exit(1 if faults else 0)


main()
