#!/usr/bin/env python3
"""Draining an outgoing queue beside sending the same without one.

    bench/drain_queue.py [PROGRAM [MESSAGES [BYTES [TURNS [FOLDER]]]]]

PROGRAM is build/release/bin/quzo. In turns, `quzo queue run` delivers a queue of 5,000 messages of 4,096 bytes, each for
one recipient, to Postfix's smtp-sink, and Postfix's smtp-source sends as many of the same size to it, both over one
connection. The queue lies in memory (/dev/shm) where that is possible: a disk decides by its syncs, one for each message;
FOLDER is one on a disk, to see how much. Prints the medians of messages a second and that of the turns' ratios; exits
with 1 when the ratio is below 0.8, which is promised but for a FOLDER, or when a message is still in the queue.
"""

import json
import operator
import os
import random
import shutil
import socket
import statistics
import subprocess
import sys
import tempfile
import time

DIGITS = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"


def fill(spool, messages, size):
    text = "From: a@a.example\r\nTo: b@b.example\r\nSubject: x\r\n\r\n"
    text += ("x" * 70 + "\r\n") * (size // 72 + 1)
    text = text[: size - 2] + "\r\n"
    for _ in range(messages):
        name = "".join(random.choice(DIGITS) for _ in range(24))
        folder = os.path.join(spool, "outgoing", name[0], name[1])
        os.makedirs(folder, exist_ok=True)
        with open(os.path.join(folder, name + ".DF"), "w", newline="", encoding="ascii") as file:
            file.write(text)
        entry = {"format": 1, "id": name, "sender": "a@a.example", "recipients": ["b@b.example"],
                 "stored": int(time.time()), "size": len(text)}
        with open(os.path.join(folder, name + ".json"), "w", encoding="ascii") as file:
            json.dump(entry, file)


def free_port():
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


def wait_for(port):
    for _ in range(200):
        try:
            socket.create_connection(("127.0.0.1", port)).close()
            return
        except OSError:
            time.sleep(0.05)
    sys.exit("smtp-sink does not come up")


def seconds(command, folder):
    start = time.monotonic()
    subprocess.run(command, check=True, cwd=folder, stdout=subprocess.DEVNULL)
    return time.monotonic() - start


def measure(program, messages, size, turns, folder):
    port = free_port()
    user = ["-u", "postfix"] if os.geteuid() == 0 else []
    with open(os.path.join(folder, "quzo.ini"), "w", encoding="ascii") as file:
        file.write(f"[platform]\nspool = spool\nnext_hop = smtp://127.0.0.1:{port}\ntls = off\nlog = log\n")
    sink = subprocess.Popen(["smtp-sink", *user, f"127.0.0.1:{port}", "100"])
    try:
        wait_for(port)
        rates = {"quzo queue run": [], "smtp-source": []}
        for _ in range(turns):
            fill(os.path.join(folder, "spool"), messages, size)
            rates["quzo queue run"].append(
                messages / seconds([program, "queue", "run", "-c", "quzo.ini", "outgoing"], folder))
            rates["smtp-source"].append(messages / seconds(
                ["smtp-source", "-d", "-s", "1", "-m", str(messages), "-l", str(size), f"127.0.0.1:{port}"], folder))
    finally:
        sink.terminate()
        sink.wait()
    left = sum(len(files) for _, _, files in os.walk(os.path.join(folder, "spool", "outgoing")))
    ratio = statistics.median(map(operator.truediv, *rates.values()))
    return {name: statistics.median(values) for name, values in rates.items()}, ratio, left


def main():
    program = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else "build/release/bin/quzo")
    messages, size, turns = (int(sys.argv[i]) if len(sys.argv) > i else standard
                             for i, standard in ((2, 5000), (3, 4096), (4, 5)))
    os.environ["PATH"] += ":/usr/sbin"
    if shutil.which("smtp-sink") is None:
        sys.exit("smtp-sink is missing: scripts/install_packages --with-bench")
    place = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    place = sys.argv[5] if len(sys.argv) > 5 else place
    with tempfile.TemporaryDirectory(prefix="quzo-drain-", dir=place) as folder:
        rates, ratio, left = measure(program, messages, size, turns, folder)
    for name, rate in rates.items():
        print(f"{name:16} {rate:8.0f} messages a second")
    print(f"{'ratio':16} {ratio:8.2f}")
    if left:
        print(f"{left} files are left in the queue")
    return 1 if left or (ratio < 0.8 and len(sys.argv) <= 5) else 0


if __name__ == "__main__":
    sys.exit(main())
