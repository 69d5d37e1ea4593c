"""A private Postfix in a folder, for tests of live mail. It needs root, and every folder above must be open to others."""
import os
import shutil
import socket
import subprocess
import sys
import time

SERVICES = """
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


def free_port():
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


def missing():
    """Why there can be no Postfix here; None when there can."""
    if os.geteuid() != 0:
        return "only root starts a Postfix"
    return None if shutil.which("postfix") else "there is no postfix"


class Postfix:
    """Runs inside its block. `relay`: the port that all mail goes to; `options` are lines of main.cf."""

    def __init__(self, folder, relay, options="", services=""):
        self.folder, self.port = folder, free_port()
        etc = os.path.join(folder, "etc")
        for name in ("etc", "queue", "log", "data"):
            os.makedirs(os.path.join(folder, name), mode=0o755)
        os.chmod(os.path.join(folder, "data"), 0o700)
        shutil.chown(os.path.join(folder, "data"), "postfix")
        self.log = os.path.join(folder, "log", "mail.log")
        main = {
            "compatibility_level": "3.6", "config_directory": etc, "queue_directory": f"{folder}/queue",
            "data_directory": f"{folder}/data", "mail_owner": "postfix", "setgid_group": "postdrop",
            "inet_interfaces": "127.0.0.1", "inet_protocols": "ipv4", "myhostname": "mx.example.com",
            "mydestination": "", "local_recipient_maps": "", "alias_maps": "", "mynetworks": "127.0.0.0/8",
            "relayhost": f"[127.0.0.1]:{relay}", "smtp_dns_support_level": "disabled", "smtpd_peername_lookup": "no",
            "smtpd_relay_restrictions": "permit_mynetworks,reject", "maillog_file": self.log,
            "maillog_file_prefixes": f"{folder}/log", "local_header_rewrite_clients": "", "smtp_line_length_limit": "0",
            "message_size_limit": "0", "hopcount_limit": "1000", "queue_run_delay": "2s", "minimal_backoff_time": "2s",
            "maximal_backoff_time": "4s", "smtpd_client_connection_count_limit": "0", "header_size_limit": "1000000",
        }
        with open(os.path.join(etc, "main.cf"), "w", encoding="ascii") as file:
            file.write("".join(f"{key} = {value}\n" for key, value in main.items()) + options)
        with open(os.path.join(etc, "master.cf"), "w", encoding="ascii") as file:
            file.write(f"127.0.0.1:{self.port} inet n - n - - smtpd\n{SERVICES.lstrip()}{services}")
        self.etc = etc

    def __enter__(self):
        subprocess.run(["postfix", "-c", self.etc, "start"], check=True, stderr=subprocess.DEVNULL)
        return self

    def __exit__(self, *_):
        with open(os.path.join(self.folder, "queue", "pid", "master.pid"), encoding="ascii") as file:
            pid = int(file.read())
        subprocess.run(["postfix", "-c", self.etc, "stop"], check=False, stderr=subprocess.DEVNULL)
        for _ in range(200):
            if not os.path.exists(f"/proc/{pid}"):
                return
            time.sleep(0.05)
        print("the Postfix in", self.folder, "does not stop", file=sys.stderr)

    def queued(self):
        """How many messages it has."""
        listed = subprocess.run(["postqueue", "-j"], env={**os.environ, "MAIL_CONFIG": self.etc}, check=True,
                                capture_output=True)
        return listed.stdout.count(b"\n")
