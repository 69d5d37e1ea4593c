#!/usr/bin/env python3
"""Stamps and strips messages that openssl has signed, and lets openssl judge what comes out.

usage: signature_test.py QUZO

A signed message stays byte for byte as it is under an area that skips signed mail, and under one that stamps it is
wrapped: its signature still verifies. So does that of a signed part beside which an attachment was removed; and
removing all attachments of a signed message leaves it as it is. Exits 1 on any fault, 77 without openssl.
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "flow"))
from installation import FAULTS, check as expect  # noqa: E402

ENVELOPE = ["--from", "a@x.example", "--to", "b@y.example"]
POLICY = '[[rule]]\nid = 1\nname = "R"\nwhen = { always = true }\nactions = [%s]\n'
HEAD = b"From: a@x.example\r\nSubject: s\r\n"


class Bench:
    def __init__(self, quzo, work):
        self.quzo, self.work = quzo, work
        self.write("quzo.ini", f"[platform]\nstore = sqlite3://{work}/store.db\n".encode())
        self.write("stamp.txt", "Legal é\nnotice\n".encode())
        self.write("text.eml", b"Content-Type: text/plain\r\n\r\nsigned text\r\n")
        self.openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=a@x.example", "-days", "2", "-keyout",
                     "key.pem", "-out", "cert.pem")
        for name, signed in (("skips", "skip"), ("wraps", "stamp")):
            self.run(quzo, "object", "add", "stamp", name, "-c", "quzo.ini", "--text-file", "stamp.txt", "--signed", signed)

    def write(self, name, data):
        with open(os.path.join(self.work, name), "wb") as file:
            file.write(data)

    def run(self, *command, check=True):
        return subprocess.run(command, cwd=self.work, check=check, capture_output=True)

    def openssl(self, *arguments, check=True):
        return self.run("openssl", *arguments, check=check)

    def apply(self, message, actions):
        self.write("policy.toml", (POLICY % actions).encode())
        self.write("in.eml", message)
        return self.run(self.quzo, "apply", "-c", "quzo.ini", "-p", "policy.toml", *ENVELOPE, "in.eml").stdout

    def verifies(self, message):
        self.write("signed.eml", message)
        return self.openssl("cms", "-verify", "-in", "signed.eml", "-CAfile", "cert.pem", "-purpose", "any",
                            check=False).returncode == 0


def part(message, number):
    """The bytes of a part of a multipart, counted from 1."""
    boundary = re.search(rb'multipart/mixed; ?boundary="([^"]+)"', message).group(1)
    return re.split(rb"\r?\n--" + re.escape(boundary) + rb"(?:--)?\r?\n", message)[number]


def main():
    if shutil.which("openssl") is None:
        print("skipped: there is no openssl")
        sys.exit(77)
    with tempfile.TemporaryDirectory() as work:
        bench = Bench(sys.argv[1], work)
        for what, form in (("clear-signed", []), ("opaque", ["-nodetach"])):
            signed = HEAD + bench.openssl("cms", "-sign", "-in", "text.eml", "-signer", "cert.pem", "-inkey", "key.pem",
                                          "-binary", "-crlfeol", *form).stdout
            expect(bench.verifies(signed), f"{what}: openssl does not take its own")
            expect(bench.apply(signed, '{ type = "stamp", object = "skips" }') == signed, f"{what}: changed")
            expect(bench.apply(signed, '{ type = "delete-attachment", all = true }') == signed, f"{what}: stripped")
            stamped = bench.apply(signed, '{ type = "stamp", object = "wraps" }')
            expect(bench.verifies(part(stamped, 1)), f"{what}: the wrapped signature does not verify")
            expect(b"Legal =C3=A9" in part(stamped, 2), f"{what}: no stamp behind it")
            twice = bench.apply(stamped, '{ type = "stamp", object = "wraps" }, { type = "delete-attachment", all = true }')
            expect(bench.verifies(part(twice, 1)), f"{what}: a second pass broke the signature")
            body = signed[len(HEAD):]
            beside = (HEAD + b'MIME-Version: 1.0\r\nContent-Type: multipart/mixed; boundary="m"\r\n\r\n--m\r\n' + body +
                      b'\r\n--m\r\nContent-Type: application/x; name="a.exe"\r\n\r\nMZ\r\n--m--\r\n')
            beside = b"\r\n".join(beside.splitlines()) + b"\r\n"
            stripped = bench.apply(beside, '{ type = "delete-attachment", all = true }')
            expect(b"a.exe" not in stripped, f"{what}: the attachment beside it is left")
            expect(bench.verifies(part(stripped, 1)), f"{what}: stripping beside it broke the signature")
    print(f"{len(FAULTS)} faults")
    sys.exit(1 if FAULTS else 0)


main()
