#!/usr/bin/env python3
"""Nothing is lost, nothing is damaged, and nothing is there twice that need not be, whatever goes down meanwhile.

    nothing_lost_test.py PROGRAM [--messages N] [--kills K]

Twenty sessions give N messages to a real Postfix, each until it is taken, while the milter is killed K times and
started again, PostgreSQL with the named objects is stopped and started, the file system of the queues is full for a
while and the server that all mail goes to is away. In the end each message is counted by the number in it.

A message can be there twice where nobody could know that it was there once: the milter was killed between the end of a
message and its answer (the client gives it again), or between the next server's answer and the disk (the runner has one
entry in hand). Without Postfix, PostgreSQL or being root it is skipped (77).
"""
import argparse
import collections
import glob
import json
import os
import queue
import random
import signal
import smtplib
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "flow"))
import postgres_instance  # noqa: E402
from installation import FAULTS, Installation, check  # noqa: E402
from mail_server import MailServer  # noqa: E402
from milter_process import Milter  # noqa: E402
from postfix_instance import Postfix, free_port, missing, wait_until  # noqa: E402

SESSIONS = 20
RUNNER = "[runner]\npoll = 1s\nretry_first = 1s\nretry_longest = 2s\n"
STAMP = b"\r\nThe stamp of Stamp"
OBJECTS = {"stamp": {"legal": {"text": "The stamp of %RULENAME%"}},
           "quarantine": {"area": {"description": "area", "days": 0}},
           "archive": {"copies": {"description": "copies", "days": 0}}}
# What happens to a message, and where it is then: recipients it is delivered to, and the queue that keeps it.
KINDS = {
    "plain": ([{"type": "decrypt"}], ["b"], None),
    "tag": ([{"type": "tag-subject", "tag": "[t] "}], ["b"], None),
    "stamp": ([{"type": "stamp", "object": "legal"}], ["b"], None),
    "held": ([{"type": "quarantine", "object": "area"}], [], "quarantine"),
    "copied": ([{"type": "archive", "object": "copies"}], ["b"], "archive"),
    "moved": ([{"type": "readdress", "to": ["other@in.example"]}], ["other"], None),
    "postponed": ([{"type": "postpone", "at": "00:00"}], ["b"], None),
    "bcc": ([{"type": "bcc", "to": ["boss@in.example"]}], ["b", "boss"], None),
}
STORED = {"held", "copied", "moved", "postponed"}  # before the client hears of it
THROUGH_RUNNER = {"moved", "postponed"}
RULES = tuple((kind.title(), {"subject": f"^{kind}$"}, actions) for kind, (actions, _, _) in KINDS.items())
NAMES = list(KINDS)


def kind_of(number):
    return NAMES[number % len(NAMES)]


def body_of(number):
    numbers = random.Random(number)
    lines = range(numbers.randrange(1, 80))
    return b"".join(b"%d %s\r\n" % (number, numbers.randbytes(30).hex().encode()) for _ in lines)


class Senders:
    """The sessions; all of them work on one list of numbers."""

    def __init__(self, port, count):
        self.port, self.accepted, self.attempts, self.refusals = port, collections.Counter(), [], collections.Counter()
        self._numbers, self._lock = queue.SimpleQueue(), threading.Lock()
        for number in range(count):
            self._numbers.put(number)
        self._threads = [threading.Thread(target=self._work, daemon=True) for _ in range(SESSIONS)]

    def start(self):
        for thread in self._threads:
            thread.start()

    def working(self):
        return any(thread.is_alive() for thread in self._threads)

    def _work(self):
        client = None
        try:
            while True:
                number = self._numbers.get_nowait()
                while not (client := self._try(client, number)):
                    time.sleep(0.2)
        except queue.Empty:
            if client:
                client.close()

    def _try(self, client, number):
        """One attempt. The client when the message was taken."""
        code, ended = 0, None  # no answer
        try:
            client = client or smtplib.SMTP("127.0.0.1", self.port, "client.example", timeout=60)
            client.ehlo_or_helo_if_needed()
            code = client.mail(f"s{number}@out.example")[0]
            code = client.rcpt("b@in.example")[0] if code == 250 else code
            if code == 250:
                ended = time.monotonic()
                code = client.data(b"From: a@out.example\r\nTo: b@in.example\r\nSubject: %s\r\nX-Number: %d\r\n\r\n%s" %
                                   (kind_of(number).encode(), number, body_of(number)))[0]
        except smtplib.SMTPResponseException as error:
            code = error.smtp_code
        except (OSError, smtplib.SMTPException):
            code = 0
        with self._lock:
            self.refusals[code] += code != 250
            if ended:
                self.attempts.append((number, ended, time.monotonic(), code))
        if code == 250:
            self.accepted[number] += 1
            return client
        check(code < 500, f"{number} is refused for good: {code}")
        if client:
            client.close()
        return None


class Trouble:
    """Everything that goes down."""

    def __init__(self, senders, milter, database, servers, port, spool):
        self._senders, self._milter, self._database = senders, milter, database
        self._servers, self._port, self._spool = servers, port, spool
        self.kills = []  # times: (before, behind)

    def kill(self):
        before = time.monotonic()
        self._milter.kill()
        self.kills.append((before, time.monotonic()))

    def kill_and_start(self):
        self.kill()
        check(self._milter.start(), "the milter does not start again")

    def _taken_more(self, count):
        goal = min(len(self._senders.accepted) + count, self._goal)
        return wait_until(lambda: len(self._senders.accepted) >= goal)

    def without_database(self):
        self._database.stop()
        self._milter.process.send_signal(signal.SIGUSR1)  # what it has stays in force
        check(self._taken_more(60), "nothing is taken while the store is away")
        self.kill()
        check(not self._milter.start() and self._milter.process.returncode != 0, "a milter starts without its objects")
        self._database.start()
        check(wait_until(self._milter.start), "the milter does not start when the store is back")

    def with_full_disk(self):
        if self._spool is None:
            print("without a full disk: no file system of our own may be mounted")
            return
        path = os.path.join(self._spool, "filler")
        refused = self._senders.refusals[451]
        with open(path, "wb", buffering=0) as file:
            try:
                while True:
                    file.write(b"x" * 4096)
            except OSError:
                pass
        check(wait_until(lambda: self._senders.refusals[451] > refused + SESSIONS), "nothing is refused on a full disk")
        self.kill_and_start()
        os.remove(path)

    def without_server(self):
        self._servers[-1].__exit__()
        self._taken_more(60)
        self.kill_and_start()
        self._servers.append(MailServer(port=self._port).__enter__())

    def run(self, messages, kills):
        """At even distances of messages that are taken."""
        self._goal = messages
        events = [self.kill_and_start] * (kills - 3)
        for place, event in ((1, self.without_database), (2, self.with_full_disk), (3, self.without_server)):
            events.insert(place * len(events) // 4, event)
        for number, event in enumerate(events):
            wait_until(lambda n=number: len(self._senders.accepted) >= messages * (n + 1) // (len(events) + 2), 600)
            time.sleep(random.random() / 20)  # anywhere in the work of the moment
            event()


def doubtful(senders, kills):
    """How often each message was given whole to a milter that was killed before it had answered."""
    counts = collections.Counter()
    for number, ended, answered, code in senders.attempts:
        if code != 250 and (code == 0 or any(ended <= behind and answered >= before for before, behind in kills)):
            counts[number] += 1
    return counts


def number_and_body(content):
    header, body = content.split(b"\r\n\r\n", 1)
    return int(header.split(b"\r\nX-Number: ")[1].split(b"\r\n")[0]), body


def whole(number, body):
    wanted = body_of(number)
    return body == wanted or kind_of(number) == "stamp" and body.startswith(wanted + STAMP[2:])


def count_copies(servers, spool):
    """{(number, place): how many}; a place is a recipient or a queue."""
    copies = collections.Counter()
    for mail in (mail for server in servers for mail in server.mails):
        number, body = number_and_body(mail.content)
        check(whole(number, body), f"{number} is damaged: {mail.content[:2000]}")
        check(kind_of(number) != "stamp" or STAMP[2:] in body, f"{number} has no stamp")
        for recipient in mail.recipients:
            copies[number, recipient.split(b"@")[0].decode()] += 1
    for path in glob.glob(os.path.join(spool, "*", "*", "*", "*.json")):
        with open(path, "rb") as file:
            json.load(file)
        with open(path.removesuffix(".json") + ".DF", "rb") as file:
            number, body = number_and_body(file.read())
        check(whole(number, body), f"{path} is damaged")
        copies[number, os.path.relpath(path, spool).split(os.sep)[0]] += 1
    return copies


def judge(messages, senders, trouble, copies):
    doubts = doubtful(senders, trouble.kills)
    twice = {"answer": 0, "runner": 0}
    for number in range(messages):
        kind = kind_of(number)
        _, recipients, kept = KINDS[kind]
        check(senders.accepted[number] == 1, f"{number} was taken {senders.accepted[number]} times")
        for place in recipients + ([kept] if kept else []):
            count = copies.pop((number, place), 0)
            check(count > 0, f"{number} ({kind}) is missing for {place}")
            more = max(count - 1, 0)
            known = min(more, doubts[number]) if kind in STORED and (kept is None or place == kept) else 0
            twice["answer"] += known
            twice["runner"] += more - known
            check(more == known or kind in THROUGH_RUNNER, f"{number} ({kind}) is there {count} times for {place}")
    check(not copies, f"nobody sent, or not there: {list(copies.items())[:5]}")
    check(twice["runner"] <= len(trouble.kills), f"{twice['runner']} sent twice by {len(trouble.kills)} killed runners")
    print(f"{len(senders.accepted)} messages taken, {sum(senders.refusals.values())} attempts refused for now, "
          f"{len(trouble.kills)} kills, {sum(doubts.values())} attempts under way at one")
    print(f"there twice: {twice['answer']} since the client had no answer, {twice['runner']} since the runner had none")


def run(folder, program, messages, kills):
    spool = os.path.join(folder, "quzo", "spool")
    hop = free_port()
    with postgres_instance.Postgres(os.path.join(folder, "postgres")) as database:
        installation = Installation(program, os.path.join(folder, "quzo"), OBJECTS, RULES, port=hop,
                                    store=database.store, settings=RUNNER)
        os.mkdir(spool)
        mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={16384 + 8 * messages}k,mode=700", "quzo-test",
                                  spool], check=False).returncode == 0
        servers = [MailServer().__enter__()]
        port = servers[0].port
        try:
            with Milter(installation) as milter:
                options = f"smtpd_milters = unix:{milter.socket}\nmilter_default_action = tempfail\n"
                with Postfix(os.path.join(folder, "postfix"), port, options,
                             f"127.0.0.1:{hop} inet n - n - - smtpd -o smtpd_milters=\n", seconds=900) as postfix:
                    senders = Senders(postfix.port, messages)
                    trouble = Trouble(senders, milter, database, servers, port, spool if mounted else None)
                    senders.start()
                    trouble.run(messages, kills)
                    check(wait_until(lambda: not senders.working(), 300), f"{len(senders.accepted)} are taken")
                    kept = {"quarantine", "archive"}
                    check(wait_until(lambda: installation.waiting().keys() <= kept and not postfix.queued(), 120),
                          f"does not settle: {installation.waiting()}, {postfix.queued()} in Postfix")
                    judge(messages, senders, trouble, count_copies(servers, spool))
        finally:
            servers[-1].__exit__()
            if mounted:
                subprocess.run(["umount", spool], check=False)
        check(not any(server.faults for server in servers), f"on the wire: {[server.faults[:3] for server in servers]}")


def main():
    options = argparse.ArgumentParser()
    options.add_argument("program")
    options.add_argument("--messages", type=int, default=1500)
    options.add_argument("--kills", type=int, default=6)
    options = options.parse_args()
    if reason := missing() or postgres_instance.missing():
        print("SKIP:", reason)
        return 77
    with tempfile.TemporaryDirectory(prefix="quzo-lost-") as folder:
        os.chmod(folder, 0o755)
        run(folder, os.path.abspath(options.program), options.messages, options.kills)
    print(f"{len(FAULTS)} faults")
    return 1 if FAULTS else 0


if __name__ == "__main__":
    sys.exit(main())
