#!/usr/bin/env python3
"""Two edits of one message, of two rules, are the two edits done one after the other.

usage: edit_pairs_test.py QUZO CORPUS EXAMPLES [-DSANITIZED]

For pairs of stamps, removal of attachments, tag and header field, over every message of CORPUS/mail (EXAMPLES/mail when
there is none): one run with both, and an archive in between, gives the same bytes as a run with the second over what a
run with the first left; what was archived is just that; and eight threads give what one gives. The names of new
boundaries are drawn for each run and count as the same. With -DSANITIZED, as under AddressSanitizer, fewer pairs are
tried. Exits 1 on any fault.
"""
import collections
import os
import re
import shutil
import subprocess
import sys
import tempfile

ACTIONS = {
    "before": '{ type = "stamp", object = "before" }',
    "after": '{ type = "stamp", object = "after" }',
    "strip": '{ type = "delete-attachment", all = true }',
    "tag": '{ type = "tag-subject", tag = "[geprüft] " }',
    "field": '{ type = "x-header", name = "X-Edited", value = "yes" }',
}
ARCHIVE = '{ type = "archive", object = "copies" }'
PAIRS = (("before", "after"), ("after", "before"), ("after", "strip"), ("strip", "before"), ("tag", "after"),
         ("strip", "tag"), ("after", "field"))
BOUNDARY = re.compile(rb"=_[0-9A-Za-z]{10,}")


def rules(names):
    return "".join(f'[[rule]]\nid = {n}\nname = "{n}"\nwhen = {{ always = true }}\nactions = [{one}]\n'
                   for n, one in enumerate(names, 1))


class Work:
    def __init__(self, quzo, folder):
        self.quzo = quzo
        self.folder = folder
        self.runs = 0
        self.ini = os.path.join(folder, "quzo.ini")
        with open(self.ini, "w", encoding="utf-8") as file:
            file.write(f"[platform]\nstore = sqlite3://{folder}/store.db\nspool = {folder}/spool\n")
        text = os.path.join(folder, "stamp.txt")
        with open(text, "w", encoding="utf-8") as file:
            file.write("Geprüft, 免責\n-- \nquzo\n")
        for position in ("before", "after"):
            self.add("stamp", position, "--text-file", text, "--position", position)
        self.add("archive", "copies")

    def add(self, *arguments):
        subprocess.run([self.quzo, "object", "add", *arguments, "-c", self.ini], check=True, capture_output=True)

    def apply(self, actions, mail, jobs):
        """Runs the actions, a rule each; the name of the folder with what came out."""
        self.runs += 1
        policy = os.path.join(self.folder, f"{self.runs}.toml")
        with open(policy, "w", encoding="utf-8") as file:
            file.write(rules(actions))
        out = os.path.join(self.folder, f"out-{self.runs}")
        done = subprocess.run([self.quzo, "apply", "-c", self.ini, "-p", policy, "-j", str(jobs), "-o", out, "--from",
                               "a@x.example", "--to", "b@y.example", mail], capture_output=True, text=True, check=False)
        if done.returncode != 0:
            raise RuntimeError(f"exit code {done.returncode}: {done.stderr[-300:]}")
        return out


def contents(folder, ending=""):
    found = {}
    for root, _, names in os.walk(folder):
        for name in names:
            if name.endswith(ending):
                with open(os.path.join(root, name), "rb") as file:
                    found[name] = BOUNDARY.sub(b"=_", file.read())
    return found


def faults_of_pair(work, mail, first, second):
    half = work.apply([ACTIONS[first]], mail, 2)
    wanted = contents(work.apply([ACTIONS[second]], half, 2))
    faults = []
    for jobs in (1, 8):
        spool = os.path.join(work.folder, "spool")
        shutil.rmtree(spool, ignore_errors=True)
        got = contents(work.apply([ACTIONS[first], ARCHIVE, ACTIONS[second]], mail, jobs))
        wrong = sorted(name for name in got.keys() | wanted.keys() if got.get(name) != wanted.get(name))
        if wrong:
            faults.append(f"{jobs} threads: {len(wrong)} messages are other ones, such as {wrong[:4]}")
        kept = collections.Counter(contents(spool, ".DF").values())
        if kept != collections.Counter(contents(half).values()):
            faults.append(f"{jobs} threads: what was archived is not what stood then")
    if contents(half) == wanted:
        faults.append("the second edit does nothing")
    return len(wanted), [f"{first}, {second}: {fault}" for fault in faults]


def main():
    quzo, corpus, examples = sys.argv[1:4]
    mail = os.path.join(corpus, "mail")
    if not os.path.isdir(mail) or not os.listdir(mail):
        mail = os.path.join(examples, "mail")
    faults = []
    with tempfile.TemporaryDirectory() as folder:
        work = Work(quzo, folder)
        for first, second in PAIRS[1:4] if "-DSANITIZED" in sys.argv else PAIRS:
            count, found = faults_of_pair(work, mail, first, second)
            print(f"{first}, {second}: {count} messages", flush=True)
            faults += found
    print("\n".join(faults + [f"{len(faults)} faults"]))
    sys.exit(1 if faults else 0)


main()
