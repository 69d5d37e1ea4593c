"""Reads what our code wrote with Python's own mail package and codecs.

Each line of the batch file is one of
  H <raw field value> <the UTF-8 text that it has to be>
  T <charset> <bytes that have to be text in it>
  S <raw field value>      prints "=" and the text that Python reads, or "?" when Python itself is in doubt
with everything but the charset in hexadecimal, "-" for nothing. For each line of kind H and T that does not
hold, "LINE n: reason" is printed.
"""

import email
import email.errors
import email.policy
import sys

CODECS = {"tis-620": "tis_620"}
DOUBTS = (
    email.errors.InvalidBase64CharactersDefect,
    email.errors.InvalidBase64LengthDefect,
    email.errors.InvalidBase64PaddingDefect,
)


def unhex(text):
    return b"" if text == "-" else bytes.fromhex(text)


def subject(raw):
    return email.message_from_bytes(b"Subject: " + raw + b"\r\n\r\n", policy=email.policy.default)["subject"]


def in_doubt(value):
    """Whether Python could not make a text of it: an unknown charset, malformed bytes, a word left over."""
    unread = any(c == "\ufffd" or "\ud800" <= c <= "\udfff" for c in value)
    return unread or "=?" in value or any(isinstance(d, DOUBTS) for d in value._parse_tree.all_defects)


def main():
    for number, line in enumerate(open(sys.argv[1], encoding="ascii"), 1):
        kind, first, *rest = line.split()
        if kind == "T":
            try:
                unhex(rest[0]).decode(CODECS.get(first, first))
            except UnicodeDecodeError as problem:
                print(f"LINE {number}: {first}: {problem}")
            continue
        value = subject(unhex(first))
        text = str(value).encode("utf-8", "surrogateescape")
        if kind == "S":
            print("?" if in_doubt(value) else "=" + (text.strip(b" \t").hex() or "-"))
        elif text != unhex(rest[0]):
            print(f"LINE {number}: {text!r}")


main()
