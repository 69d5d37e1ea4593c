#!/usr/bin/env python3
"""Many messages through a milter that loads policies anew all the time: each arrives once, by one policy or the other,
and nothing is left open.

    long_run_test.py PROGRAM [MESSAGES]

3,000 messages go through Postfix in 10 sessions, half of them with a connection each. bench/long_run.py makes more, and
looks at memory. Without Postfix, or without being root, it is skipped (77).
"""
import os
import signal
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "flow"))
from installation import FAULTS, Installation, check, toml  # noqa: E402
from mail_server import MailServer  # noqa: E402
from milter_process import Milter  # noqa: E402
from postfix_instance import Postfix, missing, wait_until  # noqa: E402

SIGNS = ("By the first policy", "By the second policy")
OBJECTS = {"stamp": {f"sign{n}": {"text": sign, "html": f"<i>{n}</i>"} for n, sign in enumerate(SIGNS)}}
WHEN = ({"always": True}, {"body": "[a-z]+ [a-z]", "header": {"Subject": "^[A-Z].*"}})
MAIL = b"From: a@out.example\nTo: b@in.example\nSubject: Many\n\n" + b"some words of a letter\n" * 40


class LongRun:
    """An installation and its milter, which gets one policy and the other in turns, every `pause` seconds, while the
    block runs."""

    def __init__(self, program, folder, pause):
        self.installation = Installation(program, folder, OBJECTS, ())
        self._policies = [f'[[rule]]\nid = 1\nname = "Sign"\nwhen = {toml(when)}\nactions = [{{ type = "stamp", '
                          f'object = "sign{n}" }}]\n' for n, when in enumerate(WHEN)]
        self.installation.write("policy.toml", self._policies[0])
        self._said = os.path.join(folder, "said")
        self.milter, self.reloads, self._pause = Milter(self.installation, self._say_there), 0, pause
        self._over, self._thread = threading.Event(), threading.Thread(target=self._reload, daemon=True)

    def _say_there(self):
        os.dup2(os.open(self._said, os.O_WRONLY | os.O_CREAT), sys.stderr.fileno())

    def _reload(self):
        while not self._over.wait(self._pause):
            self.reloads += 1
            self.installation.write("next.toml", self._policies[self.reloads % len(SIGNS)])
            os.replace(*(os.path.join(self.installation.folder, name) for name in ("next.toml", "policy.toml")))
            self.milter.process.send_signal(signal.SIGUSR1)

    def __enter__(self):
        self.milter.__enter__()
        command = [self.installation.program, "milter", "reload", "-c", "quzo.ini"]
        wait_until(lambda: subprocess.run(command, cwd=self.installation.folder, capture_output=True,
                                          check=False).returncode == 0)  # before that SIGUSR1 would end it
        self._thread.start()
        return self

    def __exit__(self, *unused):
        self._over.set()
        self._thread.join()
        self.milter.__exit__(*unused)
        with open(self._said, encoding="utf-8") as file:
            said = file.read().splitlines()
        check(self.reloads == 0 or set(said) == {"quzo: milter: loaded anew"}, f"the milter says {said[:5]}")

    def settled(self):
        """How many descriptors are open, and how many threads are there, when nothing comes."""
        time.sleep(2)
        return self.descriptors(), self.milter.figure("Threads")

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.milter.process.pid}/fd"))

    def check_left(self, descriptors, threads):
        """Whether no more is open, and no more threads are there, than that; those that wait for work go in time."""
        check(wait_until(lambda: self.descriptors() <= descriptors), f"{self.descriptors()} descriptors are open, "
              f"{descriptors} were")
        check(wait_until(lambda: self.milter.figure("Threads") <= threads),
              f"{self.milter.figure('Threads')} threads are there, {threads} were")


def main():
    if reason := missing():
        print("SKIP:", reason)
        return 77
    messages = int(sys.argv[2]) if len(sys.argv) > 2 else 3000
    with tempfile.TemporaryDirectory(prefix="quzo-long-") as folder, MailServer() as server:
        os.chmod(folder, 0o755)
        mail = os.path.join(folder, "mail")
        with open(mail, "wb") as file:
            file.write(MAIL)
        with LongRun(os.path.abspath(sys.argv[1]), os.path.join(folder, "quzo"), 0.5) as run, \
                Postfix(os.path.join(folder, "postfix"), server.port,
                        f"smtpd_milters = unix:{run.milter.socket}\nmilter_default_action = tempfail\n"
                        "smtp_connection_cache_on_demand = no\n") as postfix:
            before = run.settled()
            for options in (["-d"], []):
                subprocess.run(["smtp-source", *options, "-s", "10", "-m", str(messages // 2), "-f", "a@out.example",
                                "-t", "b@in.example", "-F", mail, f"127.0.0.1:{postfix.port}"], check=True, timeout=500)
            wait_until(lambda: len(server.mails) >= messages // 2 * 2 or FAULTS, 300)
            wait_until(lambda: postfix.queued() == 0)
            run.check_left(*before)
            reloads = run.reloads
        signed = [[mail.content.count(sign.encode()) for sign in SIGNS] for mail in server.mails]
        counts = [signed.count([1, 0]), signed.count([0, 1])]
        check(sum(counts) == len(signed) == messages // 2 * 2, f"{counts} of {len(signed)} that arrive have a sign")
        check(min(counts) > 0 or reloads < 2, f"one policy alone has signed: {counts}")
        check(not server.faults, f"{server.faults[:3]}")
    print(f"{len(signed)} messages, signed {counts}, {reloads} reloads, {len(FAULTS)} faults")
    return 1 if FAULTS else 0


if __name__ == "__main__":
    sys.exit(main())
