#!/usr/bin/env python3
"""Root and the user of the service take turns in one installation: what either makes, both can use.

    owner_test.py PROGRAM

Every command that makes files runs as root and as another user. After each, nothing where that user keeps his files
belongs to anybody else, and he can read and change all of it. Who is not root skips it (77).
"""
import os
import re
import signal
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "flow"))
from installation import FAULTS, Installation, check  # noqa: E402

SERVICE = {"user": 64001, "group": 64002, "extra_groups": []}
STRANGER = {"user": 64003, "group": 64003, "extra_groups": []}
OBJECTS = {"quarantine": {"held": {"days": 1}}, "archive": {"kept": {}},
           "notify": {"told": {"from": "q@x.example", "to": "p@x.example", "subject": "s", "body": "b"}}}
RULES = (
    ("Hold", {"subject": "^hold"}, [{"type": "quarantine", "object": "held"}]),
    ("Keep", {"subject": "^keep"}, [{"type": "archive", "object": "kept"}, {"type": "notify", "object": "told"}]),
    ("Move", {"subject": "^move"}, [{"type": "readdress", "to": ["new@x.example"]}]),
    ("Wait", {"subject": "^wait"}, [{"type": "postpone", "at": "23:59"}]),
)
MAIL = "From: a@x.example\r\nTo: b@x.example\r\nSubject: {}\r\n\r\nb\r\n"
SUBJECTS = ("hold 1", "hold 2", "hold 3", "hold 4", "keep", "move", "wait")
OF_THE_SERVICE = re.compile(r"(spool|far|log|objects\.db)")
FILES = ("-c", "quzo.ini", "-p", "policy.toml")


class Place(Installation):
    """An installation in a folder of the service's user; `who` runs the commands."""

    def __init__(self, program, folder):
        os.chown(folder, SERVICE["user"], SERVICE["group"])
        os.chmod(folder, 0o755)
        self.who = {}
        super().__init__(program, folder, OBJECTS, RULES, settings="[general]\nqueue_archive = far/away/archive\n",
                         platform="log_messages = text\n")
        self.write("quzo.ini", self.read("quzo.ini").replace("notify_limit = 0", "notify_limit = 1"))
        self.write("last.ini", self.read("quzo.ini") + "[runner]\ngive_up_after = 1s\n")
        for subject in SUBJECTS:
            self.put(subject.replace(" ", ""), MAIL.format(subject).encode())

    def read(self, name):
        with open(os.path.join(self.folder, name), encoding="utf-8") as file:
            return file.read()

    def run(self, *arguments, **who):
        return subprocess.run([self.program, *arguments], cwd=self.folder, capture_output=True, text=True, timeout=300,
                              check=False, **who)

    def quzo(self, *arguments, wanted=0):
        run = self.run(*arguments, **self.who)
        check(run.returncode == wanted, f"{arguments}: exit code {run.returncode}: {run.stdout}{run.stderr}")
        self.look(f"{arguments} by {self.who or 'root'}")
        return run.stdout

    def look(self, after):
        for folder, folders, files in os.walk(self.folder):
            for path in (os.path.join(folder, name) for name in folders + files):
                try:
                    found, name = os.lstat(path), os.path.relpath(path, self.folder)
                except FileNotFoundError:  # a program that runs replaces its files
                    continue
                if OF_THE_SERVICE.match(name) and (found.st_uid, found.st_gid) != (SERVICE["user"], SERVICE["group"]):
                    check(False, f"{after}: {name} belongs to {found.st_uid}:{found.st_gid}")

    def ids(self, queue):
        return re.findall(r"(?m)^[0-9A-Z]{10,}(?:-\d+)?", self.quzo("queue", "list", "-c", "quzo.ini", queue))


def commands(place, name):
    """Everything that makes or changes files."""
    place.quzo("object", "add", "stamp", name, "-c", "quzo.ini", "--text", "one")
    place.quzo("object", "update", "stamp", name, "-c", "quzo.ini", "--text", "two")
    place.quzo("object", "restore", "stamp", name, "-c", "quzo.ini", "--revision", "1")
    place.quzo("object", "remove", "stamp", name, "-c", "quzo.ini")
    place.quzo("apply", *FILES, "-o", f"out-{name}", "in")
    held = place.ids("quarantine")[-4:]
    check(len(held) == 4, f"{name}: held are {held}")
    place.quzo("queue", "release", "-c", "quzo.ini", "quarantine", held[0])
    place.quzo("queue", "release", "-c", "quzo.ini", "quarantine", held[1], "--rescan")
    place.quzo("queue", "release", "-c", "quzo.ini", "quarantine", held[2], "--as-attachment", "--to", "c@x.example")
    place.quzo("queue", "remove", "-c", "quzo.ini", "quarantine", held[3])
    place.quzo("queue", "expire", "-c", "quzo.ini", "quarantine")
    place.quzo("queue", "run", *FILES, wanted=75)  # nobody listens at the next hop
    place.quzo("queue", "retry", "-c", "quzo.ini", "--all", "outgoing")
    for tidied in ("spool/notices/.tidied", "spool/outgoing/.tidied"):
        if os.path.exists(os.path.join(place.folder, tidied)):
            os.remove(os.path.join(place.folder, tidied))


def check_use(place):
    """The service reads and moves everything that is there."""
    counts = dict(re.findall(r"(?m)^(\w+) +(\d+)", place.quzo("queue", "status", "-c", "quzo.ini")))
    check(all(counts[queue] != "0" for queue in ("archive", "outgoing", "postponed")), f"counts: {counts}")
    for queue in counts:
        for entry in place.ids(queue)[-1:]:
            place.quzo("queue", "show", "-c", "quzo.ini", queue, entry, "--raw")
    place.quzo("queue", "retry", "-c", "quzo.ini", "--all", "outgoing")
    time.sleep(1.1)  # give_up_after of last.ini is over
    place.quzo("queue", "run", "-c", "last.ini", "outgoing", wanted=65)
    check(place.ids("failed") and not place.ids("outgoing"), "not all has gone to the failed queue")
    place.quzo("queue", "release", "-c", "quzo.ini", "--all", "failed")


def check_milter(place):
    """A milter that root tried, killed: its socket is in nobody's way."""
    control = os.path.join(place.folder, "spool/milter.control")
    for who, end in (({}, signal.SIGKILL), (SERVICE, signal.SIGTERM)):
        process = subprocess.Popen([place.program, "milter", *FILES, "--socket", f"unix:{place.folder}/m.sock"],
                                   cwd=place.folder, **who)
        try:
            for _ in range(600):
                if place.run("milter", "reload", "-c", "quzo.ini", **SERVICE).returncode == 0:
                    break
                time.sleep(0.1)
            check(os.path.exists(control), f"there is no milter of {who or 'root'}")
            check(os.stat(control).st_mode & 0o777 == 0o600, "others may use the control socket")
            place.look(f"milter by {who or 'root'}")
            process.send_signal(end)
            check(process.wait(60) == (0 if who else -end), f"milter: {process.returncode}")
        finally:
            process.kill()
            process.wait()


def check_strangers(place):
    """What somebody hears who may look into nothing."""
    place.write("journal.ini", place.read("quzo.ini").replace("log = log", "log = journal"))
    for code, ini, mode, wanted in ((78, "quzo.ini", 0o644, "the log log cannot be opened (Permission denied)"),
                                    (74, "journal.ini", 0o644, "as the user of the service, or as root"),
                                    (78, "journal.ini", 0o640, "journal.ini: the file cannot be read")):
        os.chmod(os.path.join(place.folder, ini), mode)
        for command in (["status"], ["list", "quarantine"], ["release", "quarantine", "--all"]):
            run = place.run("queue", *command, "-c", ini, **STRANGER)
            said = [line for line in run.stderr.splitlines() if line.startswith("quzo: ")]
            check(run.returncode == code and len(said) == 1 and wanted in said[0] and not run.stdout, str(run))


def check_links(place):
    """A link in the folder of the service does not lead root to where the service may not write."""
    log, secret = (os.path.join(place.folder, name) for name in ("log", "in/secret"))
    os.remove(log)
    os.symlink(secret, log)
    for there in (False, True):
        if there:
            place.write("in/secret", "")
            os.chmod(secret, 0o600)
        run = place.run("queue", "status", "-c", "quzo.ini")
        check(run.returncode == 78 and "the log log cannot be opened" in run.stderr, str(run))
        check(os.path.exists(secret) == there and (not there or not place.read(secret)), "root followed a link")
    os.remove(log)


def main():
    if os.geteuid() != 0:
        print("skipped: only root can try what root does")
        return 77
    with tempfile.TemporaryDirectory(prefix="quzo-owner-") as folder:
        place = Place(os.path.abspath(sys.argv[1]), folder)
        for number, who in enumerate(({}, SERVICE, {}, SERVICE)):
            place.who = who
            commands(place, f"n{number}")
            place.who = SERVICE
            check_use(place)
        check_milter(place)
        check_links(place)
        place.quzo("queue", "status", "-c", "quzo.ini")
        check_strangers(place)
    return 1 if FAULTS else 0


if __name__ == "__main__":
    sys.exit(main())
