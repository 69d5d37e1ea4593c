"""A private PostgreSQL in a folder, for tests of live mail. It listens on 127.0.0.1 and ends with its block."""
import glob
import os
import shutil
import socket
import subprocess

from postfix_instance import free_port, wait_until

PROGRAMS = sorted(glob.glob("/usr/lib/postgresql/*/bin/postgres"))
USER = "postgres" if os.geteuid() == 0 else None  # it refuses to be root's


def missing():
    """Why there can be none here; None when there can."""
    return None if PROGRAMS else "there is no PostgreSQL"


class Postgres:
    """Runs inside its block, where it can be stopped and started again. `store` names it as settings do."""

    def __init__(self, folder):
        self._data, self._port = os.path.join(folder, "data"), free_port()
        self._log = os.path.join(folder, "log")
        self.store = f"postgresql://owner@127.0.0.1:{self._port}/postgres?connect_timeout=5"
        os.makedirs(folder)
        if USER:
            shutil.chown(folder, USER)
        self._folder, self._process = folder, None
        initdb = os.path.join(os.path.dirname(PROGRAMS[-1]), "initdb")
        self._run([initdb, "-D", self._data, "-U", "owner", "-E", "UTF8",
                   "--locale=C.UTF-8", "-A", "trust", "--no-sync"]).wait(120)

    def _run(self, command):
        with open(self._log, "ab") as log:
            return subprocess.Popen(command, cwd=self._folder, user=USER, stdout=log, stderr=log)

    def _answers(self):
        with socket.socket() as client:
            return client.connect_ex(("127.0.0.1", self._port)) == 0

    def start(self):
        self._process = self._run([PROGRAMS[-1], "-D", self._data, "-k", self._folder, "-p", str(self._port), "-c",
                                   "listen_addresses=127.0.0.1", "-c", "fsync=off"])
        if not wait_until(lambda: self._answers() or self._process.poll() is not None) or self._process.poll():
            with open(self._log, encoding="utf-8", errors="replace") as log:
                raise RuntimeError(f"PostgreSQL does not start: {log.read()}")

    def stop(self):
        """At once: whoever is connected loses it."""
        self._process.send_signal(2)
        self._process.wait(60)

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        self.stop()
