#!/usr/bin/env python3
"""Uses what `cmake --install` leaves as a stranger would.

usage: install_test.py PART BUILD WORK CMAKE COMPILER

WORK is a folder that the parts share. PART is

  install       installs below WORK, by prefix and by DESTDIR, and moves the result, so that a path of the build shows
  cmake         examples/library by find_package
  pkgconfig     examples/library by pkg-config, against the shared library
  program       the program: stripped, with the texts that lie beside it, no path of the sources in it
  readme        the commands of the README where the documents are installed
  subdirectory  examples/library by add_subdirectory: configured, and its build has all it needs

The exit code is 1 when something is wrong, with the reason.
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

HERE = Path(__file__).resolve().parent
SOURCE = HERE.parent.parent
MESSAGE = "Subject: hello\nX-Scanned: yes\n\nbody\n"


def run(command, **options):
    """The standard output of a command; ends the test when it fails."""
    result = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False, **options)
    if result.returncode != 0:
        sys.exit(f"exit code {result.returncode}: {' '.join(map(str, command))}\n{result.stdout}{result.stderr}")
    return result.stdout


def expect(holds, what):
    if not holds:
        sys.exit(f"FAILED: {what}")


def files_below(folder):
    return {path.relative_to(folder).as_posix() for path in folder.rglob("*") if not path.is_dir()}


class Place:
    """The build, and what is installed of it."""

    def __init__(self, build, work, cmake, compiler):
        self.build, self.work, self.cmake, self.compiler = Path(build), Path(work), cmake, compiler
        self.root = self.work / "moved"

    def find(self, pattern):
        """The one installed file that fits."""
        found = sorted(self.root.rglob(pattern))
        expect(len(found) == 1, f"{pattern} is installed {len(found)} times")
        return found[0]


def install(place):
    shutil.rmtree(place.work, ignore_errors=True)
    place.work.mkdir(parents=True)
    first = place.work / "first"
    run([place.cmake, "--install", place.build, "--prefix", first])
    first.rename(place.root)
    staged = place.work / "staged"
    run([place.cmake, "--install", place.build, "--prefix", "/opt/quzo"], env={**os.environ, "DESTDIR": str(staged)})
    expect(files_below(staged / "opt/quzo") == files_below(place.root), "DESTDIR installs something else")
    shutil.rmtree(staged)
    names = files_below(place.root)
    for name in ("bin/quzo", "include/quzo/quzo/core/action.h", "include/quzo/platform/message/mail_message.h",
                 "share/quzo/locale/de/texts.ini", "share/doc/quzo/LICENSE", "share/doc/quzo/docs/policy.md",
                 "share/doc/quzo/examples/policy.toml", "share/bash-completion/completions/quzo",
                 "share/zsh/site-functions/_quzo", "share/fish/vendor_completions.d/quzo.fish"):
        expect(name in names, f"{name} is not installed")
    public = {path.relative_to(SOURCE).as_posix() for path in (SOURCE / "quzo").rglob("*.h")}
    missing = public - {name.removeprefix("include/quzo/") for name in names}
    expect(not missing, f"headers of the library are not installed: {missing}")
    include = place.root / "include/quzo"
    for header in include.rglob("*.h"):
        for name in re.findall(r'^#include "(.*)"', header.read_text(encoding="utf-8"), re.M):
            expect((include / name).exists(), f"{header.relative_to(include)} includes {name}, which is not installed")
    for name in names:
        if name.endswith((".cmake", ".pc")):
            text = (place.root / name).read_text(encoding="utf-8")
            for path in (SOURCE, place.build, first):
                expect(str(path) not in text, f"{name} names {path}")


def configure(place, name, *options):
    folder = place.work / name
    shutil.rmtree(folder, ignore_errors=True)
    said = run([place.cmake, "-S", place.root / "share/doc/quzo/examples/library", "-B", folder, "-G", "Ninja",
                f"-DCMAKE_CXX_COMPILER={place.compiler}",
                f"-DCMAKE_PROJECT_program_INCLUDE={HERE}/check_project.cmake", *options])
    return folder, said


def cmake(place):
    folder, said = configure(place, "by-cmake", f"-DCMAKE_PREFIX_PATH={place.root}", "-DCMAKE_CXX_FLAGS=-Wall -Werror")
    expect(f"texts are in {place.root}/share/quzo/locale" in said, said)
    run([place.cmake, "--build", folder])
    expect(run([folder / "program"]) == MESSAGE, "the program writes another message")


def pkgconfig(place):
    folder = place.find("quzo-platform.pc").parent
    environment = {**os.environ, "PKG_CONFIG_PATH": str(folder)}
    flags = run(["pkg-config", "--cflags", "--libs", "quzo-platform"], env=environment).split()
    program = place.work / "by-pkg-config"
    run([place.compiler, "-std=c++20", SOURCE / "examples/library/program.cpp", "-o", program, *flags])
    linked = run(["ldd", program], env={**os.environ, "LD_LIBRARY_PATH": str(folder.parent)})
    expect(str(folder.parent / "libquzo.so") in linked, f"another libquzo.so:\n{linked}")
    said = subprocess.run([program], capture_output=True, text=True, check=False,
                          env={**os.environ, "LD_LIBRARY_PATH": str(folder.parent)})
    expect(said.returncode == 0 and said.stdout == MESSAGE, said)
    version = run(["pkg-config", "--modversion", "quzo"], env=environment).strip()
    expect(f"quzo {version} (" in said.stderr, f"pkg-config says {version}, the library {said.stderr}")


def program(place):
    quzo = place.root / "bin/quzo"
    expect("no symbols" in subprocess.run(["nm", quzo], capture_output=True, text=True, check=False).stderr,
           "the program is not stripped")
    expect(str(SOURCE).encode() not in quzo.read_bytes(), "the program contains a path of the sources")
    with tempfile.TemporaryDirectory(dir=place.work) as name:
        folder = Path(name)
        (folder / "quzo.ini").write_text("[general]\nlocale = de\n", encoding="utf-8")
        (folder / "policy.toml").write_text(
            '[[rule]]\nid = 1\nname = "r"\nwhen = { always = true }\n'
            'actions = [{ type = "tag-subject", tag = "[%DATE&TIME%] ", signed = false }]\n', encoding="utf-8")
        (folder / "m.eml").write_text("From: a@x.example\nTo: b@x.example\nSubject: s\n\n", encoding="utf-8")
        command = [quzo, "apply", "-c", "quzo.ini", "-p", "policy.toml", "m.eml"]
        expect(re.search(r"\[\d\d\.\d\d\.\d{4} ", run(command, cwd=folder)), "the date is not a German one")
        # The texts that the program reads are those beside it.
        texts = place.root / "share/quzo/locale/de/texts.ini"
        kept = texts.read_text(encoding="utf-8")
        texts.write_text(kept.replace("%d.%m.%Y", "day %d"), encoding="utf-8")
        said = run(command, cwd=folder)
        texts.write_text(kept, encoding="utf-8")
        expect("[day " in said, f"the program reads other texts:\n{said}")


def readme(place):
    with tempfile.TemporaryDirectory(dir=place.work) as name:
        folder = Path(name) / "doc"
        shutil.copytree(place.find("README.md").parent, folder)
        block = re.search(r"^## Using it$.*?^```$(.*?)^```$", (folder / "README.md").read_text(encoding="utf-8"), re.M | re.S)
        commands = [line for line in block[1].splitlines() if line.startswith("quzo ")]
        expect(len(commands) > 5, f"the README has other commands:\n{block[1]}")
        environment = {**os.environ, "PATH": f"{place.root / 'bin'}:{os.environ['PATH']}"}
        for command in commands:
            run(["bash", "-c", command], cwd=folder, env=environment)
        expect((folder / "new.eml").stat().st_size > 0 and list((folder / "out").rglob("*.eml")), "nothing was written")


def subdirectory(place):
    folder, said = configure(place, "by-subdirectory", f"-DQUZO_SOURCE={SOURCE}")
    expect(f"texts are in {SOURCE}/platform/config/locale" in said, said)
    run([place.cmake, "--build", folder, "--target", "program", "--", "-n"])
    expect(not (folder / "bin").exists() and not (folder / "quzo/quzo-config.cmake").exists(),
           "quzo writes into a project that uses it, or would be installed with it")


def main():
    parts = {"install": install, "cmake": cmake, "pkgconfig": pkgconfig, "program": program,
             "readme": readme, "subdirectory": subdirectory}
    parts[sys.argv[1]](Place(*sys.argv[2:6]))
    return 0


if __name__ == "__main__":
    sys.exit(main())
