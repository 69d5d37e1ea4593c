#!/usr/bin/env python3
"""The hostile messages, stamped and stripped by the built program: within the limits that hold for looking at them.

usage: hostile_edits.py QUZO [-DSANITIZED]

Each message of hostile_mail.py gets a stamp in front and behind, and loses its attachments, each by a run of its own.
Checked for each: the exit code is that of a handled message (0) or of a refused one (65); a handled one shows the stamp
once, or has become no longer by stripping; the peak of memory is within hostile_mail.py's bound. And, where there is
valgrind, twice the message takes at most 2.2 times the instructions to be stamped and stripped in one run.

The last line counts the cases; the exit code is 1 when one failed.
"""

import base64
import os
import shutil
import subprocess
import sys
import tempfile

from hostile_mail import CASES, RAISED, SANITIZED, Runner, check, check_growth

STAMP = "hostile stamp 7f3a: Prüfung 免責"
MARK = b"hostile stamp 7f3a: "
JOBS = {
    "stamp before": '{ type = "stamp", object = "before" }',
    "stamp after": '{ type = "stamp", object = "after" }',
    "strip": '{ type = "delete-attachment", all = true }',
}
LITTLE_WORK = ("encoded words without end", "encoded words never closed", "unknown charsets")  # of the subject
POLICY = '[[rule]]\nid = 1\nname = "all"\nwhen = { always = true }\nactions = [ %s ]\n'
ROOM = 2000  # bytes of fields and boundaries that an edit may add


def prepare(runner):
    """The two stamps, in a store that all runs share."""
    store = f"[platform]\nstore = sqlite3://{runner.folder}/store.db\n"
    for name, text in (("raised.ini", RAISED), ("plain.ini", "")):
        with open(os.path.join(runner.folder, name), "w", encoding="ascii") as file:
            file.write(store + text.replace("[platform]\n", ""))
    text = os.path.join(runner.folder, "stamp.txt")
    with open(text, "w", encoding="utf-8") as file:
        file.write(STAMP)
    for position in ("before", "after"):
        subprocess.run([runner.program, "object", "add", "stamp", position, "-c", os.path.join(runner.folder, "plain.ini"),
                        "--text-file", text, "--position", position], check=True, capture_output=True)


def use_policy(runner, actions):
    with open(os.path.join(runner.folder, "policy.toml"), "w", encoding="ascii") as file:
        file.write(POLICY % actions)


def stamps_shown(message):
    """How often the stamp stands in a message that had one text."""
    shown = message.replace(b"=\n", b"").count(MARK)
    return shown or base64.b64decode(message[message.index(b"\n\n"):]).count(MARK)


def fault_of_stripped(runner, size):
    return "it became longer" if os.path.getsize(runner.output) > size + ROOM else None


def fault_of_stamped(runner, _):
    with open(runner.output, "rb") as file:
        shown = stamps_shown(file.read())
    return None if shown == 1 else f"the stamp is there {shown} times"


def main():
    results = []
    with tempfile.TemporaryDirectory() as folder:
        runner = Runner(sys.argv[1], folder)
        prepare(runner)
        for job, actions in JOBS.items():
            use_policy(runner, actions)
            fault_of = fault_of_stripped if job == "strip" else fault_of_stamped
            results += [check(runner, case, fault_of, f"{job:12} ") for case in CASES]
        runner.close()
        if not SANITIZED and shutil.which("valgrind"):
            use_policy(runner, ", ".join(JOBS.values()))
            results += check_growth(runner, [case for case in CASES if case[0] not in LITTLE_WORK])
    print(f"{sum(results)} passed, {len(results) - sum(results)} failed")
    return 0 if all(results) else 1


if __name__ == "__main__":
    sys.exit(main())
