#!/usr/bin/env python3
"""What a milter beside a real Postfix tells of a few messages: its figures, its health, and a line in the log for each.

    figures_test.py PROGRAM

Everything listens on 127.0.0.1 or on a socket in the test's folder, and ends with it. Without Postfix, or without being
root, it is skipped (77).
"""
import json
import os
import re
import signal
import smtplib
import sys
import tempfile
import urllib.error
import urllib.request

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "flow"))
from installation import FAULTS, Installation, check  # noqa: E402
from mail_server import MailServer  # noqa: E402
from milter_process import Milter  # noqa: E402
from postfix_instance import Postfix, free_port, missing, wait_until  # noqa: E402

RULES = (
    ("Tag", {"subject": "^tag"}, [{"type": "tag-subject", "tag": "[t] "}]),
    ("Gone", {"subject": "^gone"}, [{"type": "delete"}]),
    ("Move", {"subject": "^move"}, [{"type": "readdress", "to": ["new@in.example"]}]),
)
SUBJECTS = ("plain", "tag", "tag", "gone", "move")
MAIL = "From: a@out.example\r\nTo: b@in.example\r\nSubject: {}\r\n\r\nbody\r\n"
WANTED = {
    'quzo_messages_total{outcome="unchanged"}': 1, 'quzo_messages_total{outcome="modified"}': 2,
    'quzo_messages_total{outcome="consumed"}': 2, 'quzo_messages_total{outcome="deferred"}': 0,
    "quzo_message_seconds_count": 5, 'quzo_rescans_total{outcome="unchanged"}': 1,
    'quzo_actions_total{result="done",type="tag-subject"}': 2, 'quzo_actions_total{result="done",type="delete"}': 1,
    'quzo_queue_work_total{queue="scan",result="done"}': 1, 'quzo_queue_work_total{queue="outgoing",result="done"}': 1,
    'quzo_queue_entries{queue="outgoing"}': 0, "quzo_healthy": 1,
}


class Port:
    def __init__(self, number):
        self._place = f"http://127.0.0.1:{number}/"

    def ask(self, page):
        """The status and the text; status 0 as long as nobody listens."""
        try:
            with urllib.request.urlopen(self._place + page, timeout=60) as answer:
                return answer.status, answer.read().decode()
        except urllib.error.HTTPError as error:
            return error.code, error.read().decode()
        except OSError as error:
            return 0, str(error)

    def figures(self):
        lines = (line.rpartition(" ") for line in self.ask("metrics")[1].splitlines() if not line.startswith("#"))
        return {name: float(value) for name, _, value in lines}


def lines_of(installation):
    with open(os.path.join(installation.folder, "log"), encoding="utf-8") as file:
        return [json.loads(line.split("] message: ", 1)[1]) for line in file if "] message: " in line]


def check_log(lines):
    expected = sorted([("unchanged", []), ("modified", ["tag-subject"]), ("modified", ["tag-subject"]),
                       ("consumed", ["delete"]), ("consumed", ["readdress"]), ("unchanged", [])])
    check(sorted((one["outcome"], one["actions"]) for one in lines) == expected, f"lines: {lines}")
    for one in lines:
        name = "scan/[0-9A-Z]+" if one["to"] == ["new@in.example"] and one["actions"] == [] else "[0-9A-Za-z]{6,}"
        check(re.fullmatch(name, one["file"]) and one["error"] is None and one["ms"] >= 0, f"line: {one}")


def main():
    if reason := missing():
        print("SKIP:", reason)
        return 77
    with tempfile.TemporaryDirectory(prefix="quzo-live-") as folder, MailServer() as server:
        os.chmod(folder, 0o755)
        port = free_port()
        installation = Installation(
            os.path.abspath(sys.argv[1]), os.path.join(folder, "quzo"), {}, RULES, port=server.port,
            platform="log_messages = json\n",
            settings=f"[runner]\npoll = 1s\n[milter]\nfigures_address = 127.0.0.1:{port}\n")
        page = Port(port)
        with Milter(installation) as milter:
            wait_until(lambda: page.ask("health") == (200, "ok\n"))
            options = f"smtpd_milters = unix:{milter.socket}\nmilter_default_action = tempfail\n"
            with Postfix(os.path.join(folder, "postfix"), server.port, options) as postfix:
                with smtplib.SMTP("127.0.0.1", postfix.port, "client.example", timeout=60) as client:
                    for subject in SUBJECTS:
                        client.sendmail("a@out.example", ["b@in.example"], MAIL.format(subject))
                wait_until(lambda: len(server.mails) == 4)
            wait_until(lambda: page.figures().get('quzo_queue_work_total{queue="outgoing",result="done"}') == 1)
            figures = page.figures()
            for name, value in WANTED.items():
                check(figures.get(name) == value, f"{name} is {figures.get(name)}")
            check_log(lines_of(installation))

            with open(os.path.join(installation.folder, "policy.toml"), encoding="utf-8") as file:
                policy = file.read()
            for text, status, said in ((policy + "nonsense", 503, "not loaded anew: "), (policy, 200, "ok\n")):
                installation.write("policy.toml", text)
                milter.process.send_signal(signal.SIGUSR1)
                wait_until(lambda: page.ask("health")[0] == status)
                check(page.ask("health")[1].startswith(said), f"health: {page.ask('health')}")
            figures = page.figures()
            check(figures['quzo_reloads_total{result="failed"}'] == figures['quzo_reloads_total{result="done"}'] == 1,
                  f"reloads: {figures}")
    print(f"{len(SUBJECTS)} mails, {len(FAULTS)} faults")
    return 1 if FAULTS else 0


if __name__ == "__main__":
    sys.exit(main())
