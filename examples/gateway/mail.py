"""Sends the sample mail, and tells what arrived of it; for run.sh.

    mail.py send PORT FOLDER           each message of the folder through the mail server at the port
    mail.py show FOLDER INBOX QUEUED   what became of each; QUEUED is what `quzo queue list --json` says of a queue
    mail.py diff FILE INBOX RECIPIENT  what has changed in the copy that arrived
"""
import difflib
import email
import email.policy
import email.utils
import glob
import json
import os
import re
import smtplib
import sys


def lines_of(path):
    with open(path, "rb") as file:
        return file.read().replace(b"\r\n", b"\n").split(b"\n")


def mails(folder):
    """(name, message, its lines) of each file."""
    for path in sorted(glob.glob(os.path.join(folder, "*.eml"))):
        lines = lines_of(path)
        text = re.sub(rb"(?m)^([\w-]+) +:", rb"\1:", b"\n".join(lines))  # old mail may have blanks there
        yield os.path.basename(path), email.message_from_bytes(text), lines


def addresses(message, *fields):
    found = email.utils.getaddresses([str(value) for field in fields for value in message.get_all(field, [])])
    return [address for _, address in found if "@" in address] or ["maria.costa@example.com"]


def send(port, folder):
    with smtplib.SMTP("127.0.0.1", int(port), "client.example.org") as client:
        for _, message, lines in mails(folder):
            text = b"\r\n".join(line for line in lines if not line.startswith(b"Return-Path:"))
            client.sendmail(addresses(message, "Return-Path", "From")[0], addresses(message, "To", "Cc"), text)


def arrived(inbox):
    """{Message-ID: [(recipient, message, path)]} of the Maildir."""
    found = {}
    for path in sorted(glob.glob(os.path.join(inbox, "new", "*"))):
        with open(path, "rb") as file:
            message = email.message_from_bytes(file.read(), policy=email.policy.default)
        found.setdefault(message["Message-ID"].strip(), []).append((message["Delivered-To"], message, path))
    return found


def shown(text, width):
    text = "".join(c if c.isprintable() else "?" for c in text)
    return text if len(text) <= width else text[:width - 3] + "..."


def fate(message, copies, held):
    """In a few words."""
    if not copies:
        return held.get(str(message["Subject"]), "deleted")
    came = copies[0][1]
    new = [name for name in came.keys() if name.startswith("X-") and name not in {*message.keys(), "X-Original-To"}]
    there = f"{len(copies)} mailboxes" if len(copies) > 2 else " and ".join(sorted(who for who, _, _ in copies))
    return f"{there}: {shown(str(came['Subject']), 44)}" + (f"  ({', '.join(new)})" if new else "")


def show(folder, inbox, queued):
    with open(queued, encoding="ascii") as file:
        held = {one["subject"]: f"held by the rule {one['rule']['name']}" for one in map(json.loads, file)}
    there, counts = arrived(inbox), {"arrived": 0, "held": 0, "deleted": 0}
    for name, message, _ in mails(folder):
        text = fate(message, there.pop(message["Message-ID"].strip(), []), held)
        counts[text.split()[0] if text.split()[0] in counts else "arrived"] += 1
        print(f"  {name:24}{text}")
    for copies in there.values():
        print(f"  {'(a notification)':24}{fate(email.message.Message(), copies, {})}")
    print("\n  " + ", ".join(f"{count} {what}" for what, count in counts.items()))


def diff(sent, inbox, recipient):
    before = [line for line in lines_of(sent) if not line.startswith(b"Return-Path:")]
    identifier = email.message_from_bytes(b"\n".join(before))["Message-ID"]
    after = lines_of(next(path for who, _, path in arrived(inbox)[identifier] if who == recipient))
    trace = re.compile(rb"Return-Path|X-Original-To|Delivered-To|Received|\s")  # fields of the mail servers
    after = after[next(i for i, line in enumerate(after) if not trace.match(line)):]
    changes = [line for line in difflib.ndiff(*([line.decode("utf-8", "replace") for line in lines]
                                                for lines in (before, after))) if line[0] in "+-"]
    for line in changes:
        print(" ", shown(line, 110))
    print(f"  The other {len(before) - sum(line[0] == '-' for line in changes)} lines are the same.")


if __name__ == "__main__":
    {"send": send, "show": show, "diff": diff}[sys.argv[1]](*sys.argv[2:])
