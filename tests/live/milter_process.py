"""quzo milter on a socket in the folder of an installation."""
import os
import re
import subprocess

from installation import check
from postfix_instance import wait_until


class Milter:
    """Runs inside its block, where it can be killed and started again. `prepare` runs in the new process before the
    program does. Everybody may use the socket and the folder."""

    def __init__(self, installation, prepare=None):
        self.socket = os.path.join(installation.folder, "milter.sock")
        self._installation, self._prepare = installation, prepare

    def start(self):
        """Returns when it serves, or has ended: whether it serves."""
        one = self._installation
        if os.path.exists(self.socket):
            os.remove(self.socket)  # of one that was killed
        self.process = subprocess.Popen(
            [one.program, "milter", "-c", "quzo.ini", "-p", "policy.toml", "--socket", "unix:" + self.socket],
            cwd=one.folder, env=one.environment, umask=0, preexec_fn=self._prepare)
        wait_until(lambda: os.path.exists(self.socket) or self.process.poll() is not None)
        return self.process.poll() is None

    def kill(self):
        self.process.kill()
        self.process.wait()

    def figure(self, name):
        """A number of /proc/PID/status: VmHWM is the most memory that it had, in KiB."""
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as file:
            return int(re.search(rf"(?m)^{name}:\s+(\d+)", file.read()).group(1))

    def __enter__(self):
        os.chmod(self._installation.folder, 0o777)
        check(self.start(), "the milter does not start")
        return self

    def __exit__(self, *_):
        self.process.terminate()
        check(self.process.wait(60) == 0, f"the milter ended with {self.process.returncode}")
