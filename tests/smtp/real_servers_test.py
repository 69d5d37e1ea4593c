#!/usr/bin/env python3
"""The runner against servers that others wrote: Postfix's smtp-sink, and aiosmtpd with TLS.

    real_servers_test.py PROGRAM

Every server listens on 127.0.0.1 and ends with the test. Without smtp-sink, aiosmtpd or openssl it is skipped (77).
"""

import json
import logging
import os
import random
import shutil
import signal
import socket
import ssl
import subprocess
import sys
import tempfile
import time

os.environ["PATH"] += ":/usr/sbin"
try:
    from aiosmtpd.controller import Controller
except ImportError:
    # Debian's package is for Debian's interpreter.
    system = "/usr/bin/python3"
    if os.path.realpath(sys.executable) != os.path.realpath(system) and os.access(system, os.X_OK):
        os.execv(system, [system, *sys.argv])
    sys.exit(77)
if not shutil.which("smtp-sink") or not shutil.which("openssl"):
    sys.exit(77)

DIGITS = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"
FAULTS = []


def check(condition, what):
    if not condition:
        FAULTS.append(what)
        print("FAILED:", what)


def free_port():
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


class Installation:
    def __init__(self, program, folder, settings):
        self.program, self.folder = program, folder
        os.makedirs(folder)
        with open(os.path.join(folder, "quzo.ini"), "w", encoding="ascii") as file:
            file.write("[platform]\nspool = spool\nhostname = gw.example.com\nlog = log\ntimeout = 20\n" + settings)

    def put(self, text, due=None):
        name = "".join(random.choice(DIGITS) for _ in range(24))
        folder = os.path.join(self.folder, "spool", "outgoing", name[0], name[1])
        os.makedirs(folder, exist_ok=True)
        with open(os.path.join(folder, name + ".DF"), "wb") as file:
            file.write(text)
        entry = {"format": 1, "id": name, "sender": "a@a.example", "recipients": ["b@b.example"],
                 "stored": int(time.time()), "size": len(text)}
        if due:
            entry["due"] = due
        with open(os.path.join(folder, name + ".json"), "w", encoding="ascii") as file:
            json.dump(entry, file)
        return name

    def queue(self, *arguments):
        return subprocess.run([self.program, "queue", *arguments, "-c", "quzo.ini"], cwd=self.folder,
                              capture_output=True, text=True, timeout=120, check=False)

    def status(self):
        return {line["queue"]: line for line in map(json.loads, self.queue("status", "--json").stdout.splitlines())}


# Handshakes that fail are what is tested.
logging.getLogger("mail.log").setLevel(logging.CRITICAL)


class Keeper:
    """Keeps what aiosmtpd receives, and whether it came over TLS."""

    def __init__(self):
        self.received = []

    async def handle_DATA(self, _server, session, envelope):
        self.received.append((envelope.content, session.ssl is not None))
        return "250 kept"


def certificates(folder):
    """One authority and three certificates of it, by their names: (certificate, key)."""
    def openssl(*arguments):
        subprocess.run(["openssl", *arguments], cwd=folder, check=True, capture_output=True)

    openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", "ca.key", "-out", "ca.pem", "-days", "2",
            "-subj", "/CN=Test authority")
    for name, host, days in (("good", "localhost", "2"), ("expired", "localhost", "-1"), ("other", "mx.example", "2")):
        openssl("req", "-newkey", "rsa:2048", "-nodes", "-keyout", name + ".key", "-out", name + ".csr",
                "-subj", "/CN=" + host)
        with open(os.path.join(folder, name + ".ext"), "w", encoding="ascii") as file:
            file.write("subjectAltName=DNS:" + host)
        openssl("x509", "-req", "-in", name + ".csr", "-CA", "ca.pem", "-CAkey", "ca.key", "-CAcreateserial",
                "-days", days, "-extfile", name + ".ext", "-out", name + ".pem")


def context_of(folder, name):
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(os.path.join(folder, name + ".pem"), os.path.join(folder, name + ".key"))
    return context


def test_tls(program, folder):
    certificates(folder)
    # Certificate, how TLS begins; then for off, try, require: whether the message comes (+), and with TLS (T) where
    # the server tells. One that begins with TLS knows nothing else.
    rows = (("good", "starttls", "+", "+T", "+T"), ("expired", "starttls", "+", "+T", "-"),
            ("other", "starttls", "+", "+T", "-"), (None, None, "+", "+", "-"),
            ("good", "at once", "+", "+", "+"), ("other", "at once", "+", "+", "-"))
    for certificate, begin, *wanted in rows:
        for mode, want in zip(("off", "try", "require"), wanted):
            what = f"certificate {certificate}, TLS {begin}, tls = {mode}"
            keeper, port = Keeper(), free_port()
            settings = {}
            if begin == "starttls":
                settings["tls_context"] = context_of(folder, certificate)
            elif begin:
                settings["ssl_context"] = context_of(folder, certificate)
                settings["server_hostname"] = "localhost"
            try:
                server = Controller(keeper, hostname="127.0.0.1", port=port, **settings)
                server.start()
            except ssl.SSLError:  # the start asks itself, and does not like its certificate
                pass
            scheme = "smtps" if begin == "at once" else "smtp"
            installation = Installation(program, os.path.join(folder, what.replace(" ", "_")),
                                        f"next_hop = {scheme}://localhost:{port}\ntls = {mode}\n"
                                        f"tls_ca = {folder}/ca.pem\n")
            installation.put(b"Subject: x\n\n.secret\n")
            run = installation.queue("run", "outgoing")
            server.stop(no_assert=True)
            came = "-"
            if keeper.received:
                content, tls = keeper.received[0]
                check(content.endswith(b"+0000\r\nSubject: x\r\n\r\n.secret\r\n"), what + ": " + repr(content))
                came = "+T" if tls else "+"
            check(came == want, f"{what}: {came} in place of {want}; {run.stdout}{run.stderr}")
            check(run.returncode == (0 if want != "-" else 75), f"{what}: exit code {run.returncode}")
            check(installation.status()["outgoing"]["entries"] == (0 if want != "-" else 1), what + ": the queue")


def start_sink(folder, port, *options):
    user = ["-u", "postfix"] if os.geteuid() == 0 else []
    sink = subprocess.Popen(["smtp-sink", *user, *options, f"127.0.0.1:{port}", "10"], cwd=folder)
    for _ in range(200):
        try:
            socket.create_connection(("127.0.0.1", port)).close()
            break
        except OSError:
            time.sleep(0.05)
    return sink


def dumped(folder):
    texts = []
    for name in os.listdir(folder):
        if name.startswith("m."):
            with open(os.path.join(folder, name), "rb") as file:
                texts.append(file.read())
    return texts


def test_sink(program, folder):
    """Refused first, gone then, back at last: each message arrives once."""
    dump = os.path.join(folder, "dump")
    os.makedirs(dump)
    os.chmod(dump, 0o777)
    port = free_port()
    installation = Installation(program, os.path.join(folder, "sink"), f"next_hop = smtp://127.0.0.1:{port}\n")
    bodies = [b"Subject: number %d\r\n\r\n.\r\n..dots\nMAIL FROM:<e@x>\r\n" % i for i in range(60)]
    for body in bodies:
        installation.put(body)
    check(installation.queue("run", "outgoing").returncode == 75, "no server: 75")
    for option, count in (("-r", "RCPT"), ("-q", "."), ("-Q", "DATA")):
        sink = start_sink(dump, port, option, count)
        installation.queue("retry", "--all")
        run = installation.queue("run", "outgoing")
        sink.terminate()
        sink.wait()
        check(run.returncode == 75, f"smtp-sink {option} {count}: exit code {run.returncode}")
        check(installation.status()["outgoing"]["entries"] == 60, f"smtp-sink {option} {count}: {run.stdout}")
    sink = start_sink(dump, port, "-d", "m.")
    installation.queue("retry", "--all")
    run = installation.queue("run", "outgoing")
    sink.terminate()
    sink.wait()
    check(run.returncode == 0, f"delivery: {run.returncode} {run.stdout}{run.stderr}")
    texts = dumped(dump)
    check(len(texts) == 60, f"{len(texts)} messages at the receiver")
    for i in range(60):
        found = [text for text in texts if b"\nSubject: number %d\n" % i in text]
        check(len(found) == 1, f"message {i} came {len(found)} times")
        check(found and found[0].rstrip(b"\n").endswith(b"\n\n.\n..dots\nMAIL FROM:<e@x>"), f"message {i}: {found}")


def test_forever(program, folder):
    keeper, port = Keeper(), free_port()
    server = Controller(keeper, hostname="127.0.0.1", port=port)
    server.start()
    installation = Installation(program, os.path.join(folder, "forever"),
                                f"next_hop = smtp://127.0.0.1:{port}\ntls = off\n[runner]\npoll = 1s\n")
    for number, how in ((signal.SIGTERM, "TERM"), (signal.SIGINT, "INT")):
        waiting = installation.put(b"Subject: later\n\nx\n", due=int(time.time()) + 3600)
        before = len(keeper.received)
        installation.put(b"Subject: 1\n\nx\n")
        runner = subprocess.Popen([program, "queue", "run", "-c", "quzo.ini", "outgoing", "--forever"],
                                  cwd=installation.folder, stdout=subprocess.DEVNULL)
        for _ in range(600):  # what comes meanwhile is found too
            if len(keeper.received) == before + 1:
                installation.put(b"Subject: 2\n\nx\n")
                before -= 10
            if len(keeper.received) == before + 12:
                break
            time.sleep(0.05)
        runner.send_signal(number)
        check(runner.wait(60) == 0, f"SIG{how}: exit code {runner.returncode}")
        check(len(keeper.received) == before + 12, f"SIG{how}: {len(keeper.received)} messages")
        check(installation.queue("remove", "outgoing", waiting).returncode == 0, f"SIG{how}: nothing else was touched")
        check(installation.status()["outgoing"]["entries"] == 0, f"SIG{how}: the queue is not empty")
    server.stop()


def main():
    with tempfile.TemporaryDirectory(prefix="quzo-servers-") as folder:
        os.chmod(folder, 0o755)
        for test in (test_tls, test_sink, test_forever):
            test(os.path.abspath(sys.argv[1]), folder)
    return 1 if FAULTS else 0


if __name__ == "__main__":
    sys.exit(main())
