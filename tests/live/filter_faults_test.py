#!/usr/bin/env python3
"""quzo filter behind Postfix's pipe(8) with everything of ours that can go wrong: the message waits, nobody gets a
bounce, and once the cause is gone it arrives, once.

    filter_faults_test.py PROGRAM

Without Postfix, PostgreSQL or being root it is skipped (77).
"""
import os
import pwd
import shutil
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "flow"))
import postgres_instance  # noqa: E402
from filter_test import LARGE, TAG, USER, Place, send  # noqa: E402
from installation import FAULTS, check, sanitized  # noqa: E402
from mail_server import MailServer  # noqa: E402
from postfix_instance import Postfix, free_port, missing, wait_until  # noqa: E402

OBJECTS = '[stamp.legal]\ntext = "The stamp"\n'
STAMP = '[[rule]]\nid = 10\nwhen = { always = true }\nactions = [{ type = "stamp", object = "legal" }]\n'
# Runs the filter as the file `mode` wants it: shell commands in front of it, or `options` of it.
WRAPPER = """#!/bin/sh
options=
. {folder}/mode
exec {filter} $options "$@"
"""
TEXT = b"From: a@out.example\r\nSubject: hello\r\n\r\n.dot\r\n\xff 8 bit\r\n"


class Faults:
    """What can be broken, and how it is mended. Each `mend` may be used when nothing is broken."""

    def __init__(self, place, database, hop):
        self._place, self._database, self._hop = place, database, hop
        self._spool = f"{place.folder}/spool"
        owner = pwd.getpwnam(USER).pw_uid
        self._mount = ["mount", "-t", "tmpfs", "-o", f"size=4m,mode=700,uid={owner}", "quzo-test", self._spool]
        os.mkdir(self._spool)
        shutil.chown(self._spool, USER)
        self.mounted = subprocess.run(self._mount, check=False).returncode == 0

    def end(self):
        if self.mounted:
            subprocess.run(["umount", self._spool], check=False)

    def mode(self, text=""):
        with open(f"{self._place.folder}/mode", "w", encoding="ascii") as file:
            file.write(text + "\n")

    def mend(self):
        self.mode()
        self._place.policy(TAG)
        self._place.settings(f"next_hop = smtp://127.0.0.1:{self._hop}\nstore = {self._database.store}\n")

    def mount_again(self, option):
        subprocess.run(["mount", "-o", f"remount,{option}", self._spool], check=True)

    def fill(self):
        with open(f"{self._spool}/filler", "wb", buffering=0) as file:
            try:
                while True:
                    file.write(b"x" * 4096)
            except OSError:
                pass

    def settings(self, line):
        self._place.settings(line + "\n")

    def store_away(self):
        self._place.policy(STAMP)
        self._database.stop()

    def store_unreadable(self):
        """That of SQLite, whose owner cannot read it."""
        path = f"{self._place.folder}/objects.db"
        with open(path, "wb") as file:
            os.fchmod(file.fileno(), 0)
        self._place.policy(STAMP)
        self.settings(f"store = sqlite3://{path}")

    def rows(self):
        """(name, what the reason says, how it breaks, how it is mended beside mend())."""
        place, nothing = self._place, lambda: None
        yield "settings", "write a number", lambda: self.settings("limit_message = many"), nothing
        yield "no settings", "quzo.ini", lambda: os.rename(f"{place.folder}/quzo.ini", f"{place.folder}/away"), nothing
        yield "policy away", "policy.toml", lambda: os.remove(f"{place.folder}/policy.toml"), nothing
        yield "store away", "cannot be reached", self.store_away, self._database.start
        yield "store unreadable", "objects.db", self.store_unreadable, nothing
        if self.mounted:
            yield ("spool read-only", "does not take the message", lambda: self.mount_again("ro"),
                   lambda: self.mount_again("rw"))
            yield ("spool full", "does not take the message", self.fill,
                   lambda: os.remove(f"{self._spool}/filler"))
        if not sanitized(place.program):
            yield "memory", "", lambda: self.mode("ulimit -v 60000"), nothing
        yield "file size", "does not take the message", lambda: self.mode("trap '' XFSZ; ulimit -f 8"), nothing
        for code in (1, 67, 255):
            yield (f"sendmail ends with {code}", "5.1.1 no such user",
                   lambda code=code: self.mode(f"options='--sendmail {place.folder}/fail'; export CODE={code}"),
                   nothing)
        yield "no sendmail", "cannot be run", lambda: self.mode("options='--sendmail /nonexistent'"), nothing
        for delay in (3, 10, 40):
            yield (f"killed after {delay} ms", "", lambda delay=delay: self.mode(
                f"(sleep 0.{delay:03}; kill -9 $$) </dev/null >/dev/null 2>&1 &"), nothing)


def tried(waiting):
    """Whether all that waits has been tried, and waits for the next time."""
    return all(one["queue_name"] == "deferred" and "delay_reason" in str(one) for one in waiting)


def test_faults(place, faults, postfix, sink):
    sent = 0
    for name, reason, break_it, mend in faults.rows():
        faults.mend()
        break_it()
        content = TEXT + (LARGE * 3000 if name in ("memory", "file size") else b"%d\r\n" % sent)
        send(postfix.port, "a@out.example", [f"{sent}@in.example"], content)
        sent += 1
        check(wait_until(lambda: tried(postfix.waiting())), f"{name}: {postfix.waiting()}")
        if name.startswith("killed"):
            for _ in range(3):  # until it is through, or not at all
                postfix.flush()
                time.sleep(0.2)
                wait_until(lambda: tried(postfix.waiting()))
        else:
            waiting = postfix.waiting()
            check(len(waiting) == 1 and reason in str(waiting), f"{name}: {waiting}\n{postfix.log_text()[-2000:]}")
            check(not place.stored(), f"{name}: {place.stored()}")
        mend()
        faults.mend()

        def arrived():
            if place.stored():
                run = place.queue_run()
                check(run.returncode == 0, f"{name}: {run.stdout}{run.stderr}")
            postfix.flush()
            return not postfix.waiting() and not place.stored()
        check(wait_until(arrived), f"{name}: {postfix.waiting()}\n{postfix.log_text()[-2000:]}")
        check([mail.recipients for mail in sink.mails[sent - 1:]] == [[b"%d@in.example" % (sent - 1)]],
              f"{name}: {[mail[:2] for mail in sink.mails[sent - 1:]]}\n{postfix.log_text()[-3000:]}")
        check(sink.mails[-1].content.endswith(content.replace(b"hello", b"[T] hello")),
              f"{name}: {sink.mails[-1].content[:500]}")
    log = postfix.log_text()
    check("status=bounced" not in log, f"a bounce: {log[-3000:]}")
    check("signal 9" in log, "nothing was killed")
    return sent


def test_next_hop(place, faults, postfix, sink, sent):
    """The filter is done when the message is in the queue; there it waits for the server that it goes to."""
    faults.mend()
    place.settings(f"next_hop = smtp://127.0.0.1:{free_port()}\n")
    send(postfix.port, "a@out.example", ["hop@in.example"], TEXT)
    check(wait_until(lambda: not postfix.waiting() and place.stored()), f"next hop: {postfix.log_text()[-2000:]}")
    run = place.queue_run()
    check(len(place.stored()) == 1 and len(sink.mails) == sent, f"next hop away: {run.stdout}{run.stderr}")
    faults.mend()
    run = subprocess.run([place.program, "queue", "retry", "-c", f"{place.folder}/quzo.ini", "outgoing", "--all"],
                         capture_output=True, text=True, check=False, user=USER, cwd="/")
    check(run.returncode == 0, f"retry: {run.stdout}{run.stderr}")
    place.queue_run()
    check(wait_until(lambda: len(sink.mails) == sent + 1 and not postfix.waiting()), "next hop: it does not arrive")
    check(not place.stored(), "next hop: it stays")


def run(program, folder):
    program = shutil.copy(program, f"{folder}/quzo")  # where everybody can run it
    place = Place(program, f"{folder}/filter", USER)
    hop = free_port()
    for name, text in (("fail", "#!/bin/sh\ncat >/dev/null\necho 5.1.1 no such user\nexit $CODE\n"),
                       ("run", WRAPPER.format(folder=place.folder, filter=" ".join(place.command())))):
        with open(f"{place.folder}/{name}", "w", encoding="ascii") as file:
            file.write(text)
            os.fchmod(file.fileno(), 0o755)
    services = (f"127.0.0.1:{hop} inet n - n - - smtpd\n  -o content_filter=\n"
                "  -o receive_override_options=no_header_body_checks,no_unknown_recipient_checks\n"
                f"quzo unix - n n - 10 pipe\n  flags=q user={USER} null_sender=\n"
                f"  argv={place.folder}/run -f ${{sender}} -- ${{recipient}}\n")
    # Postfix tries again when it is told to, and not before.
    options = "queue_run_delay = 300s\nminimal_backoff_time = 300s\nmaximal_backoff_time = 300s\n"
    with postgres_instance.Postgres(f"{folder}/postgres") as database, MailServer() as sink:
        faults = Faults(place, database, hop)
        try:
            faults.mend()
            with open(f"{place.folder}/objects.toml", "w", encoding="ascii") as file:
                file.write(OBJECTS)
            subprocess.run([program, "object", "import", "-c", "quzo.ini", "objects.toml"], check=True,
                           cwd=place.folder, stdout=subprocess.DEVNULL)
            with Postfix(f"{folder}/postfix", sink.port, options, services,
                         door="-o content_filter=quzo:dummy") as postfix:
                sent = test_faults(place, faults, postfix, sink)
                test_next_hop(place, faults, postfix, sink, sent)
            check(not sink.faults, f"on the wire: {sink.faults}")
            check(all(mail.sender == b"a@out.example" for mail in sink.mails), "a bounce arrives")
        finally:
            faults.end()
    print(f"{sent + 1} messages, {len(FAULTS)} faults")


def main():
    if reason := missing() or postgres_instance.missing():
        print("SKIP:", reason)
        return 77
    with tempfile.TemporaryDirectory(prefix="quzo-filter-") as folder:
        os.chmod(folder, 0o755)
        run(os.path.abspath(sys.argv[1]), folder)
    return 1 if FAULTS else 0


if __name__ == "__main__":
    sys.exit(main())
