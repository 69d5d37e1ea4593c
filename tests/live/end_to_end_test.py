#!/usr/bin/env python3
"""Every action of a policy, on mail that comes in at the front door of a real Postfix: what arrives at the other end,
what lies in which queue, which trap came, and what the log says.

    end_to_end_test.py PROGRAM milter|filter [MAILBOX]

MAILBOX is that of a build with one for feedback, which other builds refuse. PostgreSQL has the named objects, and
snmptrapd gets the traps. All of them listen on 127.0.0.1 or in the test's folder, and end with it. Without one of them,
or without being root, it is skipped (77).
"""
import collections
import json
import os
import re
import shutil
import smtplib
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "flow"))
import postfix_instance  # noqa: E402
import postgres_instance  # noqa: E402
from gateway import Gateway  # noqa: E402
from installation import FAULTS, as_mail, attached, check  # noqa: E402
from mail_server import MailServer  # noqa: E402
from trap_receiver import TrapReceiver, text_of  # noqa: E402

SENDER, RECIPIENTS = "a@out.example", ["b@in.example", "c@in.example"]
BOTH = ",".join(RECIPIENTS)
TRAP_TEXT = ".1.3.6.1.4.1.8072.9999.9999.1.1.0"
OBJECTS = {
    "stamp": {"legal": {"text": "The stamp of %RULENAME%"}},
    "quarantine": {"held": {"description": "Held", "days": 30}},
    "archive": {"kept": {"description": "Kept", "days": 0}},
    "notify": {"boss": {"from": "gw@in.example", "to": "boss@in.example", "subject": "About %SUBJECT%",
                        "body": "From %SENDER%", "attach": "original", "snmp-text": "trap of %SUBJECT%",
                        "trap-type": 20}},
}


def plain(name):
    return (f"Message-ID: <{name}@out.example>\r\nFrom: {SENDER}\r\nTo: b@in.example\r\nSubject: row-{name}\r\n\r\n"
            ".dot\r\n").encode() + b"\xff 8 bit\r\n"


def with_tool(name):
    fields = b"\r\nMIME-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n--b"
    return plain(name).replace(b"\r\n\r\n", fields + b"\r\n\r\n") + \
        f'--b\r\nContent-Type: application/octet-stream; name="row-{name}.exe"\r\n\r\nMZ\r\n--b--\r\n'.encode()


def as_sent(mail):
    return mail


def replaced(old, new):
    return lambda mail: mail.replace(old, new)


def field(line):
    return replaced(b"\r\n\r\n", b"\r\n" + line + b"\r\n\r\n")


def without_tool(mail):
    return re.sub(rb"--b\r\nContent-Type: application/octet-stream.*?(?=--b--)", b"", mail, flags=re.S)


# `arrives`: {recipients: what of the message}; `stays`: the queue that it is in at the end; `mail`: how it is made.
Row = collections.namedtuple("Row", "name action arrives outcome stays mail", defaults=(None, plain))


def mark(name):
    return Row(name, {"type": name}, {BOTH: field(b"X-Marks: " + name.encode())}, "modified")


def rows(second_port):
    """`second_port`: of the server that mail is handed off to."""
    return (
        Row("delete", {"type": "delete"}, {}, "consumed"),
        Row("quarantine", {"type": "quarantine", "object": "held"}, {}, "consumed", "quarantine"),
        Row("archive", {"type": "archive", "object": "kept"}, {BOTH: as_sent}, "unchanged", "archive"),
        Row("stamp", {"type": "stamp", "object": "legal"},
            {BOTH: lambda mail: mail + b"The stamp of rule stamp\r\n"}, "modified"),
        Row("notify", {"type": "notify", "object": "boss"}, {BOTH: as_sent, "boss@in.example": None}, "unchanged"),
        Row("readdress", {"type": "readdress", "to": ["new@in.example"]}, {"new@in.example": as_sent}, "consumed"),
        Row("bcc", {"type": "bcc", "to": ["boss@in.example"]}, {BOTH + ",boss@in.example": as_sent}, "modified"),
        Row("delete-attachment", {"type": "delete-attachment"}, {BOTH: without_tool}, "modified", mail=with_tool),
        *map(mark, ("virus-clean", "encrypt", "decrypt", "re-encrypt")),
        Row("tag-subject", {"type": "tag-subject", "tag": "[Größe] "},
            {BOTH: replaced(b"Subject: ", b"Subject: =?utf-8?B?W0dyw7bDn2Vd?= ")}, "modified"),
        Row("x-header", {"type": "x-header", "name": "X-Seen", "value": "yes"}, {BOTH: field(b"X-Seen: yes")},
            "modified"),
        Row("handoff", {"type": "handoff", "host": "127.0.0.1", "port": second_port}, {"second:" + BOTH: as_sent},
            "consumed"),
        Row("postpone-due", {"type": "postpone", "at": "00:00"}, {BOTH: as_sent}, "consumed"),
        Row("postpone-later", {"type": "postpone", "at": "23:00"}, {}, "consumed", "postponed"),
        Row("feedback", {"type": "feedback"}, {BOTH: as_sent, "MAILBOX": None}, "unchanged", mail=with_tool),
    )


def rule_of(row):
    when = {"subject": f"row-{row.name}$"}
    return f"rule {row.name}", {**when, "attachment": "*.exe"} if row.mail is with_tool else when, [row.action]


def without_trace(content):
    """The message without the Received fields of Postfix."""
    return re.sub(rb"\A(Received:.*\r\n([ \t].*\r\n)*)+", b"", content)


def check_arrived(row, arrived, mailbox):
    """`arrived`: (recipients, message)s."""
    wanted = {mailbox if who == "MAILBOX" else who: made for who, made in row.arrives.items()}
    check(sorted(who for who, _ in arrived) == sorted(wanted), f"{row.name}: arrived at {[who for who, _ in arrived]}")
    sent = row.mail(row.name)
    for who, content in arrived:
        check(b"x-quzo" not in content.lower(), f"{row.name}: marks: {content}")
        if who == mailbox:
            check(b'row-feedback.exe' in content and b"TVo" in content or b"MZ" in content, f"a sample: {content}")
        elif wanted.get(who):
            check(without_trace(content) == wanted[who](sent),
                  f"{row.name}: {without_trace(content)}\nin place of {wanted[who](sent)}")
        elif who == "boss@in.example":
            text = as_mail(content)
            check(text["Subject"] == "About row-notify" and text["Auto-Submitted"] == "auto-generated" and
                  next(text.iter_parts()).get_content().strip() == "From " + SENDER, f"the notification: {content}")
            check(without_trace(attached(content)).rstrip() == sent.rstrip(), f"attached: {content}")


def check_queues(quzo, table):
    """What lies there, and is it whole?"""
    for row in table:
        if row.stays:
            listed = quzo.quzo("queue", "list", "-c", "quzo.ini", row.stays, "--json").splitlines()
            entry = next(one for one in map(json.loads, listed) if one["subject"] == "row-" + row.name)
            check((entry["sender"], entry["recipients"], entry["rule"]["name"]) ==
                  (SENDER, RECIPIENTS, "rule " + row.name), f"{row.stays}: {entry}")
            stored = quzo.quzo_bytes("queue", "show", "-c", "quzo.ini", row.stays, entry["id"], "--raw")
            as_smtp = stored.replace(b"\r\n", b"\n").replace(b"\n", b"\r\n")  # pipe(8) gives lines with LF
            check(re.sub(rb"(?m)^X-quzo.*\n", b"", without_trace(as_smtp)) == row.mail(row.name),
                  f"{row.stays}: {stored}")


def check_log(quzo, table):
    with open(os.path.join(quzo.folder, "log"), encoding="utf-8", errors="replace") as file:
        told = [json.loads(line.split("message: ", 1)[1]) for line in file if "message: {" in line]
    for number, row in enumerate(table, 10):
        lines = [line for line in told if line["message_id"] == f"<{row.name}@out.example>"]
        if check(lines, f"{row.name}: no line in the log"):
            first = lines[0]
            found = {key: first[key] for key in ("from", "rules", "actions", "failed", "outcome", "error")}
            check(found == {"from": SENDER, "rules": [number], "actions": [row.action["type"]], "failed": [],
                            "outcome": row.outcome, "error": None}, f"{row.name}: in the log: {first}")
            again = [line["rules"] for line in lines[1:]]
            check(again == ([[]] if row.name == "readdress" else []), f"{row.name}: in the log as well: {lines[1:]}")
    quzo.check_log()


def test(program, folder, with_filter, mailbox):
    hour = 10 - time.gmtime().tm_hour  # of a zone in which it is ten now, so that 23:00 is still to come
    second, traps = MailServer(), TrapReceiver(os.path.join(folder, "traps"), "s3cret")
    table = [row for row in rows(second.port) if mailbox or row.name != "feedback"]
    settings = f"[General-Notification]\nSNMPServer = 127.0.0.1:{traps.port}\nCommunity = s3cret\n"
    with second, traps, postgres_instance.Postgres(os.path.join(folder, "postgres")) as postgres, \
            Gateway(program, os.path.join(folder, "gateway"), OBJECTS, list(map(rule_of, table)), store=postgres.store,
                    platform="log_messages = json\n", settings=settings, defaults={"mark_header": "X-Marks"},
                    environment={"TZ": f"HERE{-hour:+d}"}, with_filter=with_filter) as gateway:
        with smtplib.SMTP("127.0.0.1", gateway.postfix.port, "client.example", timeout=60) as client:
            for row in table:
                client.sendmail(SENDER, RECIPIENTS, row.mail(row.name))
        gateway.settle(dict(collections.Counter(row.stays for row in table if row.stays)))
        arrived = collections.defaultdict(list)
        for prefix, server in (("", gateway.sink), ("second:", second)):
            for mail in server.mails:
                name = re.search(rb"row-([a-z-]+)", mail.content).group(1).decode()
                arrived[name].append((prefix + ",".join(sorted(map(bytes.decode, mail.recipients),
                                                               key=lambda who: who.startswith("boss"))), mail.content))
            check(not server.faults, f"on the wire: {server.faults}")
        for row in table:
            check_arrived(row, arrived.pop(row.name, []), mailbox)
        check(not arrived, f"nobody sent: {dict(arrived)}")
        check_queues(gateway.installation, table)
        check([text_of(trap) for trap in traps.traps(1)] == [(TRAP_TEXT, b"trap of row-notify")], f"{traps.traps(1)}")
        check_log(gateway.installation, table)
    return len(table)


def main():
    lacking = postfix_instance.missing() or postgres_instance.missing()
    if reason := lacking or (None if shutil.which("snmptrapd") else "there is no snmptrapd"):
        print("SKIP:", reason)
        return 77
    mailbox = sys.argv[3] if len(sys.argv) > 3 else ""
    with tempfile.TemporaryDirectory(prefix="quzo-end-") as folder:
        os.chmod(folder, 0o755)
        count = test(os.path.abspath(sys.argv[1]), folder, sys.argv[2] == "filter", mailbox)
    print(f"{count} actions, {len(FAULTS)} faults")
    return 1 if FAULTS else 0


if __name__ == "__main__":
    sys.exit(main())
