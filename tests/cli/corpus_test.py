#!/usr/bin/env python3
"""Holds `quzo apply` to real messages.

usage: corpus_test.py QUZO CORPUS

Applies three policies to every message of CORPUS/mail and compares bytes:
  nothing    a policy that looks at everything and matches nothing: output is input
  tag        tag-subject alone: signed and encrypted messages stay as they are, in the others only the
             Subject differs and reads as the tag and the former subject
  x-header   x-header alone: only the added field differs
Prints its counts. Exits 1 on any fault, 77 when there are no messages.
"""
import email
import email.errors
import email.header
import email.policy
import json
import os
import re
import subprocess
import sys
import tempfile

TAG = "[T] "
ROOM = 2047  # bytes of UTF-8 that a tagged subject may have
FIELDS = ["file", "id", "outcome", "output", "error", "marks", "envelope", "queued", "rules"]
PROTECTED_TYPES = ("multipart/signed", "multipart/encrypted", "application/pkcs7-mime", "application/x-pkcs7-mime")
ARMOUR = re.compile(rb"^-----BEGIN PGP (SIGNED )?MESSAGE-----", re.MULTILINE)

NOTHING = r"""
[[rule]]
id = 1
name = "Nothing"
when = { any = [
  { sender = "nobody@nowhere.example" }, { subject = 'a\bb' }, { header = { X-Nowhere = "." } },
  { body = 'no\Bbody \z.' }, { attachment = "*.nothing-has-this" }, { content_type = "no/type" },
  { size_over = "1000M" }, { all = [{ signed = true }, { signed = false }] }, { every_recipient = "nobody@nowhere.example" },
  { token = { HEADER_RCPTS = '^never$', MAILID = '^never$' } },
  { all = [{ encrypted = true }, { encrypted = false }] } ] }
actions = [{ type = "delete" }]
"""
ALWAYS = '[[rule]]\nid = 1\nname = "R"\nwhen = { always = true }\nactions = [%s]\n'
TAG_SUBJECT = ALWAYS % ('{ type = "tag-subject", tag = "%s", signed = false }' % TAG)
X_HEADER = ALWAYS % '{ type = "x-header", name = "X-Corpus-Test", value = "on" }'

faults = 0
counts = {}


def fault(name, text):
    global faults
    faults += 1
    if faults <= 40:
        print(f"FAULT {os.path.basename(name)}: {text}")


def count(what):
    counts[what] = counts.get(what, 0) + 1


def apply(quzo, policy, paths):
    """Runs the program; returns the output bytes by path, None for a message that does not go on."""
    with tempfile.TemporaryDirectory() as folder:
        policy_file = os.path.join(folder, "p.toml")
        with open(policy_file, "w", encoding="utf-8") as stream:
            stream.write(policy)
        out = os.path.join(folder, "out")
        command = [quzo, "apply", "-p", policy_file, "-o", out, "--json", *paths]
        run = subprocess.run(command, capture_output=True, check=False)
        if run.returncode != 0:
            fault("apply", f"exit code {run.returncode}: {run.stderr[:500]!r}")
        lines = [json.loads(line) for line in run.stdout.decode("utf-8").splitlines()]
        if [line["file"] for line in lines] != paths:
            fault("apply", "not one JSON object a message in the order of the input")
        results = {}
        for line in lines:
            if list(line) != FIELDS:
                fault(line["file"], f"JSON fields {list(line)}")
            if line["output"] is None:
                fault(line["file"], f"{line['outcome']}: {line['error']}")
                continue
            with open(line["output"], "rb") as stream:
                results[line["file"]] = stream.read()
        return results


def header_and_body(data):
    """The header block up to its empty line, and the rest."""
    end = re.search(rb"^\r?\n", data, re.MULTILINE)
    return (data, b"") if end is None else (data[: end.start()], data[end.start() :])


def fields(header):
    """The header block cut into fields with their folded lines; joined they are the block again."""
    return re.findall(rb"[^\n]*(?:\n[ \t][^\n]*)*\n|[^\n]+\Z", header)


def is_named(field, name):
    return re.match(name + rb"[ \t]*:", field, re.IGNORECASE) is not None


def without(data, name):
    """The fields of that name, and everything else with a mark where each of them stood."""
    header, body = header_and_body(data)
    found = [field for field in fields(header) if is_named(field, name)]
    return found, ([b"*" if is_named(field, name) else field for field in fields(header)], body)


def value_of(field):
    """The value on one line, without the blanks around it, which are no part of it."""
    return re.sub(rb"\r?\n(?=[ \t])", b"", field.split(b":", 1)[1]).strip()


def words_are_sound(value):
    """Whether every encoded word can be decoded to the letter."""
    try:
        for text, charset in email.header.decode_header(value.decode("ascii", "replace")):
            if charset is not None:
                text.decode(charset)
        return True
    except (email.errors.HeaderParseError, UnicodeDecodeError, LookupError):
        return False


def decoded(field):
    """A subject as Python reads it; None when it does not read it well."""
    value = value_of(field)
    message = email.message_from_bytes(b"Subject: " + value + b"\n\n", policy=email.policy.default)
    subject = message["subject"]
    if subject.defects or "\ufffd" in subject or "=?" in subject or not words_are_sound(value):
        return None
    return str(subject)


def begins_with_tag(value):
    """Whether a value, of which Python does not read everything, begins with the tag, plain or in a word."""
    word = re.match(rb"=\?[^?]+\?[bBqQ]\?[^?]*\?=", value)
    if word is None:
        return value.startswith(TAG.encode())
    ((text, _),) = email.header.decode_header(word.group(0).decode("ascii"))
    return text.startswith(TAG.encode())


def bytes_of(value):
    """What the words and the text between them hold, without blanks."""
    parts = email.header.decode_header(value.decode("ascii", "replace"))
    return b"".join(part if isinstance(part, bytes) else part.encode() for part, _ in parts).replace(b" ", b"")


def unsound_words(value):
    return [word for word in re.findall(rb"=\?[^?]+\?[bBqQ]\?[^? ]*\?=", value) if not words_are_sound(word)]


def readable(data, charset):
    try:
        data.decode(charset)
        return True
    except (UnicodeDecodeError, LookupError):
        return False


def raw_readings(message, value):
    """The ways to read raw 8-bit text: as UTF-8, and in each charset that the message names."""
    charsets = {part.get_content_charset() for part in message.walk() if part.get_content_maintype() == "text"}
    charsets.update(name.decode().lower() for name in re.findall(rb"=\?([^?*]+)", value))
    readings = [value.decode(charset) for charset in charsets | {"utf-8"} if charset and readable(value, charset)]
    return readings or [value.decode("windows-1252", "replace")]


def tagged(subject):
    return (TAG + subject).encode()[:ROOM].decode(errors="ignore")


def check_subject(path, message, before, after):
    """One Subject field that was changed. `before` is None when there was none."""
    subject = decoded(before) if before is not None else ""
    charsets = {name.lower() for name in re.findall(rb"=\?([^?*]+)", before or b"")}
    if subject is None and before is not None and not value_of(before).isascii():
        # In iso-8859-1 it stays raw.
        as_raw = value_of(after) == TAG.encode() + value_of(before)
        if not as_raw and decoded(after) not in map(tagged, raw_readings(message, value_of(before))):
            fault(path, f"raw subject {before!r} became {after!r}")
        count("tag: raw in the message's charset, reads as tag and former subject")
    elif subject is None:
        kept = all(word in value_of(after) for word in unsound_words(value_of(before)))
        # Or it is only Python that does not know a charset or character, or does not join words.
        kept = kept or decoded(after) is not None
        kept = kept or bytes_of(value_of(after)) == TAG.encode().strip() + bytes_of(value_of(before))
        if not kept or not begins_with_tag(value_of(after)):
            fault(path, f"subject {before!r} became {after!r}")
        count("tag: former subject that Python cannot read: begins with the tag, the rest is kept")
    elif decoded(after) == tagged(subject):
        count("tag: reads as tag and former subject")
    elif charsets and all(name.startswith(b"iso-8859-1") for name in charsets):
        # Such a subject is stored as raw bytes.
        if value_of(after) != tagged(subject).encode(charsets.pop().decode()).strip():
            fault(path, f"raw iso-8859-1 subject {after!r}")
        count("tag: iso-8859-1, stored as raw bytes")
    else:
        fault(path, f"subject {before!r} became {after!r}")


def check_tagged(path, data, written):
    message = email.message_from_bytes(data, policy=email.policy.compat32)
    whole_type = message.get_content_type()
    smime_type = str(message.get_param("smime-type", "")).lower()
    must_stay = whole_type in PROTECTED_TYPES and smime_type not in ("certs-only", "compressed-data")
    must_stay = must_stay or (whole_type == "text/plain" and ARMOUR.search(header_and_body(data)[1]))
    before, rest = without(data, rb"subject")
    after, rest_after = without(written, rb"subject")
    if must_stay or written == data:
        if written != data:
            fault(path, "signed or encrypted, and changed")
        elif must_stay:
            count("tag: signed or encrypted, same bytes")
        elif any(part.get_content_type() in PROTECTED_TYPES for part in message.walk()) or ARMOUR.search(data):
            count("tag: signed or encrypted below the top, same bytes")
        else:
            fault(path, "not tagged")
        return
    if not before:
        rest = (rest[0] + [b"*"], rest[1])
    if rest != rest_after:
        fault(path, "differs outside of the Subject")
    for old, new in zip(before or [None], after):
        check_subject(path, message, old, new)


def check_x_header(path, data, written):
    ending = b"\r\n" if re.match(rb"[^\n]*\r\n", data) else b"\n"
    added = b"X-Corpus-Test: on" + ending
    at = written.find(added)
    # A header that ends with the file may lack its last line break.
    unended = at == len(data) + len(ending) and not data.endswith(b"\n")
    if at <= 0 or written[at - 1 : at] != b"\n" or written.replace(added, b"") != data + (ending if unended else b""):
        fault(path, "differs in more than the added field")
    count("x-header: only the added field differs")


def main():
    quzo, corpus = sys.argv[1:3]
    folder = os.path.join(corpus, "mail")
    messages = {}
    for name in sorted(os.listdir(folder)) if os.path.isdir(folder) else []:
        with open(os.path.join(folder, name), "rb") as stream:
            messages[os.path.join(folder, name)] = stream.read()
    if not messages:
        print(f"skipped: there are no messages in {folder}")
        return 77
    paths = list(messages)
    for policy, check in ((NOTHING, None), (TAG_SUBJECT, check_tagged), (X_HEADER, check_x_header)):
        for path, written in apply(quzo, policy, paths).items():
            if check is not None:
                check(path, messages[path], written)
            elif written != messages[path]:
                fault(path, "nothing matched, and other bytes")
            else:
                count("nothing: same bytes")
    print(f"{len(messages):6} messages")
    for what, number in sorted(counts.items()):
        print(f"{number:6} {what}")
    print(f"{faults:6} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
