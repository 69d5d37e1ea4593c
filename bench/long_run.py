#!/usr/bin/env python3
"""Very many messages through quzo milter while policies are loaded anew all the time.

    bench/long_run.py [BUILD_FOLDER [MESSAGES [EVERY]]]

BUILD_FOLDER is build/release, configured with -DQUZO_BUILD_BENCH=ON. 200,000 messages of 23 KB go over the milter's
socket from 10 sessions (bench/milter_client.cpp), which break off in the middle of a message and connect anew each 97
messages, and every 2 seconds the milter gets the other one of two policies. Prints a line each 20,000 messages (EVERY),
and exits with 1 when a message is not stamped by one of the two, when after the first line resident memory grows by 5 %
or more, or when descriptors or threads are left at the end.
"""
import os
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [HERE, os.path.join(HERE, "..", "tests", "live")]
from live_load import letter  # noqa: E402
from long_run_test import FAULTS, SIGNS, LongRun, check  # noqa: E402

SESSIONS, RENEW, PAUSE, MOST_GROWTH = "10", "97", 2.0, 0.05


def main():
    build = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else "build/release")
    messages, every = (int(sys.argv[i]) if len(sys.argv) > i else standard for i, standard in ((2, 200000), (3, 20000)))
    place = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    with tempfile.TemporaryDirectory(prefix="quzo-long-", dir=place) as folder:
        mail = os.path.join(folder, "letter")
        with open(mail, "wb") as file:
            file.write(letter(8000))
        with LongRun(os.path.join(build, "bin", "quzo"), os.path.join(folder, "quzo"), PAUSE) as run:
            before = run.settled()
            resident = []
            print(" messages  resident, MB  descriptors  threads  reloads  messages/s", flush=True)
            for done in range(every, messages + 1, every):
                start = time.monotonic()
                client = subprocess.run(
                    [os.path.join(build, "bin", "milter_client"), run.milter.socket, mail, str(every), SESSIONS, RENEW,
                     *SIGNS], capture_output=True, text=True, timeout=3600, check=False)
                rate = every / (time.monotonic() - start)
                signed = sum(map(int, client.stdout.split()))
                if not check(client.returncode == 0 and signed == every, f"{client.stderr} {signed} are stamped"):
                    break
                resident.append(run.milter.figure("VmRSS") * 1024)
                print(f"{done:9} {resident[-1] / 1e6:13.2f} {run.descriptors():12} {run.milter.figure('Threads'):8} "
                      f"{run.reloads:8} {rate:11.0f}", flush=True)
            growth = max(resident[1:] or resident[:1] or [0]) / (resident or [1])[0] - 1
            check(growth < MOST_GROWTH, f"memory has grown by {growth:.1%}")
            run.check_left(*before)
    print(f"resident memory after the first {every}: {growth:+.1%}; {'FAULTS' if FAULTS else 'nothing is left open'}")
    return 1 if FAULTS else 0


if __name__ == "__main__":
    sys.exit(main())
