"""Net-SNMP's snmptrapd on 127.0.0.1, and what it was told."""
import os
import re
import socket
import subprocess
import time


def free_port(kind=socket.SOCK_STREAM):
    with socket.socket(socket.AF_INET, kind) as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


class TrapReceiver:
    """Runs inside its block, in a folder of its own; `port` is its UDP port."""

    def __init__(self, folder, community):
        os.makedirs(folder)
        self._folder, self._log, self.port = folder, os.path.join(folder, "traps"), free_port(socket.SOCK_DGRAM)
        with open(os.path.join(folder, "conf"), "w", encoding="ascii") as file:
            file.write(f"authCommunity log {community}\n")

    def __enter__(self):
        self._process = subprocess.Popen(
            ["snmptrapd", "-f", "-C", "-c", "conf", "-n", "-On", "-Ox", "-Lf", self._log, "-F",
             "%P|%N|%w|%q|%v|END\n", f"udp:127.0.0.1:{self.port}"], cwd=self._folder,
            env={**os.environ, "SNMP_PERSISTENT_DIR": os.path.join(self._folder, "state"), "MIBS": ""})
        self._wait_until(lambda: "NET-SNMP" in self._told())
        return self

    def __exit__(self, *_):
        self._process.terminate()
        self._process.wait(60)

    def _told(self):
        try:
            with open(self._log, encoding="ascii", errors="replace") as file:
                return file.read()
        except FileNotFoundError:
            return ""

    @staticmethod
    def _wait_until(holds):
        for _ in range(600):
            if holds():
                return
            time.sleep(0.05)

    def traps(self, count):
        """All traps, at least so many when they come at all: "PROTOCOL|ENTERPRISE|GENERIC|SPECIFIC|VALUES" each."""
        self._wait_until(lambda: self._told().count("|END") >= count)
        return re.findall(r"(?s)(TRAP.*?)\|END", self._told())


def text_of(trap):
    """The last value of a trap: (its identifier, its bytes)."""
    name, _, octets = trap.split("|")[-1].split("\t")[-1].partition(" = Hex-STRING: ")
    return name, bytes.fromhex(octets)
