#!/usr/bin/env python3
"""Hostile clients, through a real Postfix and on the milter's own socket: nothing worse than a refusal.

    hostile_test.py PROGRAM

What the milter judges and stores and what is delivered is the same mail, none arises that nobody sent, and whatever
was said before, a proper message is handled by the same process. Without Postfix, or without being root, it is skipped
(77).
"""
import glob
import os
import random
import resource
import socket
import struct
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "flow"))
from installation import FAULTS, Installation, check, sanitized  # noqa: E402
from mail_server import MailServer  # noqa: E402
from milter_client import LEADING_BLANKS, NO_REPLIES, MilterClient, packet, strings  # noqa: E402
from milter_process import Milter  # noqa: E402
from postfix_instance import Postfix, missing, wait_until  # noqa: E402

OBJECTS = {"archive": {"copies": {"description": "copies", "days": 0}}}
RULES = (("Copy", {"always": True}, [{"type": "archive", "object": "copies"}]),)
LIMITS = "limit_message = 4M\non_limit = refuse\n"
MOST = 256 << 10  # KiB of memory: 64 MiB of recipients several times over, and what the program has by itself
CONNECT = packet(b"C", b"client\x004\x00\x19192.0.2.1\0")
SENDER, RECIPIENT = packet(b"M", strings(b"<a@x>")), packet(b"R", strings(b"<b@x>"))
FIELD, BODY, END, ABORT = packet(b"L", strings(b"Subject", b" s")), packet(b"B", b"x"), packet(b"E"), packet(b"A")
HEADER_END, QUIT = packet(b"N"), packet(b"Q")
BEGUN = CONNECT + SENDER + RECIPIENT
# What is said behind the negotiation: pieces, each so many times.
DIALOGUES = {
    "the end first": [(END, 1)],
    "a header first": [(FIELD, 1), (END, 1)],
    "a recipient without a sender": [(CONNECT, 1), (RECIPIENT, 3), (FIELD, 1), (END, 1)],
    "a body before the header": [(BEGUN, 1), (BODY, 2), (FIELD, 2), (HEADER_END, 1), (END, 1)],
    "a sender twice": [(CONNECT, 1), (SENDER, 2), (RECIPIENT, 1), (FIELD, 1), (END, 2)],
    "connected twice": [(CONNECT, 2), (BEGUN, 2)],
    "negotiated twice": [(packet(b"O", struct.pack(">III", 6, 0x1FF, 0x1FFFFF)), 2), (BEGUN, 1)],
    "ends without number": [(BEGUN, 1), (END, 1000)],
    "aborts without number": [(ABORT, 1000), (BEGUN, 1), (ABORT, 1000), (END, 1)],
    "quits in the middle": [(BEGUN, 1), (FIELD, 1), (QUIT, 1), (BEGUN, 1)],
    "a new connection in the middle": [(BEGUN, 1), (FIELD, 1), (packet(b"K"), 1), (BEGUN, 1), (END, 1)],
    "unknown commands": [(packet(bytes([one])), 1) for one in b"ZzaX\0\xff"],
    "texts without an end": [(CONNECT, 1), (packet(b"M", b"<a@x>"), 1), (packet(b"R", b"<b@x>"), 1),
                             (packet(b"L", b"Subject"), 1), (packet(b"H", b"x"), 1), (packet(b"D", b"Ei"), 1),
                             (END, 1)],
    "nothing in them": [(packet(bytes([one])), 1) for one in b"CMRLBDHU"],
    "no sender in the sender": [(CONNECT, 1), (packet(b"M", b"\0"), 1), (packet(b"R", b"\0"), 1), (END, 1)],
    "an address of no family": [(packet(b"C", b"client\0X\x00\x19nonsense\0"), 1), (BEGUN, 1), (END, 1)],
    "half an address": [(packet(b"C", b"client\x006\x00"), 1), (BEGUN, 1), (END, 1)],
    "addresses": [(CONNECT, 1),
                  (packet(b"M", strings(b"<a b\n@x>", b"SIZE=99999999999999999999", b"SIZE=-1", b"\xff")), 1),
                  (packet(b"R", strings(b"<b@x>\r\nRCPT TO:<c@x>", b"X=" + b"y" * 999)), 1), (FIELD, 1), (END, 1)],
    "a long address": [(CONNECT, 1), (SENDER, 1), (packet(b"R", strings(b"<" + b"b" * 65000 + b"@x>")), 1), (END, 1)],
    "an address beyond a packet": [(CONNECT, 1), (packet(b"M", strings(b"<" + b"b" * 100000 + b"@x>")), 1), (END, 1)],
    "names of fields": [(BEGUN, 1), *((packet(b"L", strings(name, b" v")), 1) for name in (b"a:b", b"\n", b"")),
                        (END, 1)],
    "values of fields": [(BEGUN, 1),
                         (packet(b"L", strings(b"X", b"a\r\n\r\nb\n.\nMAIL FROM:<e@x>\r.\r")), 1), (END, 1)],
    "fields without number": [(BEGUN, 1), (packet(b"L", strings(b"X", b"y")), 300000), (BODY, 1), (END, 1)],
    "macros without number": [(CONNECT, 1), (packet(b"D", b"C" + strings(b"i", b"x" * 60000)), 3000), (BEGUN, 1),
                              (END, 1)],
    "recipients": [(CONNECT + SENDER, 1), (RECIPIENT, 100000), (FIELD, 1), (END, 1)],
    "recipients without number": [(CONNECT + SENDER, 1), (packet(b"R", strings(b"<" + b"b" * 60000 + b"@x>")), 3000),
                                  (FIELD, 1), (END, 1)],
    "a body without number": [(BEGUN, 1), (FIELD, 1), (packet(b"B", b"x" * 65535), 3000), (END, 1)],
    "a field of 1 GB announced": [(BEGUN, 1), (packet(b"L", b"Subject\0" + b"x" * 60000, 1 << 30), 50)],
    "a body of 4 GB announced": [(BEGUN, 1), (FIELD, 1), (packet(b"B", b"x" * 60000, 0xFFFFFFFF), 50)],
    "no length": [(BEGUN, 1), (packet(b"L", b"", 0), 10)],
    "half a packet": [(BEGUN, 1), (packet(b"L", b"Subject", 100), 1)],
}


def proper(milter, what):
    """A message that has to be handled."""
    check(milter.process.poll() is None, f"{what}: the milter ended with {milter.process.returncode}")
    with MilterClient(milter.socket) as client:
        client.negotiate()
        client.connect()
        verdict = client.message(b"a@x", [b"b@x"], [(b"Subject", b" proper")], b"body\r\n")
        check(verdict == (b"a", []), f"{what}: a proper message: {verdict}")
    check(milter.figure("VmHWM") < MOST or sanitized(f"/proc/{milter.process.pid}/exe"),
          f"{what}: the milter has {milter.figure('VmHWM')} KiB")


def test_dialogues(milter):
    for what, pieces in DIALOGUES.items():
        few = all(count <= 1000 for _, count in pieces)
        for steps in (NO_REPLIES, LEADING_BLANKS) if few else (NO_REPLIES,):  # without and with an answer to each step
            with MilterClient(milter.socket, steps) as client:
                client.negotiate()
                said = (piece * min(1000, count - at) for piece, count in pieces for at in range(0, count, 1000))
                check(client.pour(said), f"{what}: it hangs")
        proper(milter, what)
    with MilterClient(milter.socket, 0) as client:  # a server that can do nothing
        client.negotiate()
    numbers = random.Random(7)
    for _ in range(100):
        with MilterClient(milter.socket) as client:
            if numbers.random() < 0.5:
                client.negotiate()
            client.say(numbers.randbytes(numbers.randrange(1, 300)))
            for _ in range(numbers.randrange(20)):
                client.say(packet(numbers.choice([b"C", b"M", b"R", b"L", b"B", b"D", b"E", b"H", b"U", b"T", b"N"]),
                                  numbers.randbytes(numbers.randrange(100))))
    proper(milter, "random bytes")


class Smtp:
    """A client that says anything."""

    def __init__(self, port):
        self._socket = socket.create_connection(("127.0.0.1", port), 60)
        self._file = self._socket.makefile("rb")
        self.answer()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._file.close()
        self._socket.close()

    def answer(self):
        """Its code; 0 when the server has hung up."""
        try:
            while (line := self._file.readline())[3:4] == b"-":
                pass
            return int(line[:3] or b"0")
        except ConnectionResetError:
            return 0

    def say(self, text):
        try:
            self._socket.sendall(text)
        except (BrokenPipeError, ConnectionResetError):
            pass

    def ask(self, *lines):
        """The codes for lines that are said one after the other."""
        codes = []
        for line in lines:
            self.say(line + b"\r\n")
            codes.append(self.answer())
        return codes


def stored(installation):
    """The messages in the archive."""
    found = []
    for path in glob.glob(os.path.join(installation.folder, "spool", "archive", "*", "*", "*.DF")):
        with open(path, "rb") as file:
            found.append(file.read())
    return found


def behind_trace(content):
    """From the field that the test's mails begin with."""
    return content[content.index(b"X-Number:"):]


# What stands between two mails, the second of which is none.
BREAKS = [b"\n.\n", b"\r.\r", b"\n.\r\n", b"\r\n.\n", b"\r\n.\r", b"\r.\r\n", b"\n.\r", b"\r.\n", b"\r\r\n.\r\r\n",
          b"\r\n\0.\r\n", b"\r\n.\0\r\n", b"\r\n..\r\n", b"\r\n.\r\r\n", b"\n\n.\r\n", b"\r\n .\r\n", b"\r\n.\x0b\r\n"]
FORGED = b"MAIL FROM:<evil@x.example>\r\nRCPT TO:<evil@in.example>\r\nDATA\r\nX-Number: forged\r\n\r\nforged"
CONTENTS = [
    b"Subject: lone\rX-Evil: yes\r\n\r\na\rb\r",
    b"Subject: lone\nX-Evil: yes\r\n\r\na\nb\n",
    b"Sub\0ject: a\0b\r\nX\0: y\r\n\r\na\0b\r\n",
    b"Subject: v\0\r\n .\r\n\t\r\n \r\nX : y\r\n\r\n..\r\n",
    b": nobody\r\nSubject: x\r\n\r\nx\r\n",
    b"Subject\xff: x\r\n\r\n\xff\xfe\r\n",
    b"no field\r\n\r\nx\r\n",
    b" folded\r\n\r\nx\r\n",
    b"X-Long: " + b"x" * 50000 + b"\r\n\r\n" + b"y" * 50000 + b"\r\n",
    b"X-quzo-reprocess-rules: 10\r\n\r\n..\r\n",
]
ENVELOPES = [
    (b"<a@x.example> SIZE=10 BODY=8BITMIME RET=HDRS ENVID=a+2Bb", b"<b@in.example> NOTIFY=NEVER ORCPT=rfc822;b+40x"),
    (b"<>", b"<\"a b\"@in.example>"), (b"<\"\\\"\"@x.example>", b"<\"b\\\\c\"@in.example>"),
    (b"<a@x.example> SIZE=99999999999999999999", b"<b@in.example>"), (b"<a@x.example", b"<b@in.example>"),
    (b"<a\xff@x.example>", b"<b\xff@in.example>"), (b"<a\0@x.example>", b"<b\0@in.example>"),
    (b"<a@x.example>", b"<" + b"b" * 100000 + b"@in.example>"), (b"<a@x.example>", b"<b@in.example> X=Y"),
    (b"<@h.example:a@x.example>", b"<@h.example:b@in.example>"), (b"<a\r@x.example>", b"<b\n@in.example>"),
]
SAID = (b"EHLO client.example\r\n", b"MAIL FROM:<a@x.example>\r\n", b"RCPT TO:<b@in.example>\r\n", b"DATA\r\n",
        b"X-Number: gone\r\nSubj", b"ect: x\r\n\r\nbody", b"\r\nmore\r\n")


def test_postfix(installation, postfix, sink):
    """What is accepted arrives as it was judged, once; what is not does not arrive."""
    taken, number = {}, 0

    def exchange(sender, recipient, content):
        """One message; its number says whether it was taken."""
        nonlocal number
        number += 1
        name = b"%d" % number
        with Smtp(postfix.port) as client:
            codes = client.ask(b"EHLO client.example", b"MAIL FROM:" + sender, b"RCPT TO:" + recipient, b"DATA")
            check(sum(code >= 500 or code == 0 for code in codes) > 0 or codes == [250, 250, 250, 354],
                  f"{sender} {recipient}: {codes}")
            if codes[-1] == 354:
                client.say(b"X-Number: " + name + b"\r\n" + content + b"\r\n.\r\n")
                taken[name] = client.answer() == 250
                client.say(b"QUIT\r\n")

    for between in BREAKS:
        exchange(b"<a@x.example>", b"<b@in.example>", b"Subject: x\r\n\r\nfirst" + between + FORGED)
    for content in CONTENTS:
        exchange(b"<a@x.example>", b"<b@in.example>", content)
    for sender, recipient in ENVELOPES:
        exchange(sender, recipient, b"Subject: envelope\r\n\r\nx\r\n")
    for stages in range(len(SAID) + 1):  # the client goes
        with Smtp(postfix.port) as client:
            client.say(b"".join(SAID[:stages]))
    with Smtp(postfix.port) as client:  # right behind the end of its message
        client.say(b"".join(SAID[:4]) + b"X-Number: left\r\n\r\nx\r\n.\r\n")
    exchange(b"<a@x.example>", b"<b@in.example>", b"Subject: last\r\n\r\nx\r\n")
    check(taken[b"%d" % number], "a proper message is refused")
    wanted = {name for name, was in taken.items() if was}
    wait_until(lambda: len(sink.mails) >= len(wanted) and not postfix.queued())
    arrived = {}
    for mail in sink.mails:
        content = behind_trace(mail.content)
        name = content[10:content.index(b"\r\n")]
        check(name not in arrived and (name in wanted or name == b"left"), f"arrives again, or unasked: {mail}")
        arrived[name] = content
    check(wanted <= set(arrived), f"do not arrive: {wanted - set(arrived)}")
    copies = sorted(behind_trace(one) for one in stored(installation) if b"X-Number:" in one)
    check(copies == sorted(arrived.values()), "judged and delivered differ: "
          f"{[(a, b) for a, b in zip(copies, sorted(arrived.values())) if a != b][:3]} {len(copies)} {len(arrived)}")
    check(not sink.faults, f"on the wire: {sink.faults}")


def test_idle(milter, postfix, sink):
    """A thousand connections that say nothing, or nothing more."""
    count = len(sink.mails)
    threads = milter.figure("Threads")
    clients = []
    for at in range(1000):
        clients.append(MilterClient(milter.socket))
        if at % 2:
            clients[-1].negotiate()
            clients[-1].say(BEGUN + FIELD)
    proper(milter, "beside idle connections")
    for at in range(20):
        with Smtp(postfix.port) as client:
            codes = client.ask(b"EHLO c", b"MAIL FROM:<a@x.example>", b"RCPT TO:<b@in.example>", b"DATA",
                               b"X-Number: idle %d\r\n\r\nx\r\n." % at)
            check(codes[-1] == 250, f"beside idle connections: {codes}")
    wait_until(lambda: len(sink.mails) >= count + 20)
    check(len(sink.mails) == count + 20, f"beside idle connections: {len(sink.mails) - count} of 20")
    for client in clients:
        client.end()
    check(wait_until(lambda: milter.figure("Threads") <= threads + 3), f"{milter.figure('Threads')} threads stay")


def few_descriptors():
    """As a service gets them: the program has to ask for what it is allowed."""
    resource.setrlimit(resource.RLIMIT_NOFILE, (256, resource.getrlimit(resource.RLIMIT_NOFILE)[1]))


def main():
    if reason := missing():
        print("SKIP:", reason)
        return 77
    with tempfile.TemporaryDirectory(prefix="quzo-hostile-") as folder:
        os.chmod(folder, 0o755)
        installation = Installation(os.path.abspath(sys.argv[1]), os.path.join(folder, "quzo"), OBJECTS, RULES,
                                    platform=LIMITS)
        with Milter(installation, few_descriptors) as milter, MailServer() as sink:
            options = f"smtpd_milters = unix:{milter.socket}\nmilter_default_action = tempfail\n"
            with Postfix(os.path.join(folder, "postfix"), sink.port, options) as postfix:
                test_postfix(installation, postfix, sink)
                test_dialogues(milter)
                test_idle(milter, postfix, sink)
                print(f"most memory: {milter.figure('VmHWM')} KiB; now {milter.figure('VmRSS')} KiB")
        installation.check_log()
    print(f"{len(FAULTS)} faults")
    return 1 if FAULTS else 0


if __name__ == "__main__":
    sys.exit(main())
