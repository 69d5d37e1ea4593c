#!/usr/bin/env python3
"""Mail that wants to become more than it is: further recipients, header fields, commands, messages, lines of the log.

    injection_test.py PROGRAM [MESSAGES]

Generated messages, the same each time, go through notifications, re-addressing, blind copies and handing over to
servers that keep every command and every byte.
"""
import base64
import collections
import os
import random
import re
import sys
import tempfile

from installation import FAULTS, Installation, attached, check
from mail_server import MailServer

VICTIM = b"victim@v.example"
LINE = b"Bcc: " + VICTIM + b"\r\nX-V: "
SMUGGLED = b"MAIL FROM:<%s>\r\nRCPT TO:<%s>\r\nDATA\r\nSubject: v\r\n\r\nv" % (VICTIM, VICTIM)
PIECES = (VICTIM, b",", b";", b":", b"<", b">", b'"', b"\\", b"(", b")", b"@", b" ", b"\t", b"\r\n ", b"\n\t", b"\0",
          b"\r", b"\n", b"\r\n" + LINE, b"\n" + LINE, b"\r" + LINE, b"=?utf-8?Q?=0D=0ABcc:_" + VICTIM + b"?=",
          b"=?utf-8?B?" + base64.b64encode(b"\r\n" + LINE) + b"?=", b"=?utf-8?Q?=00=0A=0D?=", b"=?utf-8?Q?=3B=2C?=",
          b"=?utf-7?Q?+AA0ACg-Bcc:" + VICTIM + b"?=", b"a@x>\r\nRCPT TO:<" + VICTIM, b"a@x>" + SMUGGLED,
          b"group:" + VICTIM + b";", b"%SENDER%", b"%HEADERS%", b"w" * 998, b"\xff", b"\xc3\xa9", b"\xc2\x85",
          b"\xe2\x80\xa8", b"\x1b$B", b"word")
ENDS = (b"\n.\n", b"\r\n.\n", b"\n.\r\n", b"\r.\r", b"\r\n.\r", b"\r.\r\n", b"\r.\n", b"\n.\r", b"\r\n.\r\n",
        b"\r\n\0.\r\n", b"\r\n.\0\r\n", b"\r\n..\r\n", b"\r\n. \r\n", b"\n\n.\n\n")

FIELDS = collections.Counter((b"From", b"Content-Type", b"Subject", b"Date", b"MIME-Version", b"To", b"Message-ID",
                              b"Auto-Submitted"))
TOKENS = "%SUBJECT% %FILENAME% %SENDER% %HEADER_RCPTS%"
NOTICE = {"from": "Gateway <gw@example.com>", "to": "admin@example.com", "notify-sender": True,
          "notify-recipients": True, "body": TOKENS + " %HEADERS%\n"}
OBJECTS = {"notify": {"text": {**NOTICE, "subject": "text " + TOKENS},
                      "whole": {**NOTICE, "subject": "%SUBJECT% %HEADERS%", "attach": "original"}}}
ENVELOPE = {"readdress": {b"boss@in.example"}, "handoff": {b"b@in.example"},
            "bcc": {b"b@in.example", b"copy@in.example"}}


def rules(second_port):
    handoff = {"type": "handoff", "host": "127.0.0.1", "port": second_port}
    return (("Re-address", {"header": {"X-Do": "^readdress$"}}, [{"type": "readdress", "to": ["boss@in.example"]}]),
            ("Notify", {"any": [{"attachment": "*"}, {"always": True}]},
             [{"type": "notify", "objects": list(OBJECTS["notify"])}]),
            ("Hand off", {"header": {"X-Do": "^handoff$"}}, [handoff]),
            ("Copy", {"header": {"X-Do": "^bcc$"}}, [{"type": "bcc", "to": ["copy@in.example"]}, handoff]))


def hostile(source):
    return b"".join(source.choice(PIECES) for _ in range(source.randint(1, 6)))


def mail_of(number, source):
    """How the message goes on, and its bytes. Its sender is sN@out.example, whatever else stands there."""
    sender = b"s%d@out.example" % number
    name = hostile(source)
    senders = (b'"' + re.sub(rb'["\\]', b"", name) + b'" <' + sender + b">", sender + b" (" + name + b")",
               b"=?utf-8?B?" + base64.b64encode(name) + b"?= <" + sender + b">", sender + b", " + name)
    kind = list(ENVELOPE)[number % 3]
    end = source.choice(ENDS)
    return kind, b"\r\n".join((
        b"Return-Path: <" + sender + b">", b"X-Do: " + kind.encode(), b"MIME-Version: 1.0",
        b"Content-Type: multipart/mixed; boundary=b", b"From: " + source.choice(senders),
        b"Subject: " + hostile(source), b"To: " + hostile(source), b"X-Field: " + hostile(source), b"", b"--b", b"",
        b"text" + end + SMUGGLED + end, b"--b",
        b'Content-Disposition: attachment; filename="' + hostile(source) + b'"', b"", b"x" + end, b"--b--", end))


def field_names(content):
    header = content.split(b"\r\n\r\n", 1)[0]
    return collections.Counter(line.split(b":")[0] for line in header.split(b"\r\n") if line[:1] not in b" \t")


def check_notification(mail, allowed):
    check(set(mail.recipients) <= allowed and len(mail.recipients) == len(set(mail.recipients)),
          f"recipients {mail.recipients} of {mail.content[:600]}")
    check(b"admin@example.com" in mail.recipients and mail.sender == b"gw@example.com", f"envelope {mail[:2]}")
    names = field_names(mail.content) - collections.Counter([b"Content-Transfer-Encoding"])
    check(names == FIELDS, f"fields {names} in {mail.content[:2000]}")
    longest = max(map(len, mail.content.split(b"\r\n\r\n")[0].split(b"\r\n")))
    check(longest <= 998, f"a header line of {longest} bytes: {mail.content[:2000]}")


def test_messages(program, folder, numbers, from_mime):
    source = random.Random(20240607 + from_mime)
    mails = {}
    with MailServer() as first, MailServer((b"SIZE 0",)) as second:
        installation = Installation(
            program, folder, OBJECTS, rules(second.port), port=first.port,
            settings=f"[General-Notification]\nNotificationGetSenderFromMIME = {from_mime}\n")
        for number in numbers:
            kind, text = mail_of(number, source)
            installation.put(str(number), text)
            mails[re.sub(rb"\r\n|\r|\n", b"\r\n", text)] = number, kind
        reports = installation.apply("--to", "b@in.example")
        outcomes = collections.Counter(one["outcome"] for one in reports.values())
        check(outcomes == {"consumed": len(numbers)}, f"outcomes: {outcomes}")
        for _ in range(2):  # what the second pass of a message makes has a pass of its own
            installation.run_queues()
        waiting = installation.waiting()
        check(not waiting, f"left: {waiting}")
    check(not first.faults and not second.faults, f"on the wire: {(first.faults + second.faults)[:3]}")
    passed, texts, wholes = [], [], []
    for mail in first.mails + second.mails:
        notified = mail.sender == b"gw@example.com"
        (passed if not notified else wholes if b"Content-Type: message/rfc822" in mail.content else texts).append(mail)
    for what, found in (("passed on", passed), ("texts", texts), ("with the message", wholes)):
        check(len(found) == len(numbers), f"{len(found)} of {len(numbers)}: {what}")
    check({mail.content for mail in passed} == set(mails), "what was passed on has other bytes")
    for mail in passed:
        number, kind = mails.get(mail.content, (None, "readdress"))
        check(mail.sender == b"s%d@out.example" % number and set(mail.recipients) == ENVELOPE[kind],
              f"envelope {mail[:2]} of {number}")
    check({attached(mail.content) for mail in wholes} == set(mails), "what was attached has other bytes")
    for mail in wholes:
        number, kind = mails.get(attached(mail.content), (0, "bcc"))
        receiver = b"boss@in.example" if kind == "readdress" else b"b@in.example"
        wanted = {b"admin@example.com", receiver, b"s%d@out.example" % number}
        check_notification(mail, wanted)
        check(from_mime or set(mail.recipients) == wanted, f"recipients {mail.recipients} in place of {wanted}")
    for mail in texts:
        check_notification(mail, set(mail.recipients))
    to_texts, to_wholes = (collections.Counter(frozenset(mail.recipients) for mail in found)
                           for found in (texts, wholes))
    check(to_texts == to_wholes, f"recipients {to_texts - to_wholes} beside {to_wholes - to_texts}")
    senders = sum(len(mail.recipients) == 3 for mail in wholes)
    check(senders > len(numbers) // 10, f"{senders} senders were notified")
    installation.check_log()


def test_envelopes(program, folder):
    """Addresses of the envelope that say more than an address."""
    victim = VICTIM.decode()
    with MailServer() as server:
        installation = Installation(program, folder, OBJECTS, rules(server.port), port=server.port)
        installation.put("a", b"X-Do: handoff\r\nSubject: x\r\n\r\nx\r\n")
        for text in (f"a@x>\r\nRCPT TO:<{victim}", f"a@x>\nRCPT TO:<{victim}", f"a@x> SIZE=1 <{victim}",
                     f"a@x\r{victim}", f"a@x, {victim}", f"<a@x>{victim}", '"a\r\n"@x', "a@x\n.\n", "a b@x", "a@x\x7f",
                     "a" * 600 + "@x"):
            for option in ("--from", "--to"):
                installation.apply(f"{option}={text}", wanted=64)
        installation.apply("--from", f'"{victim}"@x.example', "--to", f'";,{victim}"@x.example')
        installation.run_queues()
    sender, receiver = b'"%s"@x.example' % VICTIM, b'";,%s"@x.example' % VICTIM
    check(sorted(mail[:2] for mail in server.mails) == [(sender, [receiver])] +
          [(b"gw@example.com", [b"admin@example.com", sender, receiver])] * 2, f"{server.mails}")
    check(not server.faults, f"{server.faults}")
    installation.check_log()


def main():
    program = os.path.abspath(sys.argv[1])
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 500
    with tempfile.TemporaryDirectory(prefix="quzo-flow-") as folder:
        for from_mime in (0, 1):
            numbers = range(from_mime * count // 2, (from_mime + 1) * count // 2)
            test_messages(program, os.path.join(folder, str(from_mime)), numbers, from_mime)
        test_envelopes(program, os.path.join(folder, "envelopes"))
    return 1 if FAULTS else 0


if __name__ == "__main__":
    sys.exit(main())
