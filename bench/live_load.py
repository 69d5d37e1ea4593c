#!/usr/bin/env python3
"""Mail through a real Postfix with quzo stamping every message, beside the same Postfix with others or none.

    bench/live_load.py [BUILD_FOLDER [MESSAGES [TURNS]]]

BUILD_FOLDER is build/release, configured with -DQUZO_BUILD_BENCH=ON. In each of 7 turns, 2,000 messages of 23 KB (text,
HTML, a small file) go through every way in 10 sessions of Postfix's smtp-source, once with a new connection for each
message and once with connections that stay, and on to Postfix's smtp-sink: no milter, one that puts the body back as it
was (bench/bare_milter.cpp), quzo on a unix socket and on an inet one, MIMEDefang with a filter that appends the same
disclaimer. One message of each way is read before, and the log of Postfix has to tell of every message, at its size.
At last ten messages of 20 MB go through quzo at once, for its memory. All lies in /dev/shm where that is possible.

Prints medians of messages a second and of the turns' ratios, and the processor time of the milters. Exits with 1 when a
promised figure is missed, or mail is lost or not as it should be. Needs root; without MIMEDefang that way is left out.
"""
import contextlib
import email
import email.message
import email.policy
import os
import random
import re
import shutil
import socket
import statistics
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "tests", "live"))
os.environ["PATH"] += ":/usr/sbin"
from postfix_instance import Postfix, free_port, missing  # noqa: E402

SESSIONS = 10
LARGE, ROOM = 20_000_000, 64 << 20  # bytes: of each large message, and beyond all of them
TEXT, HTML = (open(os.path.join(HERE, "compare", "disclaimer." + kind), encoding="ascii").read()
              for kind in ("txt", "html"))
WAYS = ("no milter", "bare milter", "quzo", "quzo, inet", "MIMEDefang")
SIZE = re.compile(rb" from=<[^>]*>, size=(\d+),")
PROMISED = {"bare milter": 0.9, "MIMEDefang": 2.4}
POLICY = ('[[rule]]\nid = 1\nname = "Stamp"\nwhen = { always = true }\n'
          'actions = [{ type = "stamp", object = "disclaimer" }]\n')
FILTER = f"""sub filter_end {{
    my($entity) = @_;
    append_text_boilerplate($entity, q({TEXT.strip()}), 0);
    append_html_boilerplate($entity, q({HTML.strip()}), 0);
}}
1;
"""


def letter(attached):
    """A mail as people write them, with a file of so many bytes."""
    chance = random.Random(1)
    words = ["".join(chance.choice("etaoinshrdlu") for _ in range(chance.randint(2, 9))) for _ in range(300)] + ["für"]
    paragraphs = [" ".join(chance.choices(words, k=60)) for _ in range(12)]
    mail = email.message.EmailMessage(email.policy.SMTP.clone(linesep="\n"))
    mail["From"], mail["To"] = "Anna <anna@out.example>", "b@in.example"
    mail["Date"], mail["Message-ID"] = "Thu, 26 Nov 2026 05:00:00 +0000", "<1@out.example>"
    mail["Subject"] = "The figures of last month"
    for number in range(6):
        mail[f"X-Trace-{number}"] = " ".join(chance.choices(words[:-1], k=12))
    mail.set_content("\n\n".join(paragraphs) + "\n", cte="quoted-printable")
    mail.add_alternative("<html><body>\n" + "".join(f'<p style="margin:0">{one}</p>\n' for one in paragraphs) +
                         "</body></html>\n", subtype="html", cte="quoted-printable")
    mail.add_attachment(chance.randbytes(attached), maintype="application", subtype="pdf", filename="figures.pdf")
    return mail.as_bytes()


def bodies(mail):
    """The text, the HTML and the file of a letter, decoded."""
    return [part.get_content() for part in email.message_from_bytes(mail, policy=email.policy.default).walk()
            if not part.is_multipart()]


class Sink:
    """Postfix's smtp-sink; what it gets it puts into `dump`, or nowhere."""

    def __init__(self, port, dump=None):
        self._process = subprocess.Popen(["smtp-sink", "-u", "postfix", *(["-D", dump] if dump else []),
                                          f"127.0.0.1:{port}", "1000"], cwd=os.path.dirname(dump) if dump else None)
        for _ in range(200):
            with socket.socket() as client:
                if client.connect_ex(("127.0.0.1", port)) == 0:
                    return
            time.sleep(0.02)
        raise RuntimeError("smtp-sink does not come up")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._process.terminate()
        self._process.wait()


def descendants(pid):
    """The process and all below it."""
    with contextlib.suppress(OSError):
        yield pid
        with open(f"/proc/{pid}/task/{pid}/children", encoding="ascii") as file:
            for child in file.read().split():
                yield from descendants(int(child))


def processor_seconds(pids):
    """Of the processes, those below them, and those that have ended there."""
    ticks = 0
    for pid in (one for root in pids for one in descendants(root)):
        with contextlib.suppress(OSError), open(f"/proc/{pid}/stat", encoding="ascii") as file:
            ticks += sum(map(int, file.read().rsplit(")", 1)[1].split()[11:15]))
    return ticks / os.sysconf("SC_CLK_TCK")


def status(pid, key):
    """A line of /proc/PID/status, in bytes."""
    with open(f"/proc/{pid}/status", encoding="ascii") as file:
        return int(re.search(rf"^{key}:\s*(\d+) kB", file.read(), re.MULTILINE)[1]) * 1024


class Milters:
    """All milters, inside its block: {way: socket as Postfix writes it} and {way: process ids}."""

    def __init__(self, build, folder):
        self.sockets, self.pids, self._started = {}, {}, []
        self._build, self._folder = build, folder

    def _start(self, way, command, socket_name, **options):
        process = subprocess.Popen(command, cwd=self._folder, **options)
        self._started.append(process)
        self.pids.setdefault(way, []).append(process.pid)
        self.sockets[way] = socket_name
        path = socket_name.removeprefix("unix:")
        for _ in range(500):
            if os.path.exists(path) if path != socket_name else True:
                return path
            time.sleep(0.02)
        raise RuntimeError(f"{way} does not come up")

    def __enter__(self):
        quzo, folder = os.path.join(self._build, "bin", "quzo"), self._folder
        settings = f"[platform]\nstore = sqlite3://{folder}/store.db\nspool = {folder}/spool\nlog = {folder}/quzo.log\n"
        for name, text in (("quzo.ini", settings), ("inet.ini", f"{settings}[milter]\ncontrol = {folder}/control\n"),
                           ("policy.toml", POLICY), ("filter", FILTER)):
            with open(os.path.join(folder, name), "w", encoding="ascii") as file:
                file.write(text)
        subprocess.run([quzo, "object", "add", "stamp", "disclaimer", "-c", "quzo.ini", "--text-file",
                        f"{HERE}/compare/disclaimer.txt", "--html-file", f"{HERE}/compare/disclaimer.html"],
                       check=True, cwd=folder, stdout=subprocess.DEVNULL)
        self._start("bare milter", [os.path.join(self._build, "bin", "bare_milter"), f"unix:{folder}/bare.sock"],
                    f"unix:{folder}/bare.sock")
        port = free_port()
        for way, settings, ours, theirs in (
                ("quzo", "quzo.ini", f"unix:{folder}/quzo.sock", f"unix:{folder}/quzo.sock"),
                ("quzo, inet", "inet.ini", f"inet:{port}@127.0.0.1", f"inet:127.0.0.1:{port}")):
            self._start(way, [quzo, "milter", "-c", settings, "-p", "policy.toml", "--socket", ours], theirs, umask=0)
        if shutil.which("mimedefang"):
            self._start_mimedefang()
        return self

    def _start_mimedefang(self):
        """As Debian's start script has it, but for places and for logging, which goes nowhere here."""
        spool = os.path.join(self._folder, "MIMEDefang")
        os.mkdir(spool, 0o755)
        shutil.chown(spool, "defang", "defang")
        workers, milter = f"{spool}/multiplexor.sock", f"{spool}/milter.sock"
        environment = dict(os.environ, LC_ALL="C", HOME=spool)
        self._start("MIMEDefang", ["mimedefang-multiplexor", "-D", "-z", spool, "-F", f"{self._folder}/filter",
                                   "-m", "2", "-x", "10", "-q", "10", "-Q", "60", "-U", "defang", "-b", "600", "-l",
                                   "-s", workers],
                    "unix:" + workers, env=environment)
        path = self._start("MIMEDefang", ["mimedefang", "-D", "-R", "-1", "-m", workers, "-z", spool, "-U", "defang",
                                          "-p", milter], "unix:" + milter, env=environment)
        os.chmod(path, 0o666)

    def __exit__(self, *_):
        for process in reversed(self._started):
            process.terminate()
        for process in self._started:
            try:
                process.wait(20)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()


class Bench:
    """Sends through the ways and judges what the log of Postfix says of it."""

    def __init__(self, folder, relay, postfix, ports, milters):
        self.folder, self.relay, self.postfix, self.ports, self.milters = folder, relay, postfix, ports, milters
        self.faults = []

    def fault(self, text):
        self.faults.append(text)
        print("FAULT:", text, flush=True)

    def _send(self, way, mail, messages, sessions, *options):
        subprocess.run(["smtp-source", *options, "-s", str(sessions), "-m", str(messages), "-f", "anna@out.example",
                        "-t", "b@in.example", "-F", mail, f"127.0.0.1:{self.ports[way]}"], check=True, timeout=300)

    def one(self, way, mail):
        """A message as it arrives, and its size as Postfix has it."""
        dump = os.path.join(self.folder, "open", way.replace(" ", "-"))
        with open(self.postfix.log, "rb") as log, Sink(self.relay, dump):
            log.seek(0, os.SEEK_END)
            self._send(way, mail, 1, 1)
            size = SIZE.findall(self._log_of(log, 1)[0])
        with open(dump, "rb") as file:
            return file.read(), int(size[0])

    def run(self, way, mail, messages, wanted_size, *options):
        """Messages a second, and seconds of the milter's processor a message."""
        pids = self.milters.pids.get(way, [])
        with open(self.postfix.log, "rb") as log:
            log.seek(0, os.SEEK_END)
            used = processor_seconds(pids)
            start = time.monotonic()
            self._send(way, mail, messages, SESSIONS, *options)
            lines, end = self._log_of(log, messages)
            used = processor_seconds(pids) - used
        sizes = list(map(int, SIZE.findall(lines)))
        sent = lines.count(b"status=sent")
        if sent != messages or len(sizes) != messages:
            self.fault(f"{way}: {sent} delivered, {len(sizes)} taken of {messages}")
        if wanted_size and any(abs(size - wanted_size) > 64 for size in sizes):  # names in Received differ
            self.fault(f"{way}: sizes from {min(sizes)} to {max(sizes)} in place of {wanted_size}")
        return messages / (end - start), used / messages

    @staticmethod
    def _log_of(log, messages):
        """What was logged since, and when so many had been delivered; waits for it."""
        lines, delivered = [], 0
        for _ in range(10000):
            lines.append(log.read())
            delivered += lines[-1].count(b"status=sent")
            if delivered >= messages:
                end = time.monotonic()
                time.sleep(0.1)  # for what should not come
                return b"".join([*lines, log.read()]), end
            time.sleep(0.01)
        return b"".join(lines), time.monotonic()

    def check(self, ways, mail):
        """Reads a message of each way; their sizes."""
        with open(mail, "rb") as file:
            text, html, attached = bodies(file.read())
        sizes = {}
        for way in ways:
            got, sizes[way] = self.one(way, mail)
            parts = bodies(got)
            stamped = way.startswith("quzo") or way == "MIMEDefang"
            right = len(parts) == 3 and parts[2] == attached and (
                all(part.count(stamp.strip()) == 1 and part.startswith(was.strip()[:-20])
                    for part, stamp, was in zip(parts, (TEXT, HTML), (text, html.split("</body>", 1)[0])))
                if stamped else parts[:2] == [text, html])
            if not right:
                self.fault(f"{way}: the message is not as it should be: {got[:300]!r}")
        return sizes

    def large(self, mail):
        """Ten at once: what quzo takes beyond what it had, in bytes, by the kernel's mark of the highest."""
        pid = self.milters.pids["quzo"][0]
        with open(f"/proc/{pid}/clear_refs", "w", encoding="ascii") as file:
            file.write("5")
        before = status(pid, "VmRSS")
        rate, used = self.run("quzo", mail, SESSIONS, 0)
        return status(pid, "VmHWM") - before, used


def measure(bench, ways, mail, sizes, messages, turns):
    print(f"{messages} messages of {sizes['no milter']} bytes, {SESSIONS} sessions, medians of {turns} turns; "
          f"load {' '.join(f'{one:.1f}' for one in os.getloadavg())}")
    missed = False
    for title, options in (("a connection for each message", ()), ("connections that stay", ("-d",))):
        runs = {way: [] for way in ways}
        for turn in range(turns):
            for way in ways[turn % len(ways):] + ways[:turn % len(ways)]:
                runs[way].append(bench.run(way, mail, messages, sizes[way], *options))
        print(f"{title:32} messages/s   quzo / it   promised   its processor ms a message")
        for way in ways:
            rate, used = (statistics.median(values) for values in zip(*runs[way]))
            ratio = statistics.median(ours[0] / its[0] for ours, its in zip(runs["quzo"], runs[way]))
            promise = PROMISED.get(way)
            print(f"  {way:30} {rate:10.0f} {ratio:11.2f} {promise or '':>10} {1000 * used:10.2f}"
                  f"{' MISSED' if promise and ratio < promise else ''}", flush=True)
            missed = missed or bool(promise and ratio < promise)
    return missed


def main():
    build = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else "build/release")
    messages, turns = (int(sys.argv[i]) if len(sys.argv) > i else standard for i, standard in ((2, 2000), (3, 7)))
    if reason := missing():
        sys.exit(reason)
    place = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    with tempfile.TemporaryDirectory(prefix="quzo-load-", dir=place) as folder, contextlib.ExitStack() as stack:
        os.chmod(folder, 0o755)
        os.mkdir(os.path.join(folder, "open"))
        shutil.chown(os.path.join(folder, "open"), "postfix")
        mail, large = os.path.join(folder, "letter"), os.path.join(folder, "large")
        for path, attached in ((mail, 8000), (large, LARGE * 56 // 77)):
            with open(path, "wb") as file:
                file.write(letter(attached))
        milters = stack.enter_context(Milters(build, folder))
        ways = [way for way in WAYS if way == "no milter" or way in milters.sockets]
        ports, relay = {way: free_port() for way in ways}, free_port()
        services = "".join(f"127.0.0.1:{ports[way]} inet n - n - - smtpd "
                           f"-o smtpd_milters={milters.sockets.get(way, '')}\n" for way in ways)
        postfix = stack.enter_context(Postfix(os.path.join(folder, "postfix"), relay,
                                              "in_flow_delay = 0\nmilter_default_action = tempfail\n", services,
                                              seconds=7200))
        open(postfix.log, "ab").close()
        bench = Bench(folder, relay, postfix, ports, milters)
        sizes = bench.check(ways, mail)
        stack.enter_context(Sink(relay))
        missed = measure(bench, ways, mail, sizes, messages, turns)
        size, (peak, used) = os.path.getsize(large), bench.large(large)
        allowed = SESSIONS * size + ROOM
        missed = missed or peak > allowed
        print(f"{SESSIONS} messages of {size / 1e6:.1f} MB at once: {peak / 1e6:.1f} MB more resident, "
              f"{allowed / 1e6:.1f} MB are allowed{' MISSED' if peak > allowed else ''}; "
              f"{used:.3f} s of processor each")
    return 1 if missed or bench.faults else 0


if __name__ == "__main__":
    sys.exit(main())
