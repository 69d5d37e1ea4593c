#!/usr/bin/env python3
"""Stamps and strips a folder of mail by quzo and by what an administrator would use instead, on a tmpfs.

usage: folders.py BUILD_FOLDER MAIL WORK_FOLDER [TURNS]

All work in turns. In front of each run of another program stands one of quzo, and the two give one ratio; the medians
of times and of ratios are printed, and of how many messages an independent reader finds the result right (judge.py).
The folder of mail is copied to WORK_FOLDER first, and all outputs lie there. Exits with 1 when a promised ratio is
missed.
"""
import os
import shutil
import statistics
import subprocess
import sys
import time

from judge import judge

HERE = os.path.dirname(os.path.abspath(__file__))
# Times as long as `quzo apply -j 1`.
PROMISED = {("stamp", "altermime"): 7, ("stamp", "mime_tools"): 14, ("stamp", "python_email"): 25,
            ("strip", "altermime"): 9}
NAMES = {"quzo": "`quzo apply -j 1`", "quzo2": "`quzo apply -j 2`", "altermime": "altermime, one call a message",
         "mime_tools": "Perl, MIME::Tools, one process", "mime_tools_core": "the same, bodies in memory",
         "python_email": "Python, email, one process", "gmime": "GMime, in memory (below)"}


def commands(build, mail, work, job):
    """Each without its last argument, the folder that it makes."""
    quzo = [os.path.join(build, "bin", "quzo"), "apply", "-c", os.path.join(work, "quzo.ini"),
            "-p", os.path.join(HERE, f"{job}.toml"), mail]
    return {"quzo": [*quzo, "-j", "1", "-o"], "quzo2": [*quzo, "-j", "2", "-o"],
            "altermime": ["sh", os.path.join(HERE, "altermime_loop.sh"), job, mail],
            "mime_tools": ["perl", os.path.join(HERE, "mime_tools_loop.pl"), job, "files", mail],
            "mime_tools_core": ["perl", os.path.join(HERE, "mime_tools_loop.pl"), job, "core", mail],
            "python_email": ["python3", os.path.join(HERE, "python_email_loop.py"), job, mail]}


def seconds(command, out, scratch):
    shutil.rmtree(out, ignore_errors=True)
    begin = time.monotonic()
    subprocess.run([*command, out], check=True, cwd=scratch, stderr=subprocess.DEVNULL)
    took = time.monotonic() - begin
    for left in os.listdir(scratch):
        os.remove(os.path.join(scratch, left))
    return took


def measure(ways, work, job, turns):
    """Times of each way, and the ratios of others to quzo."""
    scratch = os.path.join(work, "scratch")
    os.makedirs(scratch, exist_ok=True)
    times, ratios = {way: [] for way in ways}, {way: [] for way in ways}
    for _ in range(turns):
        for way in list(ways)[1:]:
            for one in ("quzo", way):
                times[one].append(seconds(ways[one], os.path.join(work, f"{one}-{job}"), scratch))
            ratios[way].append(times[way][-1] / times["quzo"][-1])
    return times, ratios


def report(mail, work, job, times, ratios):
    """Whether all that is promised was reached."""
    reached, count, wrong = True, len(os.listdir(mail)), []
    print(f"| {job} | ms a message | times quzo | promised | right |\n|---|---:|---:|---:|---:|")
    for way in [*times, "gmime"]:
        right, judged, faults = judge(job, mail, os.path.join(work, f"{way}-{job}"))
        wrong.append(f"{way}: " + (", ".join(f"{n} x {what}" for what, n in faults.most_common(4)) or "none"))
        median = f"{statistics.median(times[way]) * 1000 / count:.3f}" if way in times else ""
        ratio = statistics.median(ratios[way]) if ratios.get(way) else None
        promised = PROMISED.get((job, way))
        missed = promised is not None and ratio < promised
        reached = reached and not missed
        print(f"| {NAMES[way]} | {median} | {f'{ratio:.1f}' if ratio else ''} | {promised or ''} | "
              f"{100 * right / judged:.1f} % |{' MISSED' if missed else ''}")
    print(f"\n{judged} of {count} messages are judged. What is wrong with the others:\n" + "\n".join(wrong) + "\n")
    return reached


def main():
    if len(sys.argv) not in (4, 5):
        sys.exit(__doc__)
    build, source, work = map(os.path.abspath, sys.argv[1:4])
    turns = int(sys.argv[4]) if len(sys.argv) > 4 else 3
    mail, reached = os.path.join(work, "mail"), True
    os.mkdir(mail)
    for name in os.listdir(source):
        if os.path.isfile(os.path.join(source, name)):
            shutil.copy(os.path.join(source, name), mail)
    subprocess.run([os.path.join(build, "bin", "edit_speed"), "--write", mail, os.path.join(work, "store.db"), work],
                   check=True, cwd=os.path.join(HERE, "..", ".."))
    for job in ("stamp", "strip"):
        ways = commands(build, mail, work, job)
        reached = report(mail, work, job, *measure(ways, work, job, turns)) and reached
    sys.exit(0 if reached else 1)


main()
