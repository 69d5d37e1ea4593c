#!/usr/bin/env python3
"""The Debian packages in a bare Debian 12: installed, used as README.md shows, upgraded, removed, purged.

usage: try_packages.py NEW OLD     folders with the package files of this version and of the one before

It runs as root, makes a machine in a temporary folder with debootstrap, boots it with systemd, and takes it away.
Each line on standard output is something that was seen to hold; the exit code is 1 when something does not.
"""
import contextlib
import hashlib
import json
import pathlib
import re
import shutil
import subprocess
import sys

from first_screen import steps
from machine import CommandFailed, Machine

BASE = ["systemd", "systemd-sysv", "dbus", "postfix", "sqlite3", "man-db", "binutils"]
BUILD = ["cmake", "g++", "make", "pkgconf"]
HELD, OBJECTS = 1000, 50
CONFIG = "/etc/quzo/quzo.ini", "/etc/quzo/policy.toml"
SPOOL = "/var/lib/quzo/spool"
INSTALL = "apt-get install -y -q --no-install-recommends -o Dpkg::Options::=--force-confold"
FOLDERS = {"/etc/quzo/quzo.ini": "640 root quzo", "/etc/quzo/policy.toml": "644 root root",
           "/var/lib/quzo": "750 quzo quzo", SPOOL: "700 quzo quzo", "/var/log/quzo": "750 quzo quzo"}
# A client at 127.0.0.1 of the machine, run by this host in its network: the machine has no Python.
CLIENT = """
import smtplib, sys
count, subject = int(sys.argv[1]), sys.argv[2]
with smtplib.SMTP("127.0.0.1", 25, timeout=60) as client:
    for number in range(count):
        client.sendmail("friend@elsewhere.example", ["anna@localhost"],
                        f"From: friend@elsewhere.example\\r\\nTo: anna@localhost\\r\\nSubject: {subject} {number}\\r\\n"
                        f"Message-ID: <{number}.{subject}@elsewhere.example>\\r\\n\\r\\nGood morning {number}\\r\\n")
"""


def expect(holds, what):
    if not holds:
        raise CommandFailed("does not hold: " + what)
    print("  " + what, flush=True)


def part(title):
    print(title, flush=True)


def send(machine, count, subject):
    """Gives mail from outside to the machine's Postfix."""
    subprocess.run(["nsenter", "--target", machine.leader(), "--net", "--", sys.executable, "-c", CLIENT, str(count),
                    subject], check=True)


def inbox(machine, subject):
    """The mail with that subject in anna's mailbox, when Postfix has delivered all that it has."""
    machine.shell("for i in $(seq 100); do postqueue -j | grep -q . || break; sleep 0.2; done")
    file = machine.path("/var/mail/anna")
    text = file.read_text() if file.exists() else ""
    return [mail for mail in text.split("\nFrom ") if f"\nSubject: {subject} " in mail]


def queue_count(machine, queue):
    for line in machine.run("quzo", "queue", "status", "--json").stdout.splitlines():
        row = json.loads(line)
        if row["queue"] == queue:
            return row["entries"]
    raise CommandFailed(f"quzo queue status tells nothing of {queue}")


def object_count(machine):
    return len(machine.run("quzo", "object", "list", "--json").stdout.splitlines())


def files_of(machine, folder):
    """What is in a folder of the machine: {name: digest}."""
    root = machine.path(folder)
    return {str(path.relative_to(root)): hashlib.sha256(path.read_bytes()).hexdigest()
            for path in root.rglob("*") if path.is_file()}


def add_rule(machine, rule):
    with open(machine.path(CONFIG[1]), "a", encoding="utf-8") as file:
        file.write("\n" + rule)


def just_installed(machine):
    """What holds before anybody has set anything up."""
    for place, wanted in FOLDERS.items():
        found = machine.run("stat", "-c", "%a %U %G", place).stdout.strip()
        expect(found == wanted, f"{place}: {found}")
    for unit in ("quzo-milter.service", "quzo-runner.service", "quzo-expire.timer"):
        active = machine.run("systemctl", "is-active", unit, codes=None).stdout.strip()
        enabled = machine.run("systemctl", "is-enabled", unit, codes=None).stdout.strip()
        expect((active, enabled) == ("inactive", "disabled"), f"{unit}: {active}, {enabled}")
    checked = machine.run("quzo", "check")
    expect("0 rules" in checked.stdout, "quzo check: " + checked.stdout.strip())
    conffiles = machine.run("dpkg-query", "-W", "-f", "${Conffiles}", "quzo").stdout
    expect(all(file in conffiles for file in CONFIG), "the configuration files are conffiles")
    headers = machine.run("readelf", "-hdlW", "/usr/bin/quzo").stdout
    expect("DYN (Position" in headers and "GNU_RELRO" in headers and "BIND_NOW" in headers, "PIE, RELRO, bind now")
    sections = machine.run("readelf", "-SW", "/usr/bin/quzo").stdout
    expect(".symtab" not in sections and ".gnu_debuglink" in sections, "stripped, with debug symbols apart")


def first_screen(machine, folder):
    """What README.md shows, step by step, and a mail that is stamped."""
    result = None
    machine.path("/build").mkdir()
    machine.path("/build/packages").symlink_to(f"/packages/{folder}")
    for kind, text in steps():
        if kind == "":
            for command in text.strip().splitlines():
                if command == "scripts/build_packages":
                    continue
                machine.shell(command.replace("apt install", INSTALL))
                if "apt install" in command:
                    just_installed(machine)
        elif kind == "ini":
            with open(machine.path("/etc/postfix/main.cf"), "a", encoding="utf-8") as file:
                file.write(text)
        elif kind == "toml":
            add_rule(machine, text)
        else:
            result = text.strip().splitlines()
    send(machine, 1, "first")
    mails = inbox(machine, "first")
    expect(len(mails) == 1 and mails[0].rstrip().endswith("Good morning 0\n\n" + result[-1]),
           "a mail from outside arrives stamped: " + repr(mails[0].rstrip()[-80:] if mails else None))


def milter_process(machine):
    return machine.run("systemctl", "show", "-p", "MainPID", "--value", "quzo-milter").stdout.strip()


def restrictions(machine):
    """The sandbox that holds for the milter that runs."""
    # The first line that tells of the whole: "→ Overall exposure level for quzo-milter.service: 1.4 OK"
    for unit in ("quzo-milter.service", "quzo-runner.service", "quzo-expire.service"):
        said = machine.run("systemd-analyze", "security", "--no-pager", unit).stdout
        exposure = float(re.search(r"exposure level for \S+: ([0-9.]+)", said).group(1))
        expect(exposure <= 2.0, f"systemd-analyze security {unit}: {exposure}")
    lines = machine.run("cat", f"/proc/{milter_process(machine)}/status").stdout.splitlines()
    status = dict(line.split(":\t", 1) for line in lines if ":\t" in line)
    expect((status["NoNewPrivs"], status["Seccomp"], status["CapEff"].strip("0")) == ("1", "2", ""),
           "the milter runs with no new privileges, system calls filtered, without a capability")
    expect(status["Uid"].split()[0] == machine.run("id", "-u", "quzo").stdout.strip(), "as the user quzo")
    for unit in ("quzo-expire.service", "quzo-runner.service"):
        machine.run("systemctl", "start", unit)
        # A service that the sandbox does not let work ends soon.
        state = machine.shell(f"sleep 2; systemctl is-failed {unit}", codes=None).stdout.strip()
        expect(state in ("inactive", "active"), f"{unit} runs in the sandbox: {state}")
    machine.run("systemctl", "stop", "quzo-runner")


def fill(machine):
    """Messages in quarantine through Postfix and the milter, and objects, of a machine that is set up."""
    machine.run("quzo", "object", "add", "quarantine", "held", "--days", "30")
    for number in range(OBJECTS - object_count(machine)):
        machine.run("quzo", "object", "add", "stamp", f"stamp {number}", "--text", f"text {number}")
    add_rule(machine, '[[rule]]\nid = 20\nname = "Held"\nwhen = { subject = "^hold " }\n'
                      'actions = [{ type = "quarantine", object = "held" }]\n')
    machine.shell("sed -i 's/^# hostname = .*/hostname = gate.example.com/' /etc/quzo/quzo.ini")
    # Or Postfix waits a second behind each message that the milter takes, since it delivers none.
    machine.shell("postconf -e in_flow_delay=0 && postfix reload && quzo check && systemctl restart quzo-milter")
    send(machine, HELD, "hold")
    expect(queue_count(machine, "quarantine") == HELD, f"{HELD} messages in quarantine")
    expect(object_count(machine) == OBJECTS, f"{OBJECTS} objects in the store")


def to_former_format(machine):
    """The store as the first format had it: without references and read-only objects. The milter does not look at it
    before it is restarted."""
    machine.run("sqlite3", "/var/lib/quzo/objects.db",
                "drop table quzo_reference; alter table quzo_object drop column read_only;"
                "update quzo_schema set version = 1")


def upgrade(machine, folder):
    mails, config = files_of(machine, SPOOL + "/quarantine"), files_of(machine, "/etc/quzo")
    before = machine.run("quzo", "version").stdout.split()[1]
    to_former_format(machine)
    milter = milter_process(machine)
    said = machine.shell(f"{INSTALL} /packages/{folder}/quzo_*.deb")
    after = machine.run("quzo", "version").stdout.split()[1]
    expect(before != after, f"upgraded from {before} to {after}")
    expect(files_of(machine, "/etc/quzo") == config, "the configuration is as it was")
    now = files_of(machine, SPOOL + "/quarantine")
    expect(mails.items() <= now.items() and queue_count(machine, "quarantine") == HELD,
           f"{HELD} messages in quarantine, the same bytes")
    expect(object_count(machine) == OBJECTS, f"{OBJECTS} objects in the store")
    version = machine.run("sqlite3", "/var/lib/quzo/objects.db", "select version from quzo_schema").stdout.strip()
    copies = [path.name for path in machine.path("/var/lib/quzo").glob("objects.db.*") if "format" in path.name]
    expect(version == "2" and len(copies) == 1, f"the store has format {version}, its former state is in {copies}: "
           + " ".join(line for line in (said.stdout + said.stderr).splitlines() if "format" in line))
    copied = machine.run("sqlite3", f"/var/lib/quzo/{copies[0]}",
                         "select (select version from quzo_schema), (select count(*) from quzo_object)").stdout.strip()
    expect(copied == f"1|{OBJECTS}", f"the copy has format and objects {copied}")
    machine.shell("for i in $(seq 50); do systemctl is-active -q quzo-milter && exit 0; sleep 0.2; done; exit 1")
    expect(milter_process(machine) not in (milter, "0"), "the milter that ran was restarted")
    send(machine, 1, "second")
    expect(inbox(machine, "second")[0].rstrip().endswith("Think before you click."), "mail is stamped as before")


def consumers(machine, folder):
    machine.shell(f"{INSTALL} /packages/{folder}/libquzo*.deb")
    shutil.copytree(pathlib.Path(__file__).resolve().parents[2] / "packaging/debian/tests", machine.path("/tests"))
    for test in ("consumer-cmake", "consumer-pkgconfig"):
        said = machine.run("sh", f"/tests/{test}").stdout
        seen = [line for line in said.splitlines() if line.endswith(": as expected")]
        expect(len(seen) >= 3, f"{test}: {'; '.join(seen)}")


def remove_and_purge(machine):
    mails = files_of(machine, SPOOL + "/quarantine")
    said = machine.shell("apt-get remove -y -q quzo")
    expect("smtpd_milters" in said.stderr + said.stdout, "removal says what Postfix still asks for")
    expect(files_of(machine, SPOOL + "/quarantine") == mails, "removal keeps the mail")
    expect(all(machine.path(file).exists() for file in CONFIG), "and the configuration")
    said = machine.shell("apt-get purge -y -q quzo </dev/null")
    expect(f"{HELD} messages" in said.stderr + said.stdout, f"a purge asks nothing, and says that {HELD} messages stay")
    expect(files_of(machine, SPOOL + "/quarantine") == mails, "they do stay")
    left = sorted(path.name for path in machine.path("/var/lib/quzo").iterdir())
    expect(left == ["spool"] and not machine.path("/etc/quzo").exists() and not machine.path("/var/log/quzo").exists(),
           f"everything else is gone; /var/lib/quzo has {left}")


def whole_life(machine, new, old):
    part("The version before, installed and filled")
    machine.shell("useradd -m anna")
    machine.shell(f"{INSTALL} /packages/{old}/quzo_*.deb")
    machine.shell("apt-get purge -y -q quzo")
    expect(not machine.path("/var/lib/quzo").exists(), "installed and purged again: nothing is left")
    first_screen(machine, old)
    fill(machine)
    part("Upgrade")
    upgrade(machine, new)
    part("The units' restrictions")
    restrictions(machine)
    part("Programs that use the library")
    consumers(machine, new)
    part("Removal and purge")
    remove_and_purge(machine)
    part("This version on a machine that had nothing")
    machine.shell(f"rm -rf /build {SPOOL} && postconf -X smtpd_milters milter_default_action && rm -f /var/mail/anna")
    first_screen(machine, new)


def main():
    new, old = (pathlib.Path(argument) for argument in sys.argv[1:3])
    with Machine() as machine:
        try:
            part("A bare Debian 12")
            machine.make(BASE + BUILD, [new, old])
            machine.boot()
            whole_life(machine, new.name, old.name)
        except (CommandFailed, subprocess.SubprocessError, IndexError) as fault:
            print(f"FAILED: {fault}", flush=True)
            with contextlib.suppress(CommandFailed):
                print(machine.shell("journalctl -n 30 --no-pager", codes=None).stdout if machine.container else "")
            return 1
    print("all of it holds")
    return 0


if __name__ == "__main__":
    sys.exit(main())
