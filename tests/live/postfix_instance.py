"""A Postfix of our own in a folder, on ports of 127.0.0.1, for tests of live mail.

It ends with its block, and by itself after a while in any case. Only root can start one, and everybody has to be able
to enter the folders above."""
import json
import os
import re
import shutil
import socket
import subprocess
import time

os.environ["PATH"] += ":/usr/sbin"
SERVICES = """
pickup unix n - n 60 1 pickup
postlog unix-dgram n - n - 1 postlogd
cleanup unix n - n - 0 cleanup
qmgr unix n - n 300 1 qmgr
rewrite unix - - n - - trivial-rewrite
bounce unix - - n - 0 bounce
defer unix - - n - 0 bounce
trace unix - - n - 0 bounce
verify unix - - n - 1 verify
flush unix n - n 1000? 0 flush
proxymap unix - - n - - proxymap
smtp unix - - n - - smtp
relay unix - - n - - smtp
showq unix n - n - - showq
error unix - - n - - error
retry unix - - n - - error
discard unix - - n - - discard
anvil unix - - n - 1 anvil
scache unix - - n - 1 scache
"""
QUEUES = "active bounce corrupt defer deferred flush hold incoming private saved trace".split()


def missing():
    """Why there can be no Postfix here; None when there can."""
    if os.geteuid() != 0:
        return "only root starts a Postfix"
    lacking = [tool for tool in ("postfix", "postconf", "postqueue") if not shutil.which(tool)]
    return f"there is no {lacking[0]}" if lacking else None


def free_port():
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


def listens(port):
    """Whether a TCP port is open, without a connection to it."""
    with open("/proc/net/tcp", encoding="ascii") as file:
        return bool(re.search(rf":{port:04X} 00000000:0000 0A", file.read()))


def wait_until(holds, seconds=60):
    end = time.monotonic() + seconds
    while not holds():
        if time.monotonic() > end:
            return False
        time.sleep(0.05)
    return True


class Postfix:
    """Runs inside its block; mail comes in at `port` and all of it goes to the port `relay`. `options` are lines of
    main.cf, `services` those of master.cf, `door` what stands behind smtpd in the line of the front door."""

    def __init__(self, folder, relay, options="", services="", *, door="", seconds=600, environment=None):
        self.folder, self.port, self._seconds, self._process = folder, free_port(), seconds, None
        self.etc, self.log = os.path.join(folder, "etc"), os.path.join(folder, "log", "mail.log")
        self.environment = dict(environment or os.environ, MAIL_CONFIG=self.etc)
        for name in ("etc", "log", "queue/pid"):
            os.makedirs(os.path.join(folder, name), mode=0o755)
        for name, mode in (("data", 0o700), ("queue/public", 0o710), ("queue/maildrop", 0o730),
                           *((f"queue/{one}", 0o700) for one in QUEUES)):
            os.makedirs(os.path.join(folder, name))
            os.chmod(os.path.join(folder, name), mode)
            shutil.chown(os.path.join(folder, name), "postfix", None if mode == 0o700 else "postdrop")
        main = {
            "compatibility_level": "3.6", "config_directory": self.etc, "queue_directory": f"{folder}/queue",
            "data_directory": f"{folder}/data", "mail_owner": "postfix", "setgid_group": "postdrop",
            "inet_interfaces": "127.0.0.1", "inet_protocols": "ipv4", "myhostname": "mx.example.com",
            "mydestination": "", "local_recipient_maps": "", "alias_maps": "", "mynetworks": "127.0.0.0/8",
            "alias_database": "", "smtpd_forbid_bare_newline": "yes", "smtpd_forbid_bare_newline_exclusions": "",
            "relayhost": f"[127.0.0.1]:{relay}", "smtp_dns_support_level": "disabled", "smtpd_peername_lookup": "no",
            "smtpd_relay_restrictions": "permit_mynetworks,reject", "maillog_file": self.log,
            "maillog_file_prefixes": f"{folder}/log", "local_header_rewrite_clients": "", "smtp_line_length_limit": "0",
            "message_size_limit": "0", "hopcount_limit": "1000", "queue_run_delay": "2s", "minimal_backoff_time": "2s",
            "maximal_backoff_time": "4s", "smtpd_client_connection_count_limit": "0", "header_size_limit": "1000000",
        }
        main.update((part.strip() for part in line.split("=", 1)) for line in options.splitlines())
        with open(os.path.join(self.etc, "main.cf"), "w", encoding="ascii") as file:
            file.write("".join(f"{key} = {value}\n" for key, value in main.items()))
        services = f"127.0.0.1:{self.port} inet n - n - - smtpd {door}\n{SERVICES.lstrip()}{services}"
        self._ports = list(map(int, re.findall(r"(?m)^127\.0\.0\.1:(\d+) inet", services)))
        with open(os.path.join(self.etc, "master.cf"), "w", encoding="ascii") as file:
            file.write(services)

    def run(self, *command):
        return subprocess.run(command, env=self.environment, capture_output=True, text=True, timeout=60, check=False)

    def __enter__(self):
        master = os.path.join(self.run("postconf", "-h", "daemon_directory").stdout.strip(), "master")
        self._process = subprocess.Popen([master, "-c", self.etc, "-e", str(self._seconds)], env=self.environment)
        if not wait_until(lambda: all(map(listens, self._ports))):
            self.__exit__()
            raise RuntimeError(f"Postfix does not start: {self.log_text()}")
        return self

    def __exit__(self, *_):
        self._process.terminate()  # and all of its processes with it
        self._process.wait(60)

    def log_text(self):
        if not os.path.exists(self.log):
            return ""
        with open(self.log, encoding="utf-8", errors="replace") as file:
            return file.read()

    def waiting(self):
        """What lies in its queues: [{"queue_name": ..., "sender": ..., "recipients": [...]}, ...]."""
        return list(map(json.loads, self.run("postqueue", "-j").stdout.splitlines()))

    def queued(self):
        """How many messages it has."""
        return len(self.waiting())

    def flush(self):
        self.run("postqueue", "-f")
