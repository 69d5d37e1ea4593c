#!/usr/bin/env python3
"""Holds `quzo apply -j 8` to `-j 1`: the same files, byte for byte, and the same JSON.

usage: threads_test.py QUZO CORPUS EXAMPLES

Applies a policy that looks at everything, tags, adds fields, sets marks and deletes to every message of
CORPUS/mail (EXAMPLES/mail when there is none), once with one thread and ROUNDS times with eight. Built with
ThreadSanitizer, the program itself fails when two threads get into each other's way; so that this is seen, any
exit code other than that of one thread, and any word of the sanitizer's, is a fault. Identifiers are drawn for
each run and are left out of the comparison. Exits 1 on any fault.
"""
import json
import os
import subprocess
import sys
import tempfile

ROUNDS = 2
FEW = 20  # messages; fewer are given several times under other names, so that all threads have work
POLICY = r"""
[defaults]
mark_header = "X-Marks"

[[rule]]
id = 1
name = "Look at everything"
when = { any = [
  { sender = "nobody@nowhere.example" }, { header = { X-Nowhere = "." } }, { body = 'no\Bbody \z.' },
  { attachment = "*.nothing-has-this" }, { content_type = "no/type" }, { token = { SUBJECT = 'a\bb' } } ] }
actions = [{ type = "delete" }]

[[rule]]
id = 2
name = "Delete"
when = { any = [{ body = '(?i)viagra|lottery|unsubscribe' }, { attachment = ["*.exe", "*.zip"] }] }
actions = [{ type = "x-header", name = "X-Deleted", value = "yes" }, { type = "delete" }]
stop = true

[[rule]]
id = 3
name = "Attachments"
when = { attachment = "*.*" }
actions = [
  { type = "tag-subject", tag = "[%FILENAME%: %FILETYPE%] ", signed = false },
  { type = "x-header", name = "X-Attachment", value = "yes" },
  { type = "encrypt" },
]

[[rule]]
id = 4
name = "Words"
when = { any = [{ subject = '(?i)re:|test|fwd' }, { body = '(?i)the|und' }, { size_over = "10K" }] }
actions = [
  { type = "tag-subject", tag = "[%RULENAME% %SENDER% gr\u00fc\u00df] ", signed = true },
  { type = "x-header", name = "X-Words", value = "yes" },
  { type = "virus-clean" },
]

[[rule]]
id = 5
name = "All"
when = { always = true }
actions = [{ type = "x-header", name = "X-Scanned", value = "yes" }]
"""


def mail_of(corpus, examples, folder):
    """The folder of mail to work on: the corpus, or as many copies of the examples as make a crowd."""
    corpus_mail = os.path.join(corpus, "mail")
    if os.path.isdir(corpus_mail) and len(os.listdir(corpus_mail)) >= FEW:
        return corpus_mail
    mail = os.path.join(folder, "mail")
    os.mkdir(mail)
    source = os.path.join(examples, "mail")
    for copy in range(FEW):
        for name in sorted(os.listdir(source)):
            with open(os.path.join(source, name), "rb") as one, open(os.path.join(mail, f"{copy:02}-{name}"), "wb") as two:
                two.write(one.read())
    return mail


def apply(quzo, policy, mail, out, jobs):
    """Exit code, the JSON objects without what differs between any two runs, and what was said of faults."""
    done = subprocess.run([quzo, "apply", "-p", policy, "-j", str(jobs), "--json", "-o", out, mail],
                          stdin=subprocess.DEVNULL, capture_output=True)
    objects = []
    for line in done.stdout.decode("utf-8", "replace").splitlines():
        one = json.loads(line)
        one.pop("id")
        if one["output"]:
            one["output"] = os.path.relpath(one["output"], out)
        objects.append(one)
    return done.returncode, objects, done.stderr.decode("utf-8", "replace").replace(out, "OUT")


def contents(out):
    found = {}
    for root, _, names in os.walk(out):
        for name in names:
            path = os.path.join(root, name)
            with open(path, "rb") as file:
                found[os.path.relpath(path, out)] = file.read()
    return found


def differing(one, other):
    return sorted(key for key in one.keys() | other.keys() if one.get(key) != other.get(key))


def main():
    quzo, corpus, examples = sys.argv[1:4]
    faults = []
    with tempfile.TemporaryDirectory(prefix=f"quzo-threads-{os.getpid()}-") as folder:
        policy = os.path.join(folder, "policy.toml")
        with open(policy, "w", encoding="utf-8") as file:
            file.write(POLICY)
        mail = mail_of(corpus, examples, folder)
        out = os.path.join(folder, "one")
        code, objects, said = apply(quzo, policy, mail, out, 1)
        files = contents(out)
        outcomes = {}
        for one in objects:
            outcomes[one["outcome"]] = outcomes.get(one["outcome"], 0) + 1
        print(f"{len(objects)} messages, {len(files)} files: {outcomes}")
        if "Sanitizer" in said:
            faults.append("with one thread:\n" + said[:20000])
        if outcomes.get("modified", 0) < FEW or outcomes.get("consumed", 0) < 5:
            faults.append("the policy does too little for this to be a test")
        for round_ in range(ROUNDS):
            out = os.path.join(folder, f"eight-{round_}")
            its_code, its_objects, its_said = apply(quzo, policy, mail, out, 8)
            if its_code != code:
                faults.append(f"exit code {its_code}, with one thread {code}")
            if its_said != said or "Sanitizer" in its_said:
                faults.append("says something else than with one thread:\n" + its_said[:20000])
            if its_objects != objects:
                wrong = [a["file"] for a, b in zip(objects, its_objects) if a != b]
                faults.append(f"{len(its_objects)} JSON objects, other ones for {wrong[:10]}")
            if wrong := differing(files, contents(out)):
                faults.append(f"{len(wrong)} files differ, such as {wrong[:10]}")
    for fault in faults:
        print("FAULT", fault)
    return 1 if faults else 0


sys.exit(main())
