"""A Postfix of our own in a folder, on ports of 127.0.0.1, that ends with its block, and after ten minutes in any
case. Only root can start one."""
import json
import os
import pwd
import shutil
import socket
import subprocess
import time

SERVICES = (("pickup", "unix", "n", "60", "1", "pickup"), ("cleanup", "unix", "n", "-", "0", "cleanup"),
            ("qmgr", "unix", "n", "300", "1", "qmgr"), ("rewrite", "unix", "-", "-", "-", "trivial-rewrite"),
            ("bounce", "unix", "-", "-", "0", "bounce"), ("defer", "unix", "-", "-", "0", "bounce"),
            ("trace", "unix", "-", "-", "0", "bounce"), ("verify", "unix", "-", "-", "1", "verify"),
            ("flush", "unix", "n", "1000?", "0", "flush"), ("proxymap", "unix", "-", "-", "-", "proxymap"),
            ("smtp", "unix", "-", "-", "-", "smtp"), ("relay", "unix", "-", "-", "-", "smtp"),
            ("showq", "unix", "n", "-", "-", "showq"), ("error", "unix", "-", "-", "-", "error"),
            ("retry", "unix", "-", "-", "-", "error"), ("discard", "unix", "-", "-", "-", "discard"),
            ("anvil", "unix", "-", "-", "1", "anvil"), ("scache", "unix", "-", "-", "1", "scache"),
            ("postlog", "unix-dgram", "n", "-", "1", "postlogd"))


def missing():
    """Why there can be none here; None when there can."""
    if os.geteuid() != 0:
        return "only root can start Postfix"
    for tool in ("postfix", "postconf", "postqueue", "sendmail"):
        if not shutil.which(tool):
            return f"there is no {tool}"
    return None


def free_port():
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


def wait_until(holds, seconds=60):
    end = time.monotonic() + seconds
    while not holds():
        if time.monotonic() > end:
            return False
        time.sleep(0.05)
    return True


class Postfix:
    """Gives all mail to the server at `relay_port`. `services` are lines of master.cf. The folder, and every one above
    it, can be entered by everybody."""

    def __init__(self, folder, relay_port, services, ports):
        self.folder, self._ports, self._master = folder, ports, None
        self.environment = dict(os.environ, MAIL_CONFIG=f"{folder}/etc")
        for name in ("etc", "queue", "data", "log"):
            os.makedirs(f"{folder}/{name}", 0o755)
        owner = pwd.getpwnam("postfix")
        os.chown(f"{folder}/data", owner.pw_uid, owner.pw_gid)
        settings = {
            "config_directory": f"{folder}/etc", "queue_directory": f"{folder}/queue",
            "data_directory": f"{folder}/data", "mail_owner": "postfix", "setgid_group": "postdrop",
            "maillog_file": f"{folder}/log/mail.log", "maillog_file_prefixes": f"{folder}/log",
            "compatibility_level": "3.6", "inet_interfaces": "127.0.0.1", "inet_protocols": "ipv4",
            "myhostname": "mx.example", "mydestination": "", "local_recipient_maps": "", "alias_maps": "",
            "alias_database": "", "relayhost": f"[127.0.0.1]:{relay_port}", "smtp_dns_support_level": "disabled",
            "smtpd_peername_lookup": "no", "mynetworks": "127.0.0.0/8", "local_header_rewrite_clients": "",
            "smtpd_relay_restrictions": "permit_mynetworks,reject", "smtp_line_length_limit": "0",
        }
        with open(f"{folder}/etc/main.cf", "w", encoding="ascii") as file:
            file.write("".join(f"{key} = {value}\n" for key, value in settings.items()))
        with open(f"{folder}/etc/master.cf", "w", encoding="ascii") as file:
            file.write("".join(f"{name} {kind} {private} - n {wake} {limit} {program}\n"
                               for name, kind, private, wake, limit, program in SERVICES) + services)

    def run(self, *command):
        return subprocess.run(command, env=self.environment, capture_output=True, text=True, timeout=60, check=False)

    def _listens(self):
        for port in self._ports:
            with socket.socket() as client:
                if client.connect_ex(("127.0.0.1", port)) != 0:
                    return False
        return True

    def __enter__(self):
        checked = self.run("postfix", "check")  # makes what is missing below the folder
        master = self.run("postconf", "-h", "daemon_directory").stdout.strip() + "/master"
        self._master = subprocess.Popen([master, "-c", f"{self.folder}/etc", "-e", "600"], env=self.environment)
        if not wait_until(self._listens):
            print(checked.stdout, checked.stderr, self.log())
            self.__exit__()
            raise RuntimeError("Postfix does not start")
        return self

    def __exit__(self, *_):
        self._master.terminate()  # and all of its processes with it
        self._master.wait(60)

    def log(self):
        try:
            with open(f"{self.folder}/log/mail.log", encoding="utf-8", errors="replace") as file:
                return file.read()
        except FileNotFoundError:
            return ""

    def waiting(self):
        """What lies in its queue: [{"queue_name": ..., "sender": ..., "recipients": [...]}, ...]."""
        return list(map(json.loads, self.run("postqueue", "-j").stdout.splitlines()))

    def flush(self):
        self.run("postqueue", "-f")
