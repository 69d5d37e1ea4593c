#!/usr/bin/env python3
"""What is installed for a service: the configuration that quzo comes with, and the units.

usage: shipped_test.py config|units PROGRAM BUILD

  config   quzo finds no fault in it, as it comes and with every rule that it offers as a comment; the address in it is
           the one that README.md tells Postfix
  units    systemd finds no fault in them, and puts their exposure at 2.0 at most; skipped (77) without systemd-analyze
"""
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

from first_screen import steps

SHIPPED = pathlib.Path(__file__).resolve().parents[2] / "packaging/config"
EXPOSURE = 20  # in tenths
COMMENTED = re.compile(r"^#(?=\[\[|\w+ = )", re.MULTILINE)


def run(*command, cwd=None):
    result = subprocess.run([str(word) for word in command], cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                            text=True, check=False)
    if result.returncode != 0:
        sys.exit(f"FAILED: {' '.join(map(str, command))}: exit code {result.returncode}\n{result.stdout}")
    return result.stdout


def config(program, _):
    program = pathlib.Path(program).resolve()
    said = run(program, "check", "-c", SHIPPED / "quzo.ini", "-p", SHIPPED / "policy.toml")
    if "0 rules" not in said:
        sys.exit("FAILED: the policy has rules as it comes: " + said)
    with tempfile.TemporaryDirectory() as folder:
        place = pathlib.Path(folder)
        policy = (SHIPPED / "policy.toml").read_text(encoding="utf-8")
        (place / "policy.toml").write_text(COMMENTED.sub("", policy), encoding="utf-8")
        # The places of the machine are not there; everything else is as it comes.
        settings = (SHIPPED / "quzo.ini").read_text(encoding="utf-8").replace("/var/lib/quzo/", folder + "/")
        (place / "quzo.ini").write_text(settings.replace("\n# next_hop", "\nnext_hop"), encoding="utf-8")
        for command in re.findall(r"quzo (object add .+)", policy):
            run("sh", "-c", f"'{program}' {command} -c quzo.ini", cwd=place)
        said = run(program, "check", "-c", "quzo.ini", "-p", "policy.toml", cwd=place)
        rules = policy.count("\n#[[rule]]")
        if rules < 2 or f"{rules} rules" not in said or "0 warnings" not in said:
            sys.exit(f"FAILED: {rules} rules are offered, and quzo check says: {said}")
    milter = next(text for kind, text in steps() if kind == "ini").split()[2]
    port, address = re.search(r"^socket = inet:(\d+)@(\S+)$", settings, re.MULTILINE).groups()
    if milter != f"inet:{address}:{port}":
        sys.exit(f"FAILED: README.md tells Postfix {milter}, and quzo listens at {address} port {port}")


def units(_, build):
    if not shutil.which("systemd-analyze"):
        print("skipped: no systemd-analyze")
        sys.exit(77)
    found = sorted(pathlib.Path(build, "packaging").glob("quzo-*.service"))
    if len(found) != 3:
        sys.exit(f"FAILED: the units are {found}")
    for unit in found:
        run("systemd-analyze", "security", "--offline=yes", f"--threshold={EXPOSURE}", unit)
    # The program and the pages are not installed here, which it would mind.
    with tempfile.TemporaryDirectory() as folder:
        for unit in [*found, found[0].parent / "quzo-expire.timer"]:
            text = re.sub(r"^Documentation=.*\n", "", unit.read_text(encoding="utf-8"), flags=re.MULTILINE)
            pathlib.Path(folder, unit.name).write_text(re.sub(r"=\S+/bin/quzo", "=/bin/true", text), encoding="utf-8")
        said = run("systemd-analyze", "verify", *sorted(pathlib.Path(folder).iterdir()))
        faults = [line for line in said.splitlines() if "quzo" in line]
        if faults:
            sys.exit("FAILED: " + "\n".join(faults))


if __name__ == "__main__":
    {"config": config, "units": units}[sys.argv[1]](*sys.argv[2:])
