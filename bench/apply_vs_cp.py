#!/usr/bin/env python3
"""`quzo apply -o` over a folder of mail, against `cp -r` of it, on disk.

usage: apply_vs_cp.py QUZO FOLDER [TURNS [WORK_FOLDER]]

All ways work in turns, first with the mail in the page cache (warm), then with it dropped from there before each
run (cold: sync, then POSIX_FADV_DONTNEED on every file; names and sizes stay cached). `quzo apply` makes its
output durable before it ends and `cp` does not, so `cp` is also measured together with `sync -f` of what it
wrote. WORK_FOLDER, by default the system's temporary folder, is where the outputs go; it should be on the disk
that the mail is on and have room for 51 copies of it with 5 turns. They are removed at the end and not before:
file systems such as ext4 are slow to make new files when many have just been removed. Prints medians, and the
median over the turns of the ratio to `cp -r` alone and to `cp -r` with `sync -f`.
"""
import filecmp
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

PASS = r"""
[[rule]]
id = 1
name = "Nobody"
when = { sender = "*@nowhere.example" }
actions = [{ type = "delete" }]
"""
MARK = r"""
[[rule]]
id = 1
name = "Mark"
when = { not = { sender = "*@example.invalid" } }
actions = [
  { type = "tag-subject", tag = "[checked] ", signed = false },
  { type = "x-header", name = "X-Scanned", value = "yes" },
]
"""


def forget(files):
    os.sync()
    for path in files:
        descriptor = os.open(path, os.O_RDONLY)
        os.posix_fadvise(descriptor, 0, 0, os.POSIX_FADV_DONTNEED)
        os.close(descriptor)


def timed(commands):
    begin = time.monotonic()
    for command in commands:
        subprocess.run(command, check=True)
    return time.monotonic() - begin


def check(mail, out):
    """What passed must be what came in."""
    files = sorted(os.listdir(out))
    _, differ, missing = filecmp.cmpfiles(mail, out, files, shallow=False)
    if differ or missing or not files:
        sys.exit(f"apply_vs_cp: {out}: {len(differ)} of {len(files)} messages differ, {len(missing)} are missing")
    return len(files)


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    quzo, mail = sys.argv[1], os.path.abspath(sys.argv[2])
    turns = int(sys.argv[3]) if len(sys.argv) > 3 else 5
    place = sys.argv[4] if len(sys.argv) > 4 else None
    files = [os.path.join(root, name) for root, _, names in os.walk(mail) for name in names]
    work = tempfile.mkdtemp(prefix=f"quzo-apply-vs-cp-{os.getpid()}-", dir=place)

    def apply(rules, threads):
        path = os.path.join(work, f"{len(os.listdir(work))}.toml")
        with open(path, "w") as file:
            file.write(rules)
        return lambda out: [[quzo, "apply", "-j", str(threads), "-p", path, "-o", out, mail]]

    cores = os.cpu_count()
    try:
        ways = {
            "cp -r": lambda out: [["cp", "-r", mail, out]],
            "cp -r, sync -f": lambda out: [["cp", "-r", mail, out], ["sync", "-f", out]],
            "quzo apply, passing, 1 thread": apply(PASS, 1),
            "quzo apply, tag and X-header, 1 thread": apply(MARK, 1),
            f"quzo apply, tag and X-header, {cores} threads": apply(MARK, cores),
        }
        out = os.path.join(work, "check")
        timed(ways["quzo apply, passing, 1 thread"](out))
        size = sum(os.path.getsize(path) for path in files) / 1e6
        print(f"{check(mail, out)} messages, {size:.1f} MB; medians of {turns} turns")
        for state in ("warm", "cold"):
            times = {way: [] for way in ways}
            for turn in range(turns):
                for number, (way, commands) in enumerate(ways.items()):
                    forget(files) if state == "cold" else os.sync()
                    times[way].append(timed(commands(os.path.join(work, f"{state}-{turn}-{number}"))))
            for way, taken in times.items():
                ratios = [statistics.median(b / a for a, b in zip(times[base], taken))
                          for base in ("cp -r", "cp -r, sync -f")]
                print(f"{state} {way:45} {statistics.median(taken) * 1000:7.0f} ms "
                      f"{ratios[0]:6.2f} x cp {ratios[1]:6.2f} x cp and sync")
    finally:
        shutil.rmtree(work)


main()
