#!/usr/bin/env python3
"""Tags subjects of every kind, in bodies of every charset, and reads them with Python.

usage: subject_test.py QUZO

Each kind of Subject that mail has meets each charset that a body may name, and three tags. Whatever a sender
writes, the tag is there, what stood there before reads as it did or is there byte for byte, and no control
character stands raw in the header. Prints its counts; exits 1 on any fault.
"""
import email.header
import os
import re
import subprocess
import sys
import tempfile

TAGS = ["[T] ", "[Prüfen] ", "[Я €] "]
BODIES = [
    None, "us-ascii", "utf-8", "iso-8859-1", "ISO-8859-15", "windows-1252", "koi8-r", "shift_jis", "gb2312",
    "iso-2022-jp", "iso-2022-kr", "utf-7", "utf-16", "utf-16be", "utf-16le", "utf-32", "ibm037", "X-UNKNOWN",
]
SUBJECT = b"Subject: "

# What stands behind "Subject: ", and how it reads. None: as raw text, by the charset of the body.
SUBJECTS = [
    (b"Invoice 42", "Invoice 42"),
    (b"a ~ b \\ +AOk-", "a ~ b \\ +AOk-"),
    (b"", ""),
    (b"=?utf-8?B?Y2Fmw6k=?=", "café"),
    (b"=?utf-8?B?4pg=?=\r\n =?utf-8?B?gw==?= x", "☃ x"),
    (b"=?utf-8*de?Q?=C3=BC?= x", "ü x"),
    (b"=?utf-8*de?Q?=FC?=", "=?utf-8*de?Q?=FC?="),
    (b"=?utf-8?B?Y2Fm6Q==?=", "=?utf-8?B?Y2Fm6Q==?="),
    (b"=?utf-8?Q?a=FFb?= c", "=?utf-8?Q?a=FFb?= c"),
    (b"=?utf-8?Q?=C3=A9?= =?utf-8?Q?a=FFb?= c", "é =?utf-8?Q?a=FFb?= c"),
    (b"=?x-foo?B?Y2Fm6Q==?=", "=?x-foo?B?Y2Fm6Q==?="),
    (b"Re: =?x-foo?Q?=E9?= =?koi8-r?Q?=F4?=", "Re: =?x-foo?Q?=E9?= Т"),
    (b"=?us-ascii?Q?a=20b?=", "a b"),
    (b"=?us-ascii?Q?caf=E9?=", "=?us-ascii?Q?caf=E9?="),
    (b"=?iso-8859-1?Q?caf=E9?= x", "café x"),
    (b"=?iso-8859-1?Q?a=1Bb?=", "a\x1bb"),
    (b"=?iso-8859-1?Q?=3D=3Futf-8=3FQ=3FA=3F=3D?=", "=?utf-8?Q?A?="),
    (b"=?ISO-8859-15?Q?=A4_5?=", "€ 5"),
    (b"=?windows-1252?Q?=80_5?=", "€ 5"),
    (b"=?koi8-r?B?9MXT1A==?=", "Тест"),
    (b"=?koi8-r?B?9MXT1A==?= =?windows-1251?Q?=D2?=", "ТестТ"),
    (b"=?gb2312?B?1tDOxA==?= a", "中文 a"),
    (b"=?shift_jis?B?k/qWe4zq?=", "日本語"),
    (b"=?iso-2022-jp?B?GyRCRnwbKEI=?= a", "日 a"),
    (b"=?iso-2022-jp?B?GyRCRnwbKEI=?=", "日"),
    (b"=?iso-2022-jp?B?GyRCRg==?=", "=?iso-2022-jp?B?GyRCRg==?="),
    (b"=?iso-2022-kr?B?GyQpQw4wIQ8=?=", "가"),
    (b"=?utf-16?B?AGEAYgBj?=", "abc"),
    (b"=?utf-16?B?YQBiAGMA?=", "abc"),
    (b"=?utf-16?B?//5hAA==?=", "a"),
    (b"=?utf-32be?B?AAAAYQ==?=", "a"),
    (b"=?ibm037?B?gYI=?=", "ab"),
    (b"=?utf-7?Q?+AOk-?=", "é"),
    (b"=?hz-gb-2312?Q?~{VPND~}?=", "中文"),
    (b"=?utf-8?Q?a=00=1B[31m=07b?=", "a \x1b[31m\x07b"),
    (b"a\x1b[31mb\x7f\x01", "a\x1b[31mb\x7f\x01"),
    (b"\x1b$BF|\x1b(B a", "日 a"),
    (b"caf\xc3\xa9 \xe2\x82\xac", "café €"),
    (b"caf\xe9 test", None),
    (b"\x93q\x94 \x81", None),
    (b"caf\xe9 =?utf-8?Q?=C3=A9?=", None),
]

faults = 0


def fault(text):
    global faults
    faults += 1
    if faults <= 40:
        print("FAULT " + text)


def windows_1252(data):
    """As everybody but Python has it: the bytes without a character are control characters."""
    return data.decode("windows-1252", "surrogateescape").translate({0xDC00 + code: code for code in range(256)})


def text_in(data, charset):
    try:
        return windows_1252(data) if charset.lower() == "windows-1252" else data.decode(charset)
    except (LookupError, UnicodeDecodeError):
        return None


def raw_text(data, body):
    """Raw 8-bit text: UTF-8, else the body's charset when that reads it, else windows-1252."""
    as_body = text_in(data, body) if body in ("iso-8859-1", "ISO-8859-15", "koi8-r", "shift_jis", "gb2312") else None
    return as_body if as_body is not None else windows_1252(data)


def expected_text(subject, text, body):
    if text is not None:
        return text
    raw, _, word = subject.partition(b"=?")
    return raw_text(raw, body) + ("é" if word else "")


def decoded(value):
    """A value of plain and encoded words; words that Python cannot read stay as they are written."""
    text = ""
    previous_end, previous_read = 0, False
    for match in re.finditer(r"=\?([^?*]+)(?:\*[^?]*)?\?([bBqQ])\?([^?]*)\?=", value):
        ((data, _),) = email.header.decode_header(match.group(0))
        word = text_in(data if isinstance(data, bytes) else data.encode(), match.group(1))
        between = value[previous_end : match.start()]
        if word is None or not previous_read or between.strip(" \t"):
            text += between
        text += match.group(0) if word is None else word
        previous_end, previous_read = match.end(), word is not None
    return text + value[previous_end:]


def subject_of(message):
    header = message.split(b"\r\n\r\n", 1)[0] + b"\r\n"
    found = re.findall(rb"(?m)^Subject:((?:.*\r\n)(?:[ \t].*\r\n)*)", header)
    return [re.sub(rb"\r\n(?=[ \t])", b"", value).strip(b" \r\n") for value in found]


def check(what, value, tag, text, subject, body):
    if re.search(rb"[\x00-\x08\x0a-\x1f\x7f]", value):
        fault(f"{what}: control characters in {value!r}")
    if value.isascii():
        reading = decoded(value.decode())
        if reading.strip(" ") != (tag + text).strip(" "):
            fault(f"{what}: {value!r} reads as {reading!r}, not {tag + text!r}")
        return "encoded"
    # Subjects in the Latin-1 family are stored raw, in their own charset or the body's.
    charsets = [match.decode() for match in re.findall(rb"(?i)=\?(iso-8859-1[^?]*)\?", subject)] or [body or ""]
    if not charsets[0].lower().startswith("iso-8859-1") or value.decode(charsets[0]) != (tag + text).strip(" "):
        fault(f"{what}: raw {value!r}")
    return "raw in the Latin-1 family"


def apply(quzo, folder, messages, tag, settings=""):
    """The messages with their subjects tagged, in order."""
    for number, message in enumerate(messages):
        with open(os.path.join(folder, f"{number:04}.eml"), "wb") as stream:
            stream.write(message)
    names = [os.path.join(folder, f"{number:04}.eml") for number in range(len(messages))]
    policy, ini, out = (os.path.join(folder, name) for name in ("p.toml", "quzo.ini", "out"))
    with open(policy, "w", encoding="utf-8") as stream:
        stream.write('[[rule]]\nid = 1\nname = "R"\nwhen = { always = true }\n')
        stream.write(f'actions = [{{ type = "tag-subject", tag = "{tag}" }}]\n')
    with open(ini, "w", encoding="utf-8") as stream:
        stream.write("[MessageModule]\n" + settings)
    run = subprocess.run([quzo, "apply", "-c", ini, "-p", policy, "-o", out, "--from", "a@x.example", "--to",
                          "b@x.example", *names], capture_output=True, check=False)
    if run.returncode != 0:
        fault(f"exit code {run.returncode}: {run.stderr[:500]!r}")
    results = []
    for name in names:
        with open(os.path.join(out, os.path.basename(name)), "rb") as stream:
            results.append(stream.read())
    return results


def message_with(fields, body):
    text = b"From: a@x.example\r\n" + fields
    if body is not None:
        text += b"Content-Type: text/plain; charset=" + body.encode() + b"\r\n"
    return text + b"\r\nbody\r\n"


def main():
    quzo = sys.argv[1]
    cases = [(subject, text, body) for subject, text in SUBJECTS for body in BODIES]
    messages = [message_with(SUBJECT + subject + b"\r\n", body) for subject, _, body in cases]
    bare = [message_with(b"", body) for body in BODIES]
    counts = {}
    for tag in TAGS:
        with tempfile.TemporaryDirectory() as folder:
            results = apply(quzo, folder, messages, tag)
        for (subject, text, body), message, result in zip(cases, messages, results):
            what = f"{tag!r} before {subject!r} in {body}"
            values = subject_of(result)
            if len(values) != 1 or result.split(b"\r\n\r\n")[1] != message.split(b"\r\n\r\n")[1]:
                fault(f"{what}: {result!r}")
                continue
            how = check(what, values[0], tag, expected_text(subject, text, body), subject, body)
            counts[how] = counts.get(how, 0) + 1
    # A message without a Subject gets one.
    with tempfile.TemporaryDirectory() as folder:
        for body, result in zip(BODIES, apply(quzo, folder, bare, "[T] ")):
            if [decoded(value.decode()) for value in subject_of(result)] not in (["[T] "], ["[T]"]):
                fault(f"no Subject in {body}: {result!r}")
    # Several Subjects of different charsets: none is written in another one's.
    several = [message_with(SUBJECT + b"=?koi8-r?B?9MXT1A==?=\r\n" + SUBJECT + b"=?iso-8859-2?Q?=F9?=\r\n" + SUBJECT
                            + b"caf\xe9\r\n" + SUBJECT + b"plain\r\n", body) for body in BODIES]
    with tempfile.TemporaryDirectory() as folder:
        for body, result in zip(BODIES, apply(quzo, folder, several, "[Я €] ")):
            readings = [decoded(value.decode("latin-1")) for value in subject_of(result)]
            want = ["[Я €] " + text for text in ("Тест", "ů", raw_text(b"caf\xe9", body), "plain")]
            if readings != want:
                fault(f"several Subjects in {body}: {readings}")
    # Bytes as they came, where that was asked for.
    raw = [(subject, body) for subject, text, body in cases if b"=?" not in subject and subject]
    with tempfile.TemporaryDirectory() as folder:
        results = apply(quzo, folder, [message_with(SUBJECT + subject + b"\r\n", body) for subject, body in raw],
                        "[T] ", "TagNotEncoding = 1\n")
    for (subject, body), result in zip(raw, results):
        if subject_of(result) != [b"[T] " + subject]:
            fault(f"not encoding, {subject!r} in {body}: {subject_of(result)}")
    print(f"{len(SUBJECTS)} subjects in {len(BODIES)} bodies with {len(TAGS)} tags: {counts}; {len(raw)} as they came")
    print(f"{faults} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
