#!/usr/bin/env python3
"""examples/gateway/run.sh does what it says, and leaves nothing behind.

    example_test.py PROGRAM

Where the script cannot run it says why, and this is skipped (77).
"""
import glob
import os
import re
import subprocess
import sys

SCRIPT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "examples", "gateway", "run.sh")
# In this order; each a line.
FACTS = (
    r"  02-invoice\.eml +accounts@example\.com and books@example\.com: \[extern\] Invoice 2025-118  \(X-Origin\)",
    r"  05-german\.eml .*\(X-Quzo-Marks\)",
    r"  07-lottery\.eml +deleted",
    r"  10-program\.eml +anna\.berg@example\.com: \[.*\.exe\] .*\(X-Program\)",
    r"  11-forwarded\.eml +held by the rule Programs from outside",
    r"  \(a notification\) +postmaster@example\.com: Held: beach\.jpg\.scr",
    r"  12 arrived, 1 held, 1 deleted",
    r"  - Subject: Invoice 2025-118",
    r"  \+ Subject: \[extern\] Invoice 2025-118",
    r"  quarantine +1 .*",
    r"  .*quzoNotifications\.20.* = Quarantined: beach\.jpg\.scr from friend@mailbox\.example\.org",
    r"  postfix/cleanup\[\d+\]: [0-9A-F]+: milter-discard: .*",
    r"  .* outcome=consumed .*",
    r"  11-forwarded\.eml +maria\.costa@example\.com: .*",
)


def left(folder):
    """Processes that have to do with the folder."""
    found = []
    for path in glob.glob("/proc/[0-9]*/cmdline"):
        try:
            with open(path, "rb") as file:
                if folder.encode() in file.read():
                    found.append(path)
        except OSError:
            pass  # it has ended meanwhile
    return found


def main():
    run = subprocess.run([SCRIPT], env={**os.environ, "QUZO": os.path.abspath(sys.argv[1])}, capture_output=True,
                         text=True, timeout=280, check=False)
    if run.returncode == 77:
        print("SKIP:", run.stderr)
        return 77
    faults = [] if run.returncode == 0 and not run.stderr else [f"exit code {run.returncode}: {run.stderr}"]
    lines = run.stdout.splitlines()
    folder = re.search(r"/tmp/quzo-gateway\.\w+", run.stdout).group()
    at = 0
    for fact in FACTS:
        rest = [number for number in range(at, len(lines)) if re.fullmatch(fact, lines[number])]
        at = rest[0] + 1 if rest else at
        faults += [] if rest else [f"no line {fact}"]
    if not lines[-1].endswith(f"have ended, and {folder} is gone."):
        faults.append(f"the last line: {lines[-1]}")
    faults += [f"left: {one}" for one in [*left(folder), *glob.glob(folder)]]
    print("\n".join(["FAILED:", *faults, run.stdout] if faults else ["0 faults"]))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
