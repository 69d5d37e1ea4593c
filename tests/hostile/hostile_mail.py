#!/usr/bin/env python3
"""Hostile mail through the built program: handled or refused, in bounded memory, with work in proportion.

usage: hostile_mail.py QUZO [-DSANITIZED]

Each case is a message that grows with a number. The program runs over it with a policy that looks at everything
(header, structure, bodies, attachment names) and changes the subject and the header. Checked for each case, with the
largest message:

  - the exit code is that of a handled message (0) or of a refused one (65), never a crash;
  - a handled message differs from the one received in the edited fields only;
  - the peak of memory is at most twice the message plus 22 MiB, beyond what the program takes for an empty message;

and with smaller ones, where there is valgrind:

  - twice the message takes at most 2.2 times the instructions, those of an empty message not counted. Counted
    instructions are the same on every machine, however busy.

With -DSANITIZED, as under AddressSanitizer, memory and work are those of the sanitizer and are not looked at, and
the messages stay smaller.

The last line counts the cases; the exit code is 1 when one failed.
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

POLICY = """
[[rule]]
id = 1
name = "all"
when = { any = [
  { subject = "no such subject", body = "no such text" },
  { header = { X-None = "x" } }, { body = "certainly not in there" },
  { attachment = ["*.never"] }, { content_type = "never/never" }, { signed = true }, { encrypted = true },
  { recipient = "*@*" }, { always = true } ] }
actions = [
  { type = "tag-subject", tag = "[t] ", signed = true },
  { type = "x-header", name = "X-Hostile", value = "yes" },
]
"""
RAISED = ("[platform]\nlimit_recipients = 0\nlimit_nesting = 20000\nlimit_parts = 300000\nlimit_header = 200M\n"
          "limit_fields = 0\n")
HEAD = b"From: a@example.com\nTo: b@example.com\nSubject: s\n"
GROWTH = 2.2
MEMORY = 22 << 20
ENOUGH = 2_000_000  # instructions that tell something
SANITIZED = "-DSANITIZED" in sys.argv


def of(before, piece, behind=b"\nbody\n"):
    """Messages of a piece that comes again and again; a function numbers its pieces."""
    def generate(n):
        yield before
        for i in range(n):
            yield piece(i) if callable(piece) else piece
        yield behind
    return generate


def nesting(n):
    yield HEAD + b'Content-Type: multipart/mixed; boundary="b0"\n\n'
    for i in range(1, n):
        yield b'--b%d\nContent-Type: multipart/mixed; boundary="b%d"\n\n' % (i - 1, i)
    yield b"--b%d\n\nleaf\n" % (n - 1)


def boundaries_in_each_other(n):
    yield HEAD + b'Content-Type: multipart/mixed; boundary="a"\n\n'
    for i in range(1, 40):
        yield b"--" + b"a" * i + b'\nContent-Type: multipart/mixed; boundary="' + b"a" * (i + 1) + b'"\n\n'
    for i in range(n):
        yield b"--" + b"a" * (i % 45 + 1) + b"\n\nx\n"


def colons(n):
    yield b"From: " + b"a:" * n + b"\nReply-To: " + b"a ," * n + b"\nTo: " + b"a:" * n + b"b@example.com\n"
    yield b"Subject: s\n\nbody\n"


def comments(n):
    yield HEAD + b"Content-Type: " + b"(" * n + b"text/plain" + b")" * n + b"\n\nbody\n"


def lone_breaks(n):
    yield from of(HEAD, b"A: \r\r x\rB: y\r\n \r\n", b"\r\n")(n)
    yield from of(b"", b"\r\r\n\n\r\n--\r--\n", b"")(n)


MULTIPART = HEAD + b'Content-Type: multipart/mixed; boundary="b"\n\n'
SUBJECT = b"From: a@example.com\nSubject:"
WORDS = b" =?utf-8?B?44GC44GE?=\n =?iso-2022-jp?B?GyRCJCIbKEI=?= =?x?q?_?="
BASE64 = b"Content-Type: text/plain; charset=iso-2022-jp\nContent-Transfer-Encoding: base64\n\n"
RECIPIENTS = of(b"From: a@example.com\nSubject: s\nTo: ", lambda i: b"user%d@example.com,\n " % i,
                b"z@example.com\n\nbody\n")

# name, generator, the number whose half and quarter show the growth, the largest, needs raised limits
CASES = [
    ("100,000 parts", of(MULTIPART, b"--b\nContent-Type: text/plain\n\nx\n", b"--b--\n"), 25000, 100000, True),
    ("nesting of 10,000", nesting, 2500, 10000, True),
    ("10,000 embedded messages", of(HEAD, b"Content-Type: message/rfc822\n\nSubject: inner\n", b"\nleaf\n"),
     2500, 10000, True),
    ("a line of 50 MB", of(HEAD + b"\n", b"x" * 1000000, b""), 12, 50, False),
    ("lines of dashes",
     of(HEAD + b'Content-Type: multipart/mixed; boundary="' + b"-" * 60 + b'"\n\n', b"-" * 61 + b"\n", b""),
     50000, 400000, False),
    ("a header block of 20 MB", of(HEAD, lambda i: b"X-F%d: " % i + b"v" * 990 + b"\n"), 5000, 20000, False),
    ("200,000 header fields", of(HEAD, b"X: y\n"), 50000, 200000, True),
    ("folds without end", of(HEAD + b"X: y\n", b" \n z\n"), 100000, 800000, False),
    ("encoded words without end", of(SUBJECT, WORDS, b"\n\nbody\n"), 10000, 40000, False),
    ("encoded words never closed", of(SUBJECT + b" ", b"=?=?a?b?=??q?", b"\n\nbody\n"), 50000, 400000, False),
    ("boundaries that contain each other", boundaries_in_each_other, 50000, 200000, True),
    ("a million recipients", RECIPIENTS, 40000, 1000000, True),
    ("as many recipients as allowed", RECIPIENTS, 12000, 48000, False),
    ("parameters without end",
     of(HEAD + b"Content-Type: multipart/mixed", lambda i: b";\n name*%d*=%%41" % i, b"\n\nbody\n"),
     20000, 160000, False),
    ("file names without end",
     of(HEAD + b"Content-Type: application/octet-stream", lambda i: b";\n name=%d" % i, b"\n\nbody\n"),
     20000, 160000, False),
    ("unknown charsets", of(SUBJECT, lambda i: b" =?x-%d?q?a?= =?utf-8?q?b?=\n" % (i % 1000)), 10000, 40000, False),
    ("colons in addresses", colons, 100000, 800000, False),
    ("comments in each other", comments, 500000, 4000000, False),
    ("NULs everywhere", of(HEAD, b"X\0\0: \0\0\0\n\0\0" + b"\0" * 1000 + b"\n", b"\n" + b"\0" * 100),
     5000, 20000, False),
    ("lone CR and LF", lone_breaks, 100000, 400000, True),
    ("a body in base64", of(HEAD + BASE64, b"GyRCJCIbKEIbJEIkIhsoQhskQiQiGyhC\n" * 100, b""), 2000, 8000, False),
]


class Runner:
    def __init__(self, program, folder):
        self.program = program
        self.folder = folder
        self.message = os.path.join(folder, "m.eml")
        self.output = os.path.join(folder, "out.eml")
        for name, text in (("policy.toml", POLICY), ("raised.ini", RAISED), ("plain.ini", "")):
            with open(os.path.join(folder, name), "w", encoding="ascii") as file:
                file.write(text)
        self.launcher = subprocess.Popen([sys.executable, __file__, "--launch"], stdin=subprocess.PIPE,
                                         stdout=subprocess.PIPE, text=True)
        write(self.message, [HEAD, b"\n"])
        code, self.own_memory = self.run("plain.ini")  # the program and its libraries
        if code != 0:
            raise RuntimeError(f"an empty message: exit code {code}")

    def command(self, ini, message):
        return [self.program, "apply", "-c", os.path.join(self.folder, ini), "-p",
                os.path.join(self.folder, "policy.toml"), message]

    def run(self, ini):
        """One run: exit code, peak of memory in bytes."""
        self.launcher.stdin.write("\t".join([self.output] + self.command(ini, self.message)) + "\n")
        self.launcher.stdin.flush()
        code, memory = self.launcher.stdout.readline().split()
        return int(code), int(memory)

    def instructions(self, name, ini, pieces):
        """How many the program takes for a message."""
        message = os.path.join(self.folder, name)
        write(message, pieces)
        counter = ["valgrind", "--tool=cachegrind", "--cache-sim=no", "--cachegrind-out-file=/dev/null"]
        said = subprocess.run(counter + self.command(ini, message), stdout=subprocess.DEVNULL,
                              stderr=subprocess.PIPE, check=False).stderr.decode(errors="replace")
        os.unlink(message)
        found = re.search(r"I +refs: +([\d,]+)", said)
        if not found:
            raise RuntimeError(f"valgrind counts nothing: {said}")
        return int(found[1].replace(",", ""))

    def close(self):
        self.launcher.stdin.close()
        self.launcher.wait(timeout=60)


def write(path, pieces):
    with open(path, "wb", buffering=1 << 20) as file:
        for piece in pieces:
            file.write(piece)
    return os.path.getsize(path)


EDITED = re.compile(rb"(?im)^(subject|x-hostile)[ \t]*:.*\n([ \t].*\n)*")


def fault_of_edited_fields(runner, _):
    with open(runner.message, "rb") as file:
        before = file.read()
    with open(runner.output, "rb") as file:
        after = file.read()
    same = EDITED.sub(b"", after) == EDITED.sub(b"", before)
    return None if same else "bytes outside the edited fields differ"


def ini_of(raised):
    return "raised.ini" if raised else "plain.ini"


def check(runner, case, fault_of_output, label=""):
    """One case. `fault_of_output` gets the runner and the size of a message that was handled; None, or what is wrong."""
    name, generate, first, largest, raised = case
    size = write(runner.message, generate(first if SANITIZED else largest))
    code, memory = runner.run(ini_of(raised))
    faults = []
    if code not in (0, 65):
        faults.append(f"exit code {code}")
    if code == 0:
        faults += filter(None, [fault_of_output(runner, size)])
    if raised:
        # The usual limits refuse most of these. They bound the memory that the parts of a message take.
        refused, memory = runner.run("plain.ini")
        if refused not in (0, 65):
            faults.append(f"exit code {refused} with the usual limits")
    memory -= runner.own_memory
    if not SANITIZED and memory > 2 * size + MEMORY:
        faults.append(f"{memory / 1e6:.0f} MB of memory for {size / 1e6:.0f} MB")
    state = "FAILED: " + ", ".join(faults) if faults else "ok"
    print(f"{label}{name:36} {size / 1e6:7.1f} MB  {memory / 1e6:6.0f} MB of memory  {state}", flush=True)
    return not faults


def check_growth(runner, cases):
    """Whether the work on each case grows with its size; one result a case."""
    def count(job):
        name, generate, n, raised = job
        return runner.instructions(name, ini_of(raised), generate(n))

    jobs = [("empty.eml", lambda _: [HEAD, b"\n"], 0, False)]
    for i, (_, generate, first, _, raised) in enumerate(cases):
        jobs += [(f"{i}-{n}.eml", generate, n, raised) for n in (first // 4, first // 2)]
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        empty, *counts = pool.map(count, jobs)
    results = []
    for i, case in enumerate(cases):
        small, large = counts[2 * i] - empty, counts[2 * i + 1] - empty
        growth = large / max(small, 1)
        state = "ok"
        if growth > GROWTH:
            state = f"FAILED: grows {growth:.2f}-fold when the message doubles"
        elif large < ENOUGH:
            state = "FAILED: too little work to tell"
        print(f"{case[0]:36} {small / 1e6:7.1f} -> {large / 1e6:7.1f} million instructions  x{growth:4.2f}  {state}")
        results.append(state == "ok")
    return results


def launch():
    """Runs the commands that come in. A small process of its own, because the peak of memory that the system tells of
    a child includes that of the process that started it."""
    for line in sys.stdin:
        output, *command = line.rstrip("\n").split("\t")
        with open(output, "wb") as out:
            child = subprocess.Popen(command, stdout=out, stderr=subprocess.DEVNULL)
            _, status, usage = os.wait4(child.pid, 0)
        child.returncode = os.waitstatus_to_exitcode(status)
        print(child.returncode, usage.ru_maxrss << 10, flush=True)
    return 0


def main():
    if sys.argv[1] == "--launch":
        return launch()
    with tempfile.TemporaryDirectory() as folder:
        runner = Runner(sys.argv[1], folder)
        results = [check(runner, case, fault_of_edited_fields) for case in CASES]
        runner.close()
        if not SANITIZED and shutil.which("valgrind"):
            results += check_growth(runner, CASES)
        elif not SANITIZED:
            print("growth is not looked at: valgrind is not installed")
    print(f"{sum(results)} passed, {len(results) - sum(results)} failed")
    return 0 if all(results) else 1


if __name__ == "__main__":
    sys.exit(main())
