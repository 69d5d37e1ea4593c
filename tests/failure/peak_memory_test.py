#!/usr/bin/env python3
"""Holds `quzo apply` to its memory: a large message costs at most one and a half times its size and 32 MiB.

usage: peak_memory_test.py QUZO

Makes messages of 20 MB, lets a policy look at their bodies and attachments, tag the subject and add a field,
and reads the largest resident size that the kernel saw. Exits 1 on any fault.
"""
import os
import resource
import shutil
import sys
import tempfile

SIZE = 20_000_000
ROOM = 32 << 20
POLICY = r"""
[[rule]]
id = 1
name = "Look"
when = { any = [{ attachment = "*.nothing-has-this" }, { body = 'no\Bbody \z.' }] }
actions = [{ type = "delete" }]
[[rule]]
id = 2
name = "Mark"
when = { always = true }
actions = [
  { type = "tag-subject", tag = "[checked] ", signed = false },
  { type = "x-header", name = "X-Scanned", value = "yes" },
]
"""
HEADER = "From: from@example.com\r\nTo: to@example.com\r\nSubject: large\r\nMIME-Version: 1.0\r\n"
FILE = ('--b\r\nContent-Type: application/octet-stream\r\nContent-Transfer-Encoding: base64\r\n'
        'Content-Disposition: attachment; filename="large.bin"\r\n\r\n')
# name: (everything before the long part, its line, everything behind it)
MESSAGES = {
    "attachment": (HEADER + 'Content-Type: multipart/mixed; boundary="b"\r\n\r\n--b\r\n\r\ntext\r\n' + FILE,
                   "QUJD" * 19 + "\r\n", "--b--\r\n"),
    "text": (HEADER + "Content-Type: text/plain; charset=utf-8\r\n\r\n", "words " * 12 + "\r\n", ""),
    "encoded text": (HEADER + "Content-Type: text/html\r\nContent-Transfer-Encoding: base64\r\n\r\n",
                     "QUJD" * 19 + "\r\n", ""),
    "one line": (HEADER + "\r\n", "x" * 1000, "\r\n"),
}


def write(path, begin, line, end, size=SIZE):
    """In pieces: what this process holds counts for its children until they run their own program."""
    block = line * (100_000 // len(line))
    with open(path, "w", newline="") as file:
        file.write(begin)
        for _ in range(size // len(block)):
            file.write(block)
        file.write(end)


def peak(command, out):
    """Exit code and the largest resident size in bytes."""
    pid = os.fork()
    if pid == 0:
        os.dup2(os.open(out, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o600), 1)
        os.execv(command[0], command)
    _, status, usage = os.wait4(pid, 0)
    return os.waitstatus_to_exitcode(status), usage.ru_maxrss * 1024


def main():
    quzo = sys.argv[1]
    faults = 0
    folder = tempfile.mkdtemp(prefix=f"quzo-peak-memory-{os.getpid()}-")
    try:
        policy = os.path.join(folder, "policy.toml")
        with open(policy, "w") as file:
            file.write(POLICY)
        for name, parts in MESSAGES.items():
            message = os.path.join(folder, "large.eml")
            write(message, *parts)
            size = os.path.getsize(message)
            for how, options in {"filter": [], "folder": ["-o", os.path.join(folder, "out")]}.items():
                out = os.path.join(folder, "stdout")
                code, used = peak([quzo, "apply", "-p", policy, *options, message], out)
                written = out if how == "filter" else os.path.join(folder, "out", "large.eml")
                allowed = size * 3 // 2 + ROOM
                good = code == 0 and used <= allowed and os.path.getsize(written) > size
                faults += 0 if good else 1
                print(f"{'ok   ' if good else 'FAULT'} {name}, {how}: exit code {code}, {used / 1e6:.1f} MB "
                      f"resident of {allowed / 1e6:.1f} MB allowed for {size / 1e6:.1f} MB")
    finally:
        shutil.rmtree(folder)
    own = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024
    print(f"(this script itself: {own / 1e6:.1f} MB)")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
