"""Reads what our code wrote with Python's own mail package and codecs.

Each line of the batch file is one of
  H <raw field value> <the UTF-8 text that it has to be>
  T <charset> <bytes that have to be text in it>
with everything but the charset in hexadecimal, "-" for nothing. For each line that does not hold,
"LINE n: reason" is printed.
"""

import email
import email.policy
import sys

CODECS = {"tis-620": "tis_620"}


def unhex(text):
    return b"" if text == "-" else bytes.fromhex(text)


def subject(raw):
    return email.message_from_bytes(b"Subject: " + raw + b"\r\n\r\n", policy=email.policy.default)["subject"]


def main():
    for number, line in enumerate(open(sys.argv[1], encoding="ascii"), 1):
        kind, first, *rest = line.split()
        if kind == "T":
            try:
                unhex(rest[0]).decode(CODECS.get(first, first))
            except UnicodeDecodeError as problem:
                print(f"LINE {number}: {first}: {problem}")
            continue
        text = str(subject(unhex(first))).encode("utf-8", "surrogateescape")
        if text != unhex(rest[0]):
            print(f"LINE {number}: {text!r}")


main()
