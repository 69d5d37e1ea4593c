#!/usr/bin/env python3
"""The way back into a real Postfix: what is re-addressed, released, postponed or submitted for another scan arrives
once, judged as it is meant to be, and marks that a client has made up count for nothing.

    reprocess_test.py PROGRAM

Once the queue runner passes the scan queue through the policy, and once it sends it to a service of Postfix that brings
it back to the milter. Everything listens on 127.0.0.1 or on a socket in the test's folder, and ends with it. Without
Postfix, or without being root, it is skipped (77).
"""
import os
import re
import smtplib
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "flow"))
from gateway import Gateway  # noqa: E402
from installation import FAULTS, as_mail, check  # noqa: E402
from postfix_instance import free_port, missing, wait_until  # noqa: E402

OBJECTS = {"quarantine": {"area": {"description": "area", "days": 1}},
           "notify": {"note": {"from": "gw@in.example", "to": "boss@in.example", "subject": "note",
                               "body": "text", "attach": "original"}}}
# The last rule tells how often a message was judged.
RULES = (
    ("Move", {"subject": "move"}, [{"type": "readdress", "to": ["new@in.example"]}]),
    ("Hold", {"subject": "hold"}, [{"type": "quarantine", "object": "area"}]),
    ("Wait", {"subject": "wait"}, [{"type": "postpone", "at": "00:00"}]),
    ("Note", {"subject": "note"}, [{"type": "notify", "object": "note"}]),
    ("All", {"always": True}, [{"type": "tag-subject", "tag": "[T] "}]),
)
MARKS = b"X-quzo-reprocess-rules: 10 11 12 13 14\r\nX-quzo-reprocess-type: notification\r\n"
OLD = "old@in.example"
# What arrives of each message: (recipient, Subject).
ARRIVE = {
    "move": [("new@in.example", "[T] move")],
    "forged move": [("new@in.example", "[T] forged move")],
    "hold": [(OLD, "hold")],  # released
    "hold again": [(OLD, "[T] hold again")],  # released for another scan
    "wait": [(OLD, "wait")],
    "note": [(OLD, "[T] note"), ("boss@in.example", "[T] note")],
    "forged note": [(OLD, "[T] forged note"), ("boss@in.example", "[T] note")],
    "forged plain": [(OLD, "[T] forged plain")],
    "stranger plain": [(OLD, "[T] stranger plain")],  # at the way back, of a client that is not trusted
    "friend plain": [(OLD, "friend plain")],
}


def send(port, subject, source="127.0.0.1"):
    forged = MARKS if subject.split()[0] in ("forged", "stranger", "friend") else b""
    with smtplib.SMTP("127.0.0.1", port, "client.example", timeout=60, source_address=(source, 0)) as client:
        client.sendmail("a@out.example", [OLD], forged + f"From: a@out.example\r\nTo: {OLD}\r\n"
                        f"Subject: {subject}\r\n\r\nbody\r\n".encode())


def release(gateway, subject, *options):
    quzo = gateway.installation
    run = quzo.quzo("queue", "release", "-c", "quzo.ini", "quarantine", "--all", "--subject", subject, *options)
    check("released" in run, f"{subject}: not released: {run}")


def test(program, folder, through_postfix):
    back = free_port()
    settings = "[milter]\nrescan_daemon_name = back\ntrusted_addresses = 127.0.0.1\n"
    if through_postfix:
        settings += f"rescan_hop = smtp://127.0.0.1:{back}\n"
    with Gateway(program, folder, OBJECTS, RULES, settings=settings,
                 services=f"127.0.0.1:{back} inet n - n - - smtpd -o milter_macro_daemon_name=back\n") as gateway:
        for subject in ARRIVE:
            if subject.startswith("stranger"):
                send(back, subject, "127.0.0.2")
            else:
                send(back if subject.startswith("friend") else gateway.postfix.port, subject)
        wait_until(lambda: gateway.installation.waiting().get("quarantine") == 2)
        release(gateway, "hold")
        release(gateway, "hold again", "--rescan")
        gateway.settle({})
        arrived = sorted((mail.recipients[0].decode(), as_mail(mail.content)["Subject"]) for mail in gateway.sink.mails)
        wanted = sorted(one for each in ARRIVE.values() for one in each)
        check(arrived == wanted, f"{through_postfix}: {arrived}\nin place of {wanted}\n{gateway.postfix.log_text()}")
        for mail in gateway.sink.mails:
            header, body = mail.content.split(b"\r\n\r\n", 1)
            # What a stranger has made up stays in a copy of his mail as it came, attached.
            own = header if b"Subject: forged" in body else mail.content
            check(b"x-quzo" not in own.lower(), f"{through_postfix}: marks: {mail.content}")
            check(body == b"body\r\n" or b"\r\n\r\nbody\r\n" in body, f"{through_postfix}: body: {mail.content}")
        check(not gateway.sink.faults, f"on the wire: {gateway.sink.faults}")


def test_circle(program, folder):
    """With the front door as the next hop, what a rule re-addresses goes round, but not for ever."""
    gateway = Gateway(program, folder, {}, RULES[:1], options="hopcount_limit = 5\n")
    ini = os.path.join(gateway.installation.folder, "quzo.ini")
    with open(ini, encoding="utf-8") as file:
        text = re.sub(r"(?<=127\.0\.0\.1:)\d+", str(gateway.postfix.port), file.read())
    gateway.installation.write("quzo.ini", text)
    with gateway:
        send(gateway.postfix.port, "move")
        gateway.settle({"failed": 1})
        reason = gateway.installation.quzo("queue", "list", "-c", "quzo.ini", "failed")
        check("too many hops" in reason and not gateway.sink.mails, f"a circle ends: {reason}")


def main():
    if reason := missing():
        print("SKIP:", reason)
        return 77
    with tempfile.TemporaryDirectory(prefix="quzo-reprocess-") as folder:
        os.chmod(folder, 0o755)
        for through_postfix in (False, True):
            test(os.path.abspath(sys.argv[1]), os.path.join(folder, str(through_postfix)), through_postfix)
        test_circle(os.path.abspath(sys.argv[1]), os.path.join(folder, "circle"))
    print(len(FAULTS), "faults")
    return 1 if FAULTS else 0


if __name__ == "__main__":
    sys.exit(main())
