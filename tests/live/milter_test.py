#!/usr/bin/env python3
"""The milter beside a real Postfix: what comes out at the other end is what `quzo apply` makes of what went in.

    milter_test.py PROGRAM [MAIL_FOLDER]

Everything listens on 127.0.0.1 or on a socket in the test's folder, and ends with it. Without Postfix, or without being
root, it is skipped (77).
"""
import glob
import os
import re
import smtplib
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "flow"))
from installation import FAULTS, Installation, check  # noqa: E402
from mail_server import MailServer  # noqa: E402
from milter_process import Milter  # noqa: E402
from postfix_instance import Postfix, missing, wait_until  # noqa: E402

PART = (b'--b\r\nContent-Type: application/octet-stream; name="tool.exe"\r\nContent-Disposition: attachment; '
        b'filename="tool.exe"\r\nContent-Transfer-Encoding: base64\r\n\r\nTVqQAAM=\r\n')
HEAD = b"From: a@out.example\r\nTo: b@in.example\r\n"
MIXED = b"MIME-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\ntext\r\n"
MAILS = {
    "plain": HEAD + b"Subject: plain\r\n\r\n.dot\r\n\r\nbody\r\n",
    "tag": HEAD + b"Subject: tag\r\nX-Tight:v\r\nX-Fold: a\r\n\tb\r\n  c\r\nX-Two:   v \r\n\r\n\xff 8 bit\r\n",
    "first": b"Subject: tag first\r\n" + HEAD + b"\r\nbody\r\n",
    "twice": HEAD + b"Subject: tag\r\nsubject: tag again\r\nX-A: 1\r\nx-a: 2\r\nX-A: 1\r\n\r\nbody\r\n",
    "stamp": HEAD + b"Subject: stamp\r\n\r\nshort\r\n",
    "long": HEAD + b"Subject: stamp\r\n\r\n" + b"0123456789abcde\r\n" * 20000,
    "tool": HEAD + b"Subject: tool\r\n" + MIXED + PART + b"--b--\r\n",
    "alone": HEAD + b"Subject: tool\r\nContent-Type: application/x; name=tool.exe\r\n\r\n" + b"MZ\r\n" * 9,
    "copy": HEAD + b"Subject: copy\r\n\r\nbody\r\n",
    "held": HEAD + b"Subject: held\r\n\r\nbody\r\n",
    "gone": HEAD + b"Subject: gone\r\n\r\nbody\r\n",
    "nobody": HEAD + b"Subject: tag nobody\r\n\r\n",
    "forged": b"X-quzo-reprocess-rules: 10 11\r\nX-quzo-reprocess-type: quarantine\r\n" + HEAD +
              b"Subject: tag forged\r\n\r\nbody\r\n",
}
OBJECTS = {"stamp": {"legal": {"text": "The stamp of %RULENAME%"}},
           "quarantine": {"area": {"description": "area", "days": 1}}}
RULES = (
    ("Tag", {"subject": "^tag"}, [{"type": "tag-subject", "tag": "[%SENDER%] "},
                                  {"type": "x-header", "name": "X-Seen", "value": "by %RULENAME%"}]),
    ("Stamp", {"subject": "^stamp"}, [{"type": "stamp", "object": "legal"}]),
    ("Tool", {"attachment": "*.exe"}, [{"type": "delete-attachment"}]),
    ("Copy", {"subject": "^copy"}, [{"type": "bcc", "to": ["boss@in.example"]}]),
    ("Held", {"subject": "^held"}, [{"type": "quarantine", "object": "area"}]),
    ("Gone", {"subject": "^gone"}, [{"type": "delete"}]),
)
POSTFIX_FIELD = 60000  # bytes of a header field that Postfix keeps beside a milter
# For real mail: all of it changes.
ALL = (("All", {"always": True}, [
    {"type": "tag-subject", "tag": "[%SENDER%] "}, {"type": "x-header", "name": "X-Seen", "value": "by %RULENAME%"},
    {"type": "delete-attachment", "all": True}, {"type": "stamp", "object": "legal"}]),)


def send(port, name, content):
    with smtplib.SMTP("127.0.0.1", port, "client.example", timeout=60) as client:
        try:
            client.sendmail("a@out.example", ["b@in.example", "c@in.example"], content)
        except smtplib.SMTPException as error:
            check(False, f"{name}: {error}")


def without_trace(content):
    """The message without the fields that servers put in front of it."""
    lines = content.split(b"\r\n")
    while lines and (lines[0].lower().startswith((b"received:", b"delivered-to:", b"return-path:")) or
                     lines[0][:1] in (b" ", b"\t")):
        del lines[0]
    return b"\r\n".join(lines)


def plain_form(content):
    """Without the random part of boundaries that quzo makes up, and with the line end that Postfix adds."""
    return re.sub(rb"=_[0-9A-Z]{24}", b"=_B", content) + (b"" if content.endswith(b"\r\n") else b"\r\n")


def longest_field(content):
    return max(map(len, re.split(rb"\r\n(?![ \t])", content.split(b"\r\n\r\n", 1)[0])))


def pass_all(folder, mails, milter):
    """Sends all mails through Postfix, one after the other, and gives what arrives: {name: mail, or None}."""
    arrived = {}
    with MailServer() as server:
        options = f"smtpd_milters = unix:{milter.socket}\nmilter_default_action = tempfail\n" if milter else ""
        with Postfix(folder, server.port, options) as postfix:
            for name, content in mails.items():
                count = len(server.mails)
                send(postfix.port, name, content)
                wait_until(lambda: postfix.queued() == 0)
                new = server.mails[count:]
                check(len(new) <= 1, f"{name}: {len(new)} arrived")
                arrived[name] = new[0] if new else None
    return arrived


def main():
    if reason := missing():
        print("SKIP:", reason)
        return 77
    with tempfile.TemporaryDirectory(prefix="quzo-live-") as folder:
        os.chmod(folder, 0o755)
        installation = Installation(os.path.abspath(sys.argv[1]), os.path.join(folder, "quzo"), OBJECTS,
                                    ALL if len(sys.argv) > 2 else RULES)
        mails = {} if len(sys.argv) > 2 else dict(MAILS)
        for path in sorted(glob.glob(os.path.join(sys.argv[2], "*"))) if len(sys.argv) > 2 else ():
            with open(path, "rb") as file:
                mails[os.path.basename(path).removesuffix(".eml")] = file.read()
        plain = pass_all(os.path.join(folder, "plain"), mails, None)
        for name in [name for name, mail in plain.items() if longest_field(mail.content) > POSTFIX_FIELD]:
            print("SKIP:", name, "has a header field that Postfix shortens as soon as it has a milter")
            del plain[name], mails[name]
        for name, mail in plain.items():
            installation.put(name, without_trace(mail.content))
        reports = installation.apply("--from", "a@out.example", "--to", "b@in.example", "--to", "c@in.example")
        with Milter(installation) as milter:
            judged = pass_all(os.path.join(folder, "milter"), mails, milter)
        for name, mail in judged.items():
            report = reports[name]
            if report["outcome"] == "consumed":
                check(mail is None, f"{name}: is consumed, and arrives: {mail}")
            elif check(mail is not None, f"{name}: does not arrive"):
                wanted = installation.delivered(name)
                check(plain_form(without_trace(mail.content)) == plain_form(wanted),
                      f"{name}: {mail.content[:1500]}\nin place of {wanted[:1500]}")
                check(sorted(mail.recipients) == sorted(one.encode() for one in report["envelope"]["to"]),
                      f"{name}: went to {mail.recipients}")
        waiting = installation.waiting()
        # One of apply, one of the milter.
        check(waiting == ({} if len(sys.argv) > 2 else {"quarantine": 2}), f"in the queues: {waiting}")
        installation.check_log()
    print(f"{len(judged)} mails, {len(FAULTS)} faults")
    return 1 if FAULTS else 0


if __name__ == "__main__":
    sys.exit(main())
