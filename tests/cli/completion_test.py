#!/usr/bin/env python3
"""Presses Tab in real shells, and asks the program for what they ask it.

usage: completion_test.py PART QUZO SCRIPTS

PART is `answers` (the program alone) or a shell: `bash`, `bash-completion` (bash with that package), `zsh`, `fish`.
SCRIPTS is the folder of their completions. In a shell that runs on a pseudo-terminal lines are typed with Tab in them, and
entered; a stand-in for quzo on its PATH passes on what completions ask and notes what a whole line would have run. So
each row says what a person gets, and a name of an object that is run, or that breaks the line, shows.

Exits 1 on any fault, and 77 when the shell is not there.
"""
import json
import os
import pty
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "flow"))
from installation import FAULTS, check as expect  # noqa: E402

# Names of stamps, each with a first character of its own.
HOSTILE = ["a b'c\"d", "$(touch pwned)", "`touch pwned`", ";touch pwned;", "{x,y}*?[z]", "!!", "~root", "\\n\\", "é ü€",
           "&>pwned", "#no comment", "%d", "|touch pwned", "-x=y"]
OTHERS = ["Maße 1", "Maße 2"]
POLICY = r"""
[[rule]]
id = 7
name = "Hold $(touch pwned)"
when = { always = true }
actions = [{ type = "quarantine", object = "held" }]

[[rule]]
id = 8
name = "\u001b[31m\n\u202e"
when = { always = true }
stop = true
"""
WAIT = 30  # seconds for what takes far less


class Place:
    """A folder with settings, a policy, objects and 3 held messages, in which the shells run."""

    def __init__(self, folder, quzo):
        self.folder, self.quzo = folder, quzo
        self.write("quzo.ini", f"[platform]\nstore = sqlite3://{folder}/store.db\nspool = {folder}/spool\n"
                              f"log = {folder}/log\nlog_level = 3\n")
        self.write("policy.toml", POLICY)
        self.write("a file.txt", "x")
        os.mkdir(self.path("a folder"))
        for name in HOSTILE + OTHERS:
            self.run("object", "add", "stamp", "-c", "quzo.ini", "--text", "x", "--", name)
        self.run("object", "add", "quarantine", "held", "-c", "quzo.ini")
        for number in range(3):
            self.write("mail.eml", f"From: a@b.example\nSubject: No. {number} \x1b[31m\n\nx\n")
            self.run("apply", "-c", "quzo.ini", "-p", "policy.toml", "--to", "c@d.example", "mail.eml")
        listed = self.run("queue", "list", "-c", "quzo.ini", "quarantine", "--json")
        self.ids = sorted(json.loads(line)["id"] for line in listed.splitlines())

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, text):
        os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
        with open(self.path(name), "w", encoding="utf-8") as stream:
            stream.write(text)

    def run(self, *words, environment=None):
        done = subprocess.run([self.quzo, *words], cwd=self.folder, capture_output=True, check=False, env=environment)
        if done.returncode != 0 or (done.stderr and words[0] == "complete"):
            sys.exit(f"exit code {done.returncode}: quzo {words}\n{done.stderr}")
        return done.stdout.decode()

    def answers(self, *words, environment=None):
        return [tuple(line.split("\t")) for line in
                self.run("complete", "--", *words, environment=environment).splitlines()]

    def words(self, *words):
        return [answer[0] for answer in self.answers(*words)]

    def state(self):
        """Everything that a completion must leave as it is."""
        return {os.path.join(folder, name): os.stat(os.path.join(folder, name)).st_mtime_ns
                for folder, folders, names in os.walk(self.folder) for name in folders + names}


def check_answers(place):
    """What the program answers: a line, and the candidates that must be all, or, behind "...", among others."""
    first, held = place.ids[0], ["-c", "quzo.ini", "quarantine"]
    rows = [
        (["que"], ["queue"]), ([""], ["...", "apply", "milter", "object", "version"]),
        (["complet"], []), (["object", "re"], ["remove", "restore"]),
        (["milter", ""], ["reload"]), (["milter", "--so"], ["--socket"]), (["version", ""], ["-h", "--help"]),
        (["help", "obj"], ["object", "objects"]), (["help", "object", "a"], ["add"]), (["help", "exit"], ["exit-codes"]),
        (["object", "list", "st"], ["stamp"]), (["object", "add", "stamp", "x", "--pos"], ["--position"]),
        (["object", "add", "notify", "x", "--pos"], []), (["object", "add", "archive", "x", "--de"], ["--description"]),
        (["object", "add", "stamp", "x", "--position", ""], ["before", "after"]),
        (["object", "add", "stamp", "x", "--position=a"], ["--position=after"]),
        (["object", "show", "-cquzo.ini", "quarantine", ""], ["held"]),
        (["object", "show", "--config=quzo.ini", "stamp", "Ma"], ["Maße 1", "Maße 2"]),
        (["object", "show", "--tenant", "5", "-c", "quzo.ini", "stamp", "Ma"], []),
        (["object", "add", "-c", "quzo.ini", "stamp", "Ma"], []), (["object", "show", "-c", "none.ini", "stamp", ""], []),
        (["queue", "show", *held, ""], place.ids), (["queue", "show", *held, first, ""], place.ids[1:]),
        (["queue", "show", *held, first[:-1]], [each for each in place.ids if each.startswith(first[:-1])]),
        (["queue", "run", ""], ["outgoing", "scan", "postponed"]), (["queue", "retry", "p"], ["postponed"]),
        (["queue", "list", "-c", "quzo.ini", "--rule", ""], ["7", "Hold $(touch pwned)", "8"]),
        (["action", "encode", "tag-s"], ["tag-subject"]), (["action", "encode", "tag-subject", ""], ["tag=", "signed="]),
        (["action", "encode", "tag-subject", "signed="], ["signed=true", "signed=false"]),
        (["apply", "--token", "SEND"], ["SENDER="]), (["apply", ""], [""]), (["apply", "-o", ""], [""]),
        (["apply", "--json", "--js"], []), (["apply", "--to", "a", "--t"], ["--to", "--token"]),
        (["filter", "-f", "a", "--", ""], []), (["apply", "--from", ""], []),
    ]
    for words, wanted in rows:
        got = place.words(*words)
        good = set(wanted[1:]) <= set(got) if wanted[:1] == ["..."] else got == wanted
        expect(good, f"{words}: {got}, not {wanted}")
    expect(place.answers("apply", "") == [("", "files")], "files where files belong")
    expect(place.answers("apply", "-o", "") == [("", "folders")], "folders where folders belong")
    stamps = place.words("object", "show", "-c", "quzo.ini", "stamp", "")
    expect(sorted(stamps) == sorted(HOSTILE + OTHERS), f"stamps: {stamps}")
    texts = [text for _, text in place.answers("queue", "show", *held, "")]
    expect(texts and all(text.startswith("a@b.example: No. ") and "\x1b" not in text for text in texts), f"{texts}")


def check_large_and_slow(place):
    """Thousands of entries are thinned out, and a store that does not answer is not waited for."""
    for number in range(5000):
        place.write(f"spool/failed/A/B/AB{number:05}.json", "{}")
    many = place.words("queue", "show", "-c", "quzo.ini", "failed", "")
    expect(len(many) == 1000 and {"AB00000", "AB04999"} <= set(many), f"{len(many)} of 5000 entries")
    os.mkfifo(place.path("pipe.ini"))
    expect(place.words("object", "show", "-c", "pipe.ini", "stamp", "") == [], "settings that nobody writes")


def free_read(terminal, seconds):
    """What the shell shows, so that it never waits for us to read."""
    shown = b""
    while select.select([terminal], [], [], seconds)[0]:
        try:
            shown += os.read(terminal, 65536)
        except OSError:
            break
    return shown


class Shell:
    """A shell on a pseudo-terminal."""

    def __init__(self, place, command):
        self.record = place.path("record")
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            os.chdir(place.folder)
            environment = {"HOME": place.folder, "PATH": f"{place.folder}/bin:/usr/bin:/bin", "TERM": "dumb",
                           "LC_ALL": "C.UTF-8", "RECORD": self.record, "XDG_DATA_HOME": place.path("data"),
                           "XDG_CONFIG_HOME": place.path("config")}
            os.execvpe(command[0], command, environment)
        self.enter("quzo ready")

    def enter(self, typed):
        """What the line that comes of it runs; None when it runs nothing."""
        if os.path.exists(self.record):
            os.remove(self.record)
        os.write(self.terminal, typed.encode() + b"\r")
        shown, end = b"", time.monotonic() + WAIT
        while time.monotonic() < end:
            shown += free_read(self.terminal, 0.05)
            if os.path.exists(self.record):
                with open(self.record, encoding="utf-8") as stream:
                    return stream.read().split("\0")[:-1]
        print(f"shown: {shown!r}")
        return None

    def end(self):
        os.kill(self.process, signal.SIGKILL)
        os.waitpid(self.process, 0)
        os.close(self.terminal)


def check_shell(place, shell):
    show = ["object", "show", "-c", "quzo.ini", "stamp"]
    typed = "quzo " + " ".join(show) + " "
    first = place.ids[0]
    alone = next(first[:end] for end in range(len(first)) if sum(i.startswith(first[:end]) for i in place.ids) == 1)
    rows = [
        ("quzo obj\tli\t", ["object", "list"]),
        ("quzo queue list -c quzo.ini qua\t", ["queue", "list", "-c", "quzo.ini", "quarantine"]),
        (f"quzo queue show -c quzo.ini quarantine {alone}\t", ["queue", "show", "-c", "quzo.ini", "quarantine", first]),
        ("quzo object add stamp x --position=bef\t", ["object", "add", "stamp", "x", "--position=before"]),
        ("quzo action encode tag-subject ta\tx sig\tt\t",
         ["action", "encode", "tag-subject", "tag=x", "signed=true"]),
        ("quzo apply -p pol\t a\\ fi\t", ["apply", "-p", "policy.toml", "a file.txt"]),
        ("quzo apply --policy=pol\t", ["apply", "--policy=policy.toml"]),
        (typed + "Ma\t1", [*show, "Maße 1"]), (typed + '"Ma\t1"', [*show, "Maße 1"]),
        ("quzo queue list -c quzo.ini --rule H\t", ["queue", "list", "-c", "quzo.ini", "--rule", "Hold $(touch pwned)"]),
    ]
    for name in HOSTILE:
        start = name[0]
        plain = start if start.isalnum() else "\\" + start
        rows.append((typed + ("-- " if start == "-" else "") + plain + "\t",
                     show + (["--"] if start == "-" else []) + [name]))
        if start not in "-\\!~`$'\"":
            rows.append((typed + '"' + start + "\t", [*show, name]))
            rows.append((typed + "'" + start + "\t", [*show, name]))
    for line, wanted in rows:
        got = shell.enter(line)
        expect(got == wanted, f"{line!r}: {got}, not {wanted}")


def commands(place, scripts):
    """How each shell is started, with its files in the folder of the place."""
    bash = shutil.which("bash")
    rc = "PS1='$ '; bind 'set enable-bracketed-paste off'; bind 'set completion-query-items 0'; "
    package = "/usr/share/bash-completion/bash_completion"
    place.write("bash.rc", rc + f". {scripts}/quzo.bash\n")
    place.write("package.rc", rc + f". {package}\n")
    place.write(".zshrc", f"PS1='$ '; fpath=({scripts} $fpath); autoload -Uz compinit; compinit -u -d zcompdump\n"
                          "unsetopt beep zle_bracketed_paste 2>/dev/null; unset zle_bracketed_paste\n")
    for folder, name in (("data/bash-completion/completions/quzo", "quzo.bash"),
                         ("config/fish/completions/quzo.fish", "quzo.fish")):
        os.makedirs(os.path.dirname(place.path(folder)))
        shutil.copy(os.path.join(scripts, name), place.path(folder))
    place.write("config/fish/config.fish", "function fish_greeting; end\nfunction fish_prompt; echo '$ '; end\n")
    return {
        "bash": [bash, "--noprofile", "--rcfile", "bash.rc", "-i"],
        "bash-completion": os.path.exists(package) and [bash, "--noprofile", "--rcfile", "package.rc", "-i"],
        "zsh": shutil.which("zsh") and ["zsh", "-d", "-i"],
        "fish": shutil.which("fish") and ["fish", "-i"],
    }


STAND_IN = """#!/bin/sh
if [ "$1" = complete ]; then exec %s "$@"; fi
printf '%%s\\0' "$@" > "$RECORD.new" && mv "$RECORD.new" "$RECORD"
"""


def main():
    part, quzo, scripts = sys.argv[1], os.path.realpath(sys.argv[2]), os.path.realpath(sys.argv[3])
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as folder:  # fish may still write into it
        place = Place(os.path.realpath(folder), quzo)
        command = commands(place, scripts).get(part)
        place.write("bin/quzo", STAND_IN % quzo)
        os.chmod(place.path("bin/quzo"), 0o755)
        if part == "answers":
            before = place.state()
            check_answers(place)
            expect(place.state() == before, "a completion changed the disk")
            check_large_and_slow(place)
        elif not command:
            print(f"skipped: {part} is not installed")
            sys.exit(77)
        else:
            shell = Shell(place, command)
            try:
                check_shell(place, shell)
            finally:
                shell.end()
        expect(not os.path.exists(place.path("pwned")), "a name was run")
    print(f"{len(FAULTS)} faults")
    sys.exit(1 if FAULTS else 0)


main()
