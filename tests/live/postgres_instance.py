"""A PostgreSQL of our own in a folder, on a port of 127.0.0.1, that can be stopped and started again.

It ends with its block, and by itself after a while in any case. The user postgres owns it: root must not."""
import glob
import os
import pwd
import shutil
import signal
import subprocess

from postfix_instance import free_port, listens, wait_until

PROGRAMS = sorted(glob.glob("/usr/lib/postgresql/*/bin"))


def missing():
    """Why there can be none here; None when there can."""
    return None if PROGRAMS else "there is no PostgreSQL"


class Postgres:
    """`store` is what quzo.ini calls it. Inside its block it runs unless it was stopped."""

    def __init__(self, folder, seconds=900):
        self._folder, self._port, self._seconds, self._process = folder, free_port(), seconds, None
        self.store = f"postgresql://owner@127.0.0.1:{self._port}/postgres"
        os.makedirs(folder)
        shutil.chown(folder, "postgres")
        self._user = {"user": "postgres", "group": pwd.getpwnam("postgres").pw_gid, "extra_groups": [], "cwd": folder}
        subprocess.run([f"{PROGRAMS[-1]}/initdb", "-D", f"{folder}/data", "-U", "owner", "-E", "UTF8",
                        "--locale=C.UTF-8", "-A", "trust", "--no-sync"], check=True, capture_output=True, **self._user)

    def start(self):
        with open(f"{self._folder}/log", "ab") as log:
            self._process = subprocess.Popen(
                ["timeout", "-k", "5", str(self._seconds), f"{PROGRAMS[-1]}/postgres", "-D", f"{self._folder}/data",
                 "-k", "", "-p", str(self._port), "-c", "listen_addresses=127.0.0.1", "-c", "fsync=off"],
                stdout=log, stderr=log, **self._user)
        if not wait_until(lambda: listens(self._port) and self._answers()):
            raise RuntimeError("PostgreSQL does not start")

    def _answers(self):
        return subprocess.run([f"{PROGRAMS[-1]}/pg_isready", "-q", "-h", "127.0.0.1", "-p", str(self._port)],
                              check=False).returncode == 0

    def stop(self):
        """Connections are cut."""
        if self._process.poll() is None:
            self._process.send_signal(signal.SIGINT)
        self._process.wait(60)

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        self.stop()
