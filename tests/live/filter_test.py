#!/usr/bin/env python3
"""quzo filter as a mail server runs it: a caller that dies, signals, and a real Postfix with its pipe(8).

    filter_test.py PROGRAM

Postfix listens on 127.0.0.1 and ends with the test. Where it cannot be started its part is skipped (77).
"""
import os
import shutil
import signal
import smtplib
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "flow"))
from installation import FAULTS, check  # noqa: E402
from mail_server import MailServer  # noqa: E402
from postfix_instance import Postfix, free_port, missing, wait_until  # noqa: E402

USER = "nobody"
TAG = '[[rule]]\nid = 10\nwhen = { always = true }\nactions = [{ type = "tag-subject", tag = "[T] " }]\n'
LARGE = b"x" * 70 + b"\r\n"  # of it more than a pipe holds


class Place:
    """A folder with settings, a policy and a spool."""

    def __init__(self, program, folder, user=None):
        self.program, self.folder, self._user = program, folder, user
        os.makedirs(folder)
        if user:
            shutil.chown(folder, user)
        self.policy(TAG)
        self.settings()

    def policy(self, text):
        self._write("policy.toml", text)

    def settings(self, more=""):
        self._write("quzo.ini", f"[platform]\nspool = {self.folder}/spool\nhostname = gw.example\ntls = off\n{more}")

    def _write(self, name, text):
        with open(f"{self.folder}/{name}", "w", encoding="ascii") as file:
            file.write(text)

    def command(self, *more):
        return [self.program, "filter", "-c", f"{self.folder}/quzo.ini", "-p", f"{self.folder}/policy.toml", *more]

    def queue_run(self):
        return subprocess.run([self.program, "queue", "run", "-c", f"{self.folder}/quzo.ini", "outgoing"], timeout=120,
                              capture_output=True, text=True, check=False, user=self._user, cwd="/")

    def stored(self):
        return [name for _, _, names in os.walk(f"{self.folder}/spool/outgoing") for name in names
                if name.endswith(".json")]


def test_cut_off(program, folder):
    """The caller dies in the middle of the message, which then looks whole; and a signal comes there."""
    place = Place(program, f"{folder}/cut")
    words = place.command("-f", "a@a", "--", "b@b")
    # A shell between us that dies while we hold both ends of what it started.
    with subprocess.Popen(["sh", "-c", 'exec 3<&0; "$@" <&3 & wait', "sh", *words], bufsize=0,
                          stdin=subprocess.PIPE, stderr=subprocess.PIPE) as shell:
        shell.stdin.write(b"Subject: x\n\n" + LARGE * 3000)  # so much that it reads by now
        shell.send_signal(signal.SIGKILL)
        shell.wait(60)
        shell.stdin.close()
        said = shell.stderr.read()
    check(b"has died" in said, f"a dead caller: {said}")
    with subprocess.Popen(words, bufsize=0, stdin=subprocess.PIPE, stderr=subprocess.PIPE) as run:
        run.stdin.write(b"Subject: x\n\n" + LARGE * 3000)
        run.send_signal(signal.SIGTERM)
        said = run.stderr.read()
        check(run.wait(60) == 75 and b"told to end" in said, f"SIGTERM: {run.returncode} {said}")
        run.stdin.close()
    check(not place.stored(), f"cut off: {place.stored()}")


def send(port, sender, recipients, text):
    with smtplib.SMTP("127.0.0.1", port, timeout=60) as client:
        client.sendmail(sender, recipients, text)


def test_postfix(program, folder):
    # Where everybody can run it.
    program = shutil.copy(program, f"{folder}/quzo")
    place = Place(program, f"{folder}/filter", USER)
    inside = free_port()
    command = " ".join(place.command("-f", "${sender}", "--", "${recipient}"))
    services = (f"127.0.0.1:{inside} inet n - n - - smtpd\n  -o content_filter=\n"
                "  -o receive_override_options=no_header_body_checks,no_unknown_recipient_checks\n"
                f"quzo unix - n n - 10 pipe\n  flags=q user={USER} null_sender=\n  argv={command}\n")
    # It tries again when it is told to.
    with MailServer() as sink, Postfix(f"{folder}/postfix", sink.port, "queue_run_delay = 300s\n", services,
                                       door="-o content_filter=quzo:dummy") as postfix:
        place.settings(f"next_hop = smtp://127.0.0.1:{inside}\n")

        def arrived(count, what):
            """Whether the sink has so many mails in the end; works off what the filter has stored."""
            def there():
                if place.stored():
                    run = place.queue_run()
                    check(run.returncode == 0, f"{what}: {run.stdout}{run.stderr}")
                return len(sink.mails) >= count and not place.stored() and not postfix.waiting()
            wait_until(there)
            check(len(sink.mails) == count, f"{what}: {len(sink.mails)} mails, not {count}\n{postfix.log_text()}")
            return [(mail.sender, sorted(mail.recipients)) for mail in sink.mails]

        text = b"From: a@out.example\r\nSubject: hello\r\n\r\n.dot\r\n\xff 8 bit\r\n"
        send(postfix.port, "a@out.example", ["b@in.example", '"o,dd"@in.example'], text)
        arrived(1, "tagged")
        send(postfix.port, "", ["c@in.example"], text)
        envelopes = arrived(2, "null sender")
        check(envelopes == [(b"a@out.example", [b'"o,dd"@in.example', b"b@in.example"]), (b"", [b"c@in.example"])],
              f"envelopes: {envelopes}")
        for mail in sink.mails:
            check(mail.content.endswith(text.replace(b"hello", b"[T] hello")), f"bytes: {mail.content}")
            check(b"Return-Path" not in mail.content and b"Delivered-To" not in mail.content, f"{mail.content}")

        # A wrong policy: more than a pipe holds is given to a program that does not read it.
        place.policy("[[rule")
        send(postfix.port, "a@out.example", ["d@in.example"], text + LARGE * 3000)
        wait_until(lambda: [one["queue_name"] for one in postfix.waiting()] == ["deferred"])
        waiting = postfix.waiting()
        check([one["queue_name"] for one in waiting] == ["deferred"], f"deferred: {waiting}\n{postfix.log_text()}")
        reason = waiting[0]["recipients"][0].get("delay_reason", "") if waiting else ""
        check("policy.toml:1" in reason and "temporary failure" in reason, f"the reason: {reason}")
        check("status=bounced" not in postfix.log_text() and len(sink.mails) == 2, f"a bounce: {postfix.log_text()}")
        place.policy(TAG)
        postfix.flush()
        arrived(3, "mended")
        check(sink.mails[2].content.endswith(text.replace(b"hello", b"[T] hello") + LARGE * 3000), "the large one")

        # What the settings refuse goes back to its sender, and nothing else does.
        place.settings(f"next_hop = smtp://127.0.0.1:{inside}\nlimit_message = 100K\non_limit = refuse\n")
        send(postfix.port, "a@out.example", ["e@in.example"], text + LARGE * 3000)
        envelopes = arrived(4, "refused")
        check(envelopes[-1] == (b"", [b"a@out.example"]), f"the bounce: {envelopes[-1]}")

        # The other way: sendmail(1) of Postfix takes what goes on.
        run = subprocess.run(place.command("--sendmail", shutil.which("sendmail"), "-f", "", "--", "f@in.example"),
                             input=text, env=postfix.environment, capture_output=True, timeout=60, check=False)
        check(run.returncode == 0 and not run.stderr, f"sendmail: {run.returncode} {run.stderr}")
        envelopes = arrived(5, "sendmail")
        check(envelopes[-1] == (b"", [b"f@in.example"]), f"sendmail: {envelopes[-1]}")
        check(sink.mails[-1].content.endswith(text.replace(b"hello", b"[T] hello")), f"{sink.mails[-1].content}")
        check(not sink.faults, f"on the wire: {sink.faults}")


def main():
    program = os.path.abspath(sys.argv[1])
    with tempfile.TemporaryDirectory(prefix="quzo-filter-") as folder:
        os.chmod(folder, 0o755)
        test_cut_off(program, folder)
        why = missing()
        if why:
            print("SKIP:", why)
        else:
            test_postfix(program, folder)
    return 1 if FAULTS else 77 if why else 0


if __name__ == "__main__":
    sys.exit(main())
