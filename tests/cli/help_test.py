#!/usr/bin/env python3
"""Looks at what `quzo help` knows, and at how it has man(1) show a page.

usage: help_test.py QUZO

What `--json` tells is held against what the program says and takes elsewhere. In place of man stands a script that notes
what it is called with. Exits 1 on any fault.
"""
import json
import os
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "flow"))
from installation import FAULTS, check as expect  # noqa: E402


def run(quzo, *words, path=os.environ["PATH"]):
    return subprocess.run([quzo, *words], capture_output=True, text=True, check=False, env={**os.environ, "PATH": path})


def check_json(quzo, folder):
    known = json.loads(run(quzo, "help", "--json").stdout)
    expect(run(quzo, "version").stdout.startswith(f"quzo {known['version']} "), known["version"])
    for command in known["commands"]:
        words = command["name"].split()
        shown = run(quzo, *words, "--help").stdout
        for option in command["options"]:
            expect(option["text"] and all(name in shown for name in option["names"]), f"{words}: {option}")
        expect(f"man {command['page']}\n" in shown, f"{words}: no page")
        expect(run(quzo, *words, "--no-such-option").returncode in (64, 75), f"{words}: no command")
    names = [command["name"] for command in known["commands"]]
    listed = run(quzo, "help").stdout.partition("Subcommands:\n")[2].partition("\n\n")[0].splitlines()
    expect({line.split()[0] for line in listed} == {name for name in names if name and " " not in name}, f"{names}")
    expect(not {topic["name"] for topic in known["topics"]} & set(names), "a topic that is a command")
    # A policy with every key says of none that it is unknown, and with one more that this one is.
    policy = os.path.join(folder, "policy.toml")
    conditions = [condition["name"] for condition in known["conditions"]]
    with open(policy, "w", encoding="utf-8") as stream:
        for key in known["default_keys"]:
            stream.write(f"defaults.{key} = []\n")
        stream.write("[[rule]]\n" + "".join(f"{key} = []\n" for key in known["rule_keys"] if key not in ("when", "actions")))
        stream.write("when = { stranger = 1, " + ", ".join(f"{key} = 1.5" for key in conditions) + " }\nactions = [\n")
        for action in known["actions"]:
            keys = set(known["action_keys"]) | set(action["fields"])
            stream.write(f'{{ type = "{action["type"]}", '
                         + ", ".join(f"{key} = 1.5" for key in sorted(keys - {"type"})) + " },\n")
        stream.write("]\n")
    said = run(quzo, "check", "-p", policy).stderr
    unknown = [line for line in said.splitlines() if "unknown" in line or "no such key" in line]
    expect(len(unknown) == 1 and "stranger" in unknown[0], f"{unknown or said}")


def check_topics(quzo, folder):
    notes = os.path.join(folder, "notes")
    os.makedirs(os.path.join(folder, "bin"))
    with open(os.path.join(folder, "bin/man"), "w", encoding="utf-8") as stream:
        stream.write(f'#!/bin/sh\necho "$@" > {notes}\n[ "$2" != quzo-snmp ] || exit 16\n')
    os.chmod(os.path.join(folder, "bin/man"), 0o755)
    os.makedirs(os.path.join(folder, "share/man/man5"))
    with open(os.path.join(folder, "share/man/man5/policy.toml.5.gz"), "w", encoding="utf-8"):
        pass
    copy = shutil.copy(quzo, os.path.join(folder, "bin/quzo"))
    rows = [("settings", 0, "5 quzo.ini", ""), ("policy", 0, f"-M {folder}/share/man 5 policy.toml", ""),
            ("exit-codes", 0, "1 quzo", ""), ("snmp", 66, "7 quzo-snmp", "quzo-snmp(7): this page of the manual"),
            ("setings", 64, "", "did you mean 'settings'?")]
    for topic, code, called, said in rows:
        done = run(copy, "help", topic, path=f"{folder}/bin:/usr/bin:/bin")
        got = ""
        if os.path.exists(notes):
            with open(notes, encoding="utf-8") as stream:
                got = stream.read().strip()
            os.remove(notes)
        expect((done.returncode, got) == (code, called) and said in done.stderr, f"{topic}: {done} {got}")
    done = run(copy, "help", "policy", path=os.path.join(folder, "none"))
    expect(done.returncode == 66 and "man: this program is not there" in done.stderr, f"without man: {done}")


def main():
    with tempfile.TemporaryDirectory() as folder:
        check_json(sys.argv[1], folder)
        check_topics(sys.argv[1], os.path.realpath(folder))
    print(f"{len(FAULTS)} faults")
    sys.exit(1 if FAULTS else 0)


main()
