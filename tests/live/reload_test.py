#!/usr/bin/env python3
"""What a milter that runs is told from outside: new policies, by `quzo milter reload` and by SIGUSR1; and what it tells
the manager of services.

    reload_test.py PROGRAM
"""
import os
import signal
import socket
import stat
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "flow"))
from installation import FAULTS, check  # noqa: E402

POLICY = '[[rule]]\nid = 1\nname = "n"\nwhen = { always = true }\nactions = [ { type = "delete" } ]\n'
SETTINGS = "[platform]\nspool = {0}/spool\n[milter]\nsocket = unix:{0}/milter.sock\n"


def write(path, text):
    with open(path, "w", encoding="ascii") as file:
        file.write(text)


class Milter:
    """quzo milter with the settings of the folder, inside its block; `ready` is what it told the manager of services."""

    def __init__(self, program, folder):
        self._words, self.errors = [program, "milter", "-c", f"{folder}/quzo.ini", "-p", f"{folder}/policy.toml"], ""
        self.notices = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.notices.settimeout(60)
        self.notices.bind(f"\0quzo-test-{os.getpid()}")

    def __enter__(self):
        self.process = subprocess.Popen(self._words, stderr=subprocess.PIPE, text=True,
                                        env={**os.environ, "NOTIFY_SOCKET": f"@quzo-test-{os.getpid()}"})
        self.ready = self.notices.recv(100)
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.errors = self.process.communicate(timeout=60)[1]
        self.notices.close()


def reload(program, folder, code, text, what):
    run = subprocess.run([program, "milter", "reload", "-c", f"{folder}/quzo.ini"], capture_output=True, text=True,
                         timeout=60, check=False)
    check(run.returncode == code and text in run.stderr, f"{what}: {run.returncode} and {run.stderr!r}")


def main():
    program = os.path.abspath(sys.argv[1])
    with tempfile.TemporaryDirectory(prefix="quzo-reload-") as folder:
        os.mkdir(f"{folder}/spool")
        control = f"{folder}/spool/milter.control"
        write(f"{folder}/quzo.ini", SETTINGS.format(folder))
        write(f"{folder}/policy.toml", POLICY)
        reload(program, folder, 75, "no milter listens there", "without a milter")
        with Milter(program, folder) as killed:
            check(killed.ready == b"READY=1", f"ready: {killed.ready}")
            check(stat.S_IMODE(os.stat(control).st_mode) == 0o600, "others may use the socket for commands")
            killed.process.send_signal(signal.SIGKILL)
            killed.process.wait(60)
        reload(program, folder, 75, "no milter listens there", "after a kill")
        with Milter(program, folder) as milter:
            reload(program, folder, 0, "quzo: milter: loaded anew", "as it was")
            write(f"{folder}/policy.toml", POLICY + POLICY)
            reload(program, folder, 78, f"{folder}/policy.toml:7: ", "a bad policy")
            reload(program, folder, 78, "the former policy stays in force", "a bad policy")
            write(f"{folder}/policy.toml", POLICY)
            for request in (b"", b"reload", b"reboot\n", b"\xff" * 5000):  # no such callers hold up the next one
                with socket.socket(socket.AF_UNIX) as caller:
                    caller.settimeout(60)
                    caller.connect(control)
                    caller.sendall(request)
                    if request == b"reboot\n":
                        check(caller.makefile("rb").read().endswith(b"exit=64\n"), "reboot is no request")
            write(f"{folder}/quzo.ini", SETTINGS.format(folder).replace("[milter]", "timeout = 7\n[milter]"))
            reload(program, folder, 0, "[platform] timeout has changed and is read at the start only", "settings")
            milter.process.send_signal(signal.SIGUSR1)
            milter.notices.settimeout(1)
        check(milter.errors.count("quzo: milter: loaded anew") >= 2, f"it says: {milter.errors!r}")
        check(milter.process.returncode == 0, f"it ended with {milter.process.returncode}")
        check(not os.path.exists(control), "the socket for commands is left behind")
    print(f"{len(FAULTS)} faults")
    return 1 if FAULTS else 0


if __name__ == "__main__":
    sys.exit(main())
