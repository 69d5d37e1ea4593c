"""An installation of quzo in a folder of its own, and what the tests of the flow of mail have in common."""
import email.policy
import json
import os
import re
import subprocess

LOG_LINE = re.compile(rb"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d\d:\d\d \[\d+\] "
                      rb"(error|notice|detail|message): [^\x00-\x1F]*")
FAULTS = []


def check(condition, what):
    if not condition:
        FAULTS.append(what)
        print("FAILED:", what[:3000], flush=True)
    return bool(condition)


def toml(value):
    """A value as it stands in a TOML file; its strings are JSON's, but for DEL."""
    if isinstance(value, dict):
        return "{" + ", ".join(f"{toml(str(key))} = {toml(one)}" for key, one in value.items()) + "}"
    if isinstance(value, list):
        return "[" + ", ".join(map(toml, value)) + "]"
    return json.dumps(value, ensure_ascii=False).replace("\x7f", "\\u007f")


def as_mail(content):
    return email.message_from_bytes(content, policy=email.policy.default)


def attached(content):
    """The bytes of the message that stands last in a multipart."""
    end = content.rindex(b"\r\n--" + as_mail(content).get_boundary().encode() + b"--")
    begin = content.index(b"\r\n\r\n", content.index(b"\r\nContent-Type: message/rfc822")) + 4
    return content[begin:end]


def sanitized(program):
    """Whether a sanitizer is in it, which needs memory and address space of its own."""
    with open(program, "rb") as file:
        return re.search(rb"lib[at]san\.so", file.read()) is not None


class Installation:
    """Settings, named objects {kind: {name: fields}} and rules, each (name, conditions, actions)."""

    def __init__(self, program, folder, objects, rules, *, port=9, store="sqlite3://objects.db", platform="",
                 settings="", defaults=None, environment=None):
        self.program, self.folder = program, folder
        self.environment = dict(os.environ, **(environment or {}))
        os.makedirs(os.path.join(folder, "in"))
        self.write("quzo.ini", f"[platform]\nspool = spool\nstore = {store}\nhostname = gw.example.com\n"
                   f"log = log\nlog_level = 3\ntimeout = 60\ntls = off\nnotify_limit = 0\n"
                   f"next_hop = smtp://127.0.0.1:{port}\n{platform}{settings}")
        self.write("objects.toml", "".join(
            f"[{kind}.{toml(name)}]\n" + "".join(f"{key} = {toml(value)}\n" for key, value in fields.items())
            for kind, named in objects.items() for name, fields in named.items()))
        heading = "[defaults]\n" + "".join(f"{key} = {toml(value)}\n" for key, value in (defaults or {}).items())
        self.write("policy.toml", heading + "".join(
            f"[[rule]]\nid = {number}\nname = {toml(name)}\nwhen = {toml(when)}\nactions = {toml(actions)}\n"
            for number, (name, when, actions) in enumerate(rules, 10)))
        self.quzo("object", "import", "objects.toml", "-c", "quzo.ini")

    def write(self, name, text):
        with open(os.path.join(self.folder, name), "w", encoding="utf-8") as file:
            file.write(text)

    def put(self, name, text):
        with open(os.path.join(self.folder, "in", name + ".eml"), "wb") as file:
            file.write(text)

    def quzo(self, *arguments, wanted=0):
        run = subprocess.run([self.program, *arguments], cwd=self.folder, env=self.environment, capture_output=True,
                             text=True, timeout=540, check=False)
        check(run.returncode == wanted, f"{arguments[:8]}: exit code {run.returncode}: {run.stdout}{run.stderr}")
        return run.stdout

    def quzo_bytes(self, *arguments):
        return subprocess.run([self.program, *arguments], cwd=self.folder, env=self.environment, capture_output=True,
                              timeout=540, check=True).stdout

    def apply(self, *arguments, wanted=0):
        """Applies the policy to what was put; the reports by the names of the messages."""
        lines = self.quzo("apply", "-c", "quzo.ini", "-p", "policy.toml", "-o", "out", "--json", *arguments, "in",
                          wanted=wanted).splitlines()
        reports = map(json.loads, lines)
        return {os.path.basename(one["file"]).removesuffix(".eml"): one for one in reports}

    def delivered(self, name):
        """What goes on of a message."""
        with open(os.path.join(self.folder, "out", name + ".eml"), "rb") as file:
            return file.read()

    def run_queues(self, wanted=0):
        return self.quzo("queue", "run", "-c", "quzo.ini", "-p", "policy.toml", wanted=wanted)

    def waiting(self):
        """The entries of each queue that is not empty."""
        status = map(json.loads, self.quzo("queue", "status", "-c", "quzo.ini", "--json").splitlines())
        return {one["queue"]: one["entries"] for one in status if one["entries"] or one["unreadable"]}

    def check_log(self):
        with open(os.path.join(self.folder, "log"), "rb") as file:
            lines = file.read().split(b"\n")
        forged = [line for line in lines[:-1] if not LOG_LINE.fullmatch(line)]
        check(len(lines) > 1 and lines[-1] == b"" and not forged, f"lines of the log: {forged[:3]}")
