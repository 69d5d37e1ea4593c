"""A bare Debian 12 in a folder, booted with systemd in a container that has no network but its own loopback.

What the machine installs later is fetched before it boots, from the archive that this host's debootstrap is given.
Nothing stays mounted: the container has a mount namespace of its own, and its folder is removed at the end.
"""
import os
import pathlib
import shutil
import subprocess
import tempfile
import time

ARCHIVE = "http://deb.debian.org/debian"
BOOT_SECONDS = 90


class CommandFailed(Exception):
    """A command inside ended with another code than it should."""


class Machine:
    """Use it with `with`: the end of the block powers the machine off and removes it."""

    def __init__(self, folder=None):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="quzo-machine-", dir=folder))
        self.root = self.folder / "root"
        self.container = None
        self.log = open(self.folder / "console.log", "wb")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.container:
            self.container.terminate()  # systemd-nspawn powers the machine off
            try:
                self.container.wait(60)
            except subprocess.TimeoutExpired:
                self.container.kill()
                self.container.wait()
        self.log.close()
        shutil.rmtree(self.folder)

    def make(self, packages, local):
        """The root with `packages` installed, and what the package files in the folders `local` depend on fetched."""
        self.on_host(["debootstrap", "--variant=minbase", "bookworm", self.root, ARCHIVE])
        self.before_boot("debconf-set-selections", content=b"postfix postfix/main_mailer_type select Internet Site\n")
        self.before_boot("apt-get", "install", "-y", "--no-install-recommends", *packages)
        for folder in local:
            place = self.root / "packages" / folder.name
            shutil.copytree(folder, place, ignore=lambda _, names: [n for n in names if not n.endswith(".deb")])
            debs = [f"/packages/{folder.name}/{deb.name}" for deb in sorted(place.glob("*.deb"))]
            self.before_boot("apt-get", "install", "-y", "--no-install-recommends", "--download-only", *debs)

    def before_boot(self, *command, content=b""):
        self.on_host(["systemd-nspawn", "-q", "--register=no", "--keep-unit", "--pipe", "-D", self.root,
                      "-E", "DEBIAN_FRONTEND=noninteractive", *command], content=content)

    def on_host(self, command, content=b""):
        result = subprocess.run([str(word) for word in command], input=content, stdout=self.log,
                                stderr=subprocess.STDOUT, check=False)
        if result.returncode != 0:
            raise CommandFailed(f"{' '.join(map(str, command))}: exit code {result.returncode}\n{self.console()}")

    def console(self):
        """The end of what was written while the machine was made and booted."""
        self.log.flush()
        return (self.folder / "console.log").read_bytes()[-2000:].decode(errors="replace")

    def boot(self):
        self.container = subprocess.Popen(
            ["systemd-nspawn", "-q", "--register=no", "--keep-unit", "--private-network", "--console=pipe",
             "-M", f"quzo{os.getpid()}", "-D", self.root, "--boot"],
            stdin=subprocess.DEVNULL, stdout=self.log, stderr=subprocess.STDOUT)
        end = time.monotonic() + BOOT_SECONDS
        while time.monotonic() < end and self.container.poll() is None:
            if self.leader() and self.run("systemctl", "is-system-running", codes=None).stdout.strip() == "running":
                return
            time.sleep(0.3)
        raise CommandFailed("the machine does not boot:\n" + self.console())

    def leader(self):
        """The process that is systemd inside, as this host counts; None while there is none."""
        children = pathlib.Path(f"/proc/{self.container.pid}/task/{self.container.pid}/children").read_text().split()
        return children[0] if children else None

    def run(self, *command, codes=(0,), content=""):
        """Runs a command inside. `codes`: the exit codes that are right, None for any."""
        result = subprocess.run(
            ["nsenter", "--target", self.leader(), "--all", "--", "env", "-i", "HOME=/root",
             "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL=C.UTF-8",
             "DEBIAN_FRONTEND=noninteractive", *command],
            input=content, capture_output=True, text=True, check=False)
        if codes is not None and result.returncode not in codes:
            raise CommandFailed(f"{' '.join(command)}: exit code {result.returncode}\n{result.stdout}{result.stderr}")
        return result

    def shell(self, line, codes=(0,)):
        """Runs a line of shell inside, in its root."""
        return self.run("bash", "-c", f"cd / && {line}", codes=codes)

    def path(self, place):
        """Where this host sees a file of the machine."""
        return self.root / place.lstrip("/")
