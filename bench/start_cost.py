#!/usr/bin/env python3
"""What one call of `quzo apply` as a filter costs, nearly all of which is starting.

usage: start_cost.py QUZO [OTHER_QUZO]

The policy tags a short message and refers to no named object; in a second way it also stores a copy under an area
whose object is in a store of one file. Each way is called CALLS times, a few calls of each in turn, /bin/true among
them: what any program costs here. Prints the medians over the turns of processor and wall-clock milliseconds a call,
and the shared libraries that are loaded. With OTHER_QUZO, such as the one of a former commit, each way is called with
both, and the median over the turns of the ratio QUZO / OTHER_QUZO is printed.
"""
import os
import resource
import statistics
import subprocess
import sys
import tempfile
import time

TURNS = 10
CALLS = 200
MAIL = b"From: a@a.example\nTo: x@b.example\nSubject: one\n\nbody\n"
RULE = '[[rule]]\nid = 1\nname = "R"\nwhen = { recipient = "*@b.example" }\nactions = [%s]\n'
TAG = '{ type = "tag-subject", tag = "[T] ", signed = true }'
ARCHIVE = ', { type = "archive", object = "copies" }'


def used():
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def calls(command):
    """Processor and wall-clock milliseconds of one call, over a turn of them."""
    cpu, wall = used(), time.monotonic()
    for _ in range(CALLS // TURNS):
        subprocess.run(command, input=MAIL, capture_output=True, check=True)
    return 1000 * (used() - cpu) / (CALLS // TURNS), 1000 * (time.monotonic() - wall) / (CALLS // TURNS)


def write(folder, name, text):
    path = os.path.join(folder, name)
    with open(path, "w", encoding="utf-8") as stream:
        stream.write(text)
    return path


def main():
    programs = sys.argv[1:]
    if len(programs) not in (1, 2):
        sys.exit(__doc__)
    with tempfile.TemporaryDirectory() as folder:
        ini = write(folder, "quzo.ini", f"[platform]\nstore = sqlite3://{folder}/store.db\nspool = {folder}/spool\n")
        subprocess.run([programs[0], "object", "add", "archive", "copies", "-c", ini, "--days", "1",
                        "--description", "copies"], check=True, stdout=subprocess.DEVNULL)
        plain = ["-c", ini, "-p", write(folder, "plain.toml", RULE % TAG), "-"]
        objects = ["-c", ini, "-p", write(folder, "objects.toml", RULE % (TAG + ARCHIVE)), "-"]
        ways = [("any program", ["/bin/true"])]
        for program in programs:
            ways += [(f"{program}: no object", [program, "apply", *plain]),
                     (f"{program}: an object", [program, "apply", *objects])]
        turns = {name: [] for name, _ in ways}
        for _ in range(TURNS):
            for name, command in ways:
                turns[name].append(calls(command))
        print("| way | processor, ms | wall clock, ms |\n|---|---:|---:|")
        for name, _ in ways:
            cpu, wall = (statistics.median(turn[i] for turn in turns[name]) for i in (0, 1))
            print(f"| {name} | {cpu:.1f} | {wall:.1f} |")
        for way in ("no object", "an object") if len(programs) == 2 else ():
            pairs = list(zip(*(turns[f"{program}: {way}"] for program in programs)))
            ratios = [statistics.median(first[i] / second[i] for first, second in pairs) for i in (0, 1)]
            print(f"{way}: {ratios[0]:.2f} times the processor time, {ratios[1]:.2f} times the wall clock")
    for program in programs:
        listing = subprocess.run(["ldd", program], capture_output=True, text=True, check=True).stdout
        print(f"{program}: {len(listing.splitlines())} shared libraries")


main()
