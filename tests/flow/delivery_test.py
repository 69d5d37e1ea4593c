#!/usr/bin/env python3
"""One run of a policy with all that sends mail, and where everything arrives.

    delivery_test.py PROGRAM

The receivers are others' programs: aiosmtpd, Postfix's smtp-sink and Net-SNMP's snmptrapd. They listen on 127.0.0.1 and
end with the test. Without one of them it is skipped (77).
"""
import collections
import os
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import time

from installation import FAULTS, Installation, as_mail, attached, check
from mail_server import TRACE, without_trace
from trap_receiver import TrapReceiver, free_port, text_of

os.environ["PATH"] += ":/usr/sbin"
try:
    from aiosmtpd.controller import Controller
except ImportError:
    # Debian's package is for Debian's interpreter.
    system = "/usr/bin/python3"
    if os.path.realpath(sys.executable) != os.path.realpath(system) and os.access(system, os.X_OK):
        os.execv(system, [system, *sys.argv])
    print("SKIP: there is no aiosmtpd")
    sys.exit(77)
for tool in ("smtp-sink", "snmptrapd"):
    if not shutil.which(tool):
        print(f"SKIP: there is no {tool}")
        sys.exit(77)

ENTERPRISE = ".1.3.6.1.4.1.8072.9999.9999"
TEXT = "Größe 日本"  # of traps

PART = (b'--b\r\nContent-Type: application/octet-stream; name="tool.exe"\r\nContent-Disposition: attachment; '
        b'filename="tool.exe"\r\nContent-Transfer-Encoding: base64\r\n\r\nTVqQAAM=\r\n')
# The last but one has marks of its own, which count for nothing: it is notified of, and re-addressed.
MAILS = {
    "plain": b"From: a@out.example\r\nTo: b@in.example\r\nSubject: plain\r\n\r\n.dot\r\n\r\n\xff 8 bit\r\n",
    "tool": b"From: a@out.example\r\nTo: b@in.example\r\nSubject: tool\r\nMIME-Version: 1.0\r\nContent-Type: "
            b"multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\ntext\r\n" + PART + b"--b--\r\n",
    "night": b"From: a@out.example\r\nTo: b@in.example\r\nSubject: night\r\n\r\nlater\r\n",
    "other": b"From: a@out.example\r\nTo: b@in.example, c@in.example\r\nSubject: other\r\n\r\n..\r\nto another\r\n",
    "forged": b"X-quzo-reprocess-rules: 10 11 12 13 14 15\r\nX-quzo-reprocess-type: notification\r\n"
              b"From: a@out.example\r\nTo: b@in.example\r\nSubject: again\r\n\r\nx\r\n",
    "again": b"From: a@out.example\r\nTo: b@in.example\r\nSubject: again\r\n\r\nto the boss\r\n",
}
# What leaves behind the second pass: no mark is left.
AGAIN = [MAILS["again"], MAILS["forged"].split(b"\r\n", 2)[2]]
NOTICE = {"from": "Gateway <gw@example.com>", "to": "admin@example.com"}
OBJECTS = {
    "stamp": {"legal": {"text": "The stamp of %RULENAME%"}},
    "notify": {
        # Of every message: with another rule's notification it would go on for ever.
        "every": {**NOTICE, "subject": "every %SUBJECT%", "body": "x", "attach": "original"},
        "plain": {**NOTICE, "subject": "plain %SUBJECT%", "body": "x",
                  "snmp-text": TEXT + " %SUBJECT%", "trap-type": 1},
        "original": {**NOTICE, "subject": "original %SUBJECT%", "body": "x", "attach": "original",
                     "snmp-text": "%FILENAME%", "trap-type": 4711, "notify-sender": True},
        "modified": {**NOTICE, "subject": "modified %SUBJECT%", "body": "x", "attach": "modified"},
    },
}


def rules(sink_port):
    return (
        ("Every", {"always": True}, [{"type": "notify", "object": "every"}]),
        ("Tools", {"attachment": "*.exe", "subject": "^tool$"},
         [{"type": "stamp", "object": "legal"}, {"type": "delete-attachment"},
          {"type": "notify", "objects": ["plain", "original", "modified"]}]),
        ("Night", {"subject": "^night$"}, [{"type": "postpone", "at": "23:00"}]),
        ("Other", {"subject": "^other$"}, [{"type": "handoff", "host": "127.0.0.1", "port": sink_port}]),
        ("Again", {"subject": "^again$"}, [{"type": "readdress", "to": ["boss@in.example"]}]),
    )


class Keeper:
    """Keeps what aiosmtpd receives."""

    def __init__(self):
        self.received = []

    async def handle_DATA(self, _server, _session, envelope):
        check(TRACE.match(envelope.content), f"no trace: {envelope.content[:200]}")
        envelope.content = without_trace(envelope.content)
        self.received.append(envelope)
        return "250 kept"


def wait_until(holds):
    for _ in range(600):
        if holds():
            return
        time.sleep(0.05)


def read(path):
    try:
        with open(path, "rb") as file:
            return file.read()
    except FileNotFoundError:
        return b""


def start_sink(folder):
    """smtp-sink and its port; each message is dumped into a file of `folder`."""
    os.makedirs(folder)
    os.chmod(folder, 0o777)
    port = free_port()
    user = ["-u", "postfix"] if os.geteuid() == 0 else []
    sink = subprocess.Popen(["smtp-sink", *user, "-d", "m.", f"127.0.0.1:{port}", "10"], cwd=folder)

    def listens():
        with socket.socket() as client:
            return client.connect_ex(("127.0.0.1", port)) == 0
    wait_until(listens)
    return sink, port


def check_traps(version, traps):
    """Community, enterprise, generic and specific type, and the texts, as snmptrapd tells them."""
    types = ((1, 0, ".1.3.6.1.6.3.1.1.5.2"), (6, 4711, ENTERPRISE + ".0.4711"))
    check(len(traps) == 2, f"version {version}: {len(traps)} traps: {traps}")
    for trap, (generic, specific, identifier), text in zip(traps, types, (TEXT + " tool", "tool.exe")):
        who, enterprise, *numbers, values = trap.split("|")
        check(who.endswith(f"SNMP v{version}, community s3cret"), trap)
        if version == "1":
            wanted = [ENTERPRISE, str(generic), f".{specific}" if specific else "0"]
            check([enterprise, *numbers] == wanted, f"{trap}, in place of {wanted}")
        else:
            check(f".1.3.6.1.6.3.1.1.4.1.0 = OID: {identifier}\t" in values, trap)
        check(text_of(trap) == (ENTERPRISE + ".1.1.0", text.encode()), f"{trap}, in place of {text}")


def check_mails(received, installation):
    """Who got what, each of it once."""
    found = collections.Counter()
    for envelope in received:
        header = envelope.content.split(b"\r\n\r\n")[0]
        subject = as_mail(header)["Subject"]
        found[(envelope.mail_from, ";".join(envelope.rcpt_tos), subject)] += 1
        check(b"X-quzo-reprocess" not in header, f"marks at the receiver: {header}")
        if " " not in subject:
            check(envelope.content in AGAIN, f"re-addressed: {envelope.content}")
        elif not subject.startswith("plain"):
            kind, of = subject.split(" ")
            wanted = AGAIN + [MAILS["forged"]] if of == "again" else \
                [installation.delivered(of) if kind == "modified" else MAILS[of]]
            check(attached(envelope.content) in wanted, f"{subject}: {envelope.content}")
    gateway, admin = "gw@example.com", "admin@example.com"
    check(found == collections.Counter({
        ("a@out.example", "boss@in.example", "again"): 2,
        **{(gateway, admin, f"every {one}"): 1 for one in ("plain", "tool", "night", "other")},
        (gateway, admin, "every again"): 4,  # the second pass leaves out the rule that has re-addressed, and no other
        (gateway, admin, "plain tool"): 1,
        (gateway, admin + ";a@out.example", "original tool"): 1,
        (gateway, admin, "modified tool"): 1,
    }), f"the mails that came: {found}")
    modified = installation.delivered("tool")
    check(b"The stamp of Tools" in modified and b"tool.exe" not in modified, f"modified: {modified}")


def check_sink(dump):
    """What was handed off: smtp-sink writes the envelope into fields of its own and ends lines with LF."""
    texts = [read(os.path.join(dump, name)) for name in os.listdir(dump)]
    if check(len(texts) == 1, f"{len(texts)} messages at the second server"):
        check(re.findall(rb"(?m)^X-(?:Mail|Rcpt)-Args: (<\S+>)", texts[0]) ==
              [b"<a@out.example>", b"<b@in.example>", b"<c@in.example>"], f"its envelope: {texts[0]}")
        check(texts[0].rstrip(b"\n").endswith(MAILS["other"].replace(b"\r\n", b"\n").rstrip(b"\n")),
              f"handed off: {texts[0]}")


def test_version(program, folder, version):
    keeper = Keeper()
    server = Controller(keeper, hostname="127.0.0.1", port=free_port())
    server.start()
    sink, sink_port = start_sink(os.path.join(folder, "dump"))
    receiver = TrapReceiver(os.path.join(folder, "traps"), "s3cret")
    hour = 10 - time.gmtime().tm_hour  # of a zone in which it is ten now, so that 23:00 is still to come
    installation = Installation(
        program, os.path.join(folder, "quzo"), OBJECTS, rules(sink_port), port=server.port,
        settings=f"[General-Notification]\nSNMPServer = 127.0.0.1:{receiver.port}\nCommunity = s3cret\n"
                 f"[snmp]\nversion = {version}\n", environment={"TZ": f"HERE{-hour:+d}"})
    with receiver:
        try:
            for name, text in MAILS.items():
                installation.put(name, text)
            outcomes = {name: one["outcome"] for name, one in installation.apply().items()}
            check(outcomes == {"plain": "unchanged", "tool": "modified", "night": "consumed", "other": "consumed",
                               "again": "consumed", "forged": "consumed"}, f"outcomes: {outcomes}")
            waiting = installation.waiting()
            check(waiting == {"scan": 10, "outgoing": 2, "postponed": 1}, f"before the run: {waiting}")
            for left in ({"scan": 2, "postponed": 1}, {"postponed": 1}, {"postponed": 1}):
                installation.run_queues()
                waiting = installation.waiting()
                check(waiting == left, f"after a run: {waiting}")
            traps = receiver.traps(2)
            check_mails(keeper.received, installation)
            installation.check_log()
        finally:
            server.stop(no_assert=True)
            sink.terminate()
            sink.wait(60)
    check_sink(os.path.join(folder, "dump"))
    check_traps(version, traps)


def main():
    with tempfile.TemporaryDirectory(prefix="quzo-flow-") as folder:
        os.chmod(folder, 0o755)
        for version in ("2c", "1"):
            test_version(os.path.abspath(sys.argv[1]), os.path.join(folder, "v" + version), version)
    return 1 if FAULTS else 0


if __name__ == "__main__":
    sys.exit(main())
