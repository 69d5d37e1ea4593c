#!/usr/bin/env python3
"""Work on hostile input grows with its length, and not with the square of it.

usage: growth_test.py GROWTH_PROBE

Runs the probes under callgrind. An operation on twice the input may take at most 2.2 times the instructions. Counted
instructions are the same on every machine, however busy. The last line counts the probes; the exit code is 1 when one
failed, and 77 where there is no valgrind.
"""

import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

GROWTH = 2.2
FEWEST = 20000  # instructions that tell something


def counted(folder):
    """What callgrind counted: {name: {times: instructions}}."""
    counts = {}
    for file in Path(folder).glob("cg.*"):
        text = file.read_text(encoding="utf-8", errors="replace")
        label = re.search(r"^desc: Trigger: Client Request: ([12]) (.*)$", text, re.M)
        totals = re.search(r"^totals: (\d+)", text, re.M)
        if label:
            counts.setdefault(label[2], {})[int(label[1])] = int(totals[1]) if totals else 0
    return counts


def main():
    if not shutil.which("valgrind"):
        print("skipped: valgrind is not installed")
        return 77
    with tempfile.TemporaryDirectory() as folder:
        command = ["valgrind", "--tool=callgrind", "--instr-atstart=no", f"--callgrind-out-file={folder}/cg", sys.argv[1]]
        result = subprocess.run(command, capture_output=True, text=True, check=False, errors="replace")
        counts = counted(folder)
    if result.returncode != 0:
        print(result.stderr)
    failed = 0
    for name, count in sorted(counts.items()):
        small, large = count.get(1, 0), count.get(2, 0)
        growth = large / max(small, 1)
        fault = ""
        if growth > GROWTH:
            fault = f"  FAILED: grows {growth:.2f}-fold when the input doubles"
        elif large < FEWEST and growth > 1.05:
            fault = "  FAILED: too little work to tell"
        failed += bool(fault)
        print(f"{name:40} {small:12,} {large:12,}  x{growth:4.2f}{fault}")
    print(f"{len(counts) - failed} passed, {failed} failed")
    return 1 if failed or result.returncode != 0 or not counts else 0


if __name__ == "__main__":
    sys.exit(main())
