#!/usr/bin/env python3
"""The jobs of the comparison by Python's email package: one process, one message after the other.

usage: python_email_loop.py stamp|strip MAIL OUT

As an administrator's script would be, with the policy that the package recommends: messages that are signed or
encrypted get the field only, a disclaimer goes in front of the end of an HTML body, and a message that the package
cannot parse or write is copied.
"""
import email
import email.policy
import os
import re
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
PROTECTION = ("multipart/signed", "multipart/encrypted", "application/pkcs7-mime", "application/x-pkcs7-mime",
              "application/ms-tnef", "application/vnd.ms-tnef")
ARMOUR = re.compile(rb"^-----BEGIN PGP (SIGNED )?MESSAGE", re.MULTILINE)
END = re.compile(r"</body>(?!.*</body>)|</html>", re.IGNORECASE | re.DOTALL)


def disclaimer(name):
    with open(os.path.join(HERE, name), encoding="utf-8") as file:
        return file.read()


def put_into(part, text, html):
    content = part.get_content()
    kind = part.get_content_subtype()
    if kind == "html":
        end = END.search(content)
        at = end.start() if end else len(content)
        content = content[:at] + html + content[at:]
    else:
        content += ("" if not content or content.endswith("\n") else "\n") + text
    charset = part.get_content_charset("us-ascii")
    try:
        content.encode(charset)
    except (LookupError, UnicodeEncodeError):
        charset = "utf-8"
    part.set_content(content, subtype=kind, charset=charset)


def stamp(message, raw, text, html):
    message["X-Scanned"] = "yes"
    if ARMOUR.search(raw) or any(part.get_content_type() in PROTECTION for part in message.walk()):
        return
    subject = message["Subject"] or ""
    del message["Subject"]
    message["Subject"] = "[checked] " + subject
    for kind in ("plain", "html"):
        part = message.get_body((kind,))
        if part is not None:
            put_into(part, text, html)


def strip(part):
    if not part.is_multipart() or part.get_content_maintype() != "multipart":
        return
    kept = [one for one in part.get_payload()
            if not one.is_attachment() and not one.get_filename() and one.get_content_type() != "message/rfc822"]
    part.set_payload(kept)
    for one in kept:
        strip(one)


def main():
    job, mail, out = sys.argv[1:]
    text, html = disclaimer("disclaimer.txt"), disclaimer("disclaimer.html")
    os.mkdir(out)
    for name in sorted(os.listdir(mail)):
        with open(os.path.join(mail, name), "rb") as file:
            raw = file.read()
        try:
            message = email.message_from_bytes(raw, policy=email.policy.default)
            strip(message) if job == "strip" else stamp(message, raw, text, html)
            written = message.as_bytes()
        except Exception:  # the package raises nearly anything at messages that are not as they should be
            written = raw
        with open(os.path.join(out, name), "wb") as file:
            file.write(written)


main()
