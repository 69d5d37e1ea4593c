#!/usr/bin/env python3
"""Uses what `cmake --install` leaves as a stranger would.

usage: install_test.py PART BUILD WORK CMAKE COMPILER

WORK is a folder that the parts share. PART is

  install       installs below WORK, by prefix and by DESTDIR, and moves the result, so that a path of the build shows
  headers       those that docs/library.md names, with what they include, and no others; each compiles alone
  cmake         the programs of examples/library by find_package
  pkgconfig     the same by pkg-config, against the shared library and against the archive
  boundary      what C++ does between libquzo.so and a program (boundary.cpp)
  program       the program: stripped, with the texts that lie beside it, no path of the sources in it
  readme        the commands of the README where the documents are installed
  subdirectory  examples/library/host by add_subdirectory: configured, and its build has all it needs

The exit code is 1 when something is wrong, with the reason.
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

HERE = Path(__file__).resolve().parent
SOURCE = HERE.parent.parent
MESSAGE = "From: a@example.org\nSubject: hello\n\nbody\n"


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
    pages = {f"share/man/{name}" for name in files_below(place.build / "share/man") if re.match(r"man\d/.*\d$", name)}
    expect({name for name in names if name.startswith("share/man/")} == pages, "the manual pages are not installed")
    for name in names:
        if name.endswith((".cmake", ".pc")):
            text = (place.root / name).read_text(encoding="utf-8")
            for path in (SOURCE, place.build, first):
                expect(str(path) not in text, f"{name} names {path}")


def included(root, names):
    """The headers, and all of ours that they include."""
    seen = set()
    names = list(names)
    while names:
        name = names.pop()
        if name not in seen:
            seen.add(name)
            expect((root / name).exists(), f"{name} is not there")
            names += re.findall(r'^#include "(.*)"', (root / name).read_text(encoding="utf-8"), re.M)
    return seen


def headers(place):
    document = (SOURCE / "docs/library.md").read_text(encoding="utf-8")
    section = re.search(r"^## Headers$(.*?)^## ", document, re.M | re.S)[1]
    named = {path.relative_to(SOURCE).as_posix() for pattern in re.findall(r"`((?:quzo|platform)/\S+\.h)`", section)
             for path in SOURCE.glob(pattern)}
    include = place.root / "include/quzo"
    installed = files_below(include)
    expect(installed == included(SOURCE, named),
           f"not the headers of docs/library.md: {sorted(installed ^ included(SOURCE, named))}")

    # The build's compiler takes each alone, clang++ all of them, either way round: what it likes to warn of.
    launcher = [path for path in [shutil.which("ccache")] if path]
    folder = place.work / "headers"
    folder.mkdir(exist_ok=True)
    order = sorted(installed)
    jobs = [(place.compiler, [name]) for name in order]
    jobs += [("clang++", names) for names in (order, order[::-1]) if shutil.which("clang++")]

    def compile_them(job):
        compiler, names = job
        source = folder / f"{names[0].replace('/', '-')}-{len(names)}.cpp"
        source.write_text("".join(f'#include "{name}"\n' for name in names), encoding="utf-8")
        return subprocess.run([*launcher, compiler, "-std=c++20", "-Wall", "-Wextra", "-Werror", f"-I{include}",
                               "-c", source, "-o", source.with_suffix(".o")],
                              capture_output=True, text=True, check=False)

    with ThreadPoolExecutor(os.cpu_count()) as pool:
        for job, result in zip(jobs, pool.map(compile_them, jobs)):
            expect(result.returncode == 0, f"{job} does not compile:\n{result.stderr}")


def consume(place, how):
    """Has the tests of libquzo-dev build and run the examples; the folder with the programs, and what was said."""
    folder = place.work / f"by-{how}"
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir()
    libraries = place.find("libquzo.so").parent
    said = run([SOURCE / "packaging/debian/tests" / f"consumer-{how}"], env={
        **os.environ, "AUTOPKGTEST_TMP": str(folder), "QUZO_EXAMPLES": str(place.find("examples/library")),
        "CMAKE_PREFIX_PATH": str(place.root), "CMAKE_GENERATOR": "Ninja", "CXX": place.compiler,
        "CXXFLAGS": "-Wall -Wextra -Werror", "PKG_CONFIG_PATH": str(libraries / "pkgconfig"),
        "LD_LIBRARY_PATH": str(libraries)})
    return folder, said


def cmake(place):
    folder, said = consume(place, "cmake")
    expect(f"texts are in {place.root}/share/quzo/locale" in said, said)
    expect("libquzo" not in run(["ldd", folder / "static/platform"]), "quzo::quzo is not the archive")
    held = run([folder / "host/host", "spool"], input=f"List-Id: <a.example>\n{MESSAGE}", cwd=folder)
    expect(held == "" and list((folder / "spool").rglob("*.DF")), f"the host keeps no message: {held}")
    wrong_requests(place)


def wrong_requests(place):
    """What find_package says when it cannot give what is asked for."""
    project = place.work / "wrong"
    project.mkdir(exist_ok=True)
    hidden = "set(CMAKE_DISABLE_FIND_PACKAGE_spdlog TRUE)\n"
    no_soci = 'set(quzo_SOCI_CORE "")\n'
    for before, words, answer in (("", "2.0", "version: 1."), ("", "1.0 COMPONENTS plugin", "no component \"plugin\""),
                                  (hidden, "1.0", "spdlog"), (hidden, "1.0 COMPONENTS library", None),
                                  (no_soci, "1.0", "soci_core")):
        (project / "CMakeLists.txt").write_text(
            "cmake_minimum_required(VERSION 3.25)\nproject(wrong LANGUAGES CXX)\n"
            f"{before}find_package(quzo {words} REQUIRED)\n", encoding="utf-8")
        shutil.rmtree(project / "build", ignore_errors=True)
        result = subprocess.run([place.cmake, "-S", project, "-B", project / "build", "-G", "Ninja",
                                 f"-DCMAKE_CXX_COMPILER={place.compiler}", f"-DCMAKE_PREFIX_PATH={place.root}",
                                 f"-DCMAKE_PROJECT_wrong_INCLUDE={HERE}/check_project.cmake"],
                                capture_output=True, text=True, check=False)
        expect((result.returncode == 0) == (answer is None) and (answer or "") in result.stderr,
               f"find_package(quzo {words}): {result.stdout}{result.stderr}")


def flags_of(place, package, *options):
    environment = {**os.environ, "PKG_CONFIG_PATH": str(place.find(f"{package}.pc").parent)}
    return run(["pkg-config", "--cflags", "--libs", *options, package], env=environment).split()


def pkgconfig(place):
    libraries = place.find("libquzo.so").parent
    environment = {**os.environ, "LD_LIBRARY_PATH": str(libraries)}
    version = re.search(r"project\(quzo VERSION (\S+)", (SOURCE / "CMakeLists.txt").read_text(encoding="utf-8"))[1]
    folder, _ = consume(place, "pkgconfig")
    for name in ("action", "platform", "host"):
        linked = run(["ldd", folder / name / name], env=environment)
        expect(f"libquzo.so.{version.split('.')[0]} => {libraries}/" in linked, f"another libquzo.so:\n{linked}")
        example = place.find("examples/library") / name
        comment = (example / "CMakeLists.txt").read_text(encoding="utf-8").split("cmake_")[0]
        expect(all(source.name in comment for source in example.glob("*.cpp")),
               f"{name} has another command in its opening comment")
    for package in ("quzo", "quzo-platform"):
        text = place.find(f"{package}.pc").read_text(encoding="utf-8")
        expect(f"Version: {version}\n" in text, f"{package}.pc has another version")
    said = subprocess.run([folder / "host/host", "spool"], input=MESSAGE, capture_output=True, text=True, check=False,
                          env=environment, cwd=folder)
    expect(f"quzo {version} (" in said.stderr, f"the library is not {version}: {said.stderr}")
    # What --static adds is enough for the archive.
    flags = [flag.replace("-lquzo", "-l:libquzo.a") for flag in flags_of(place, "quzo", "--static")]
    sources = (place.find("examples/library") / "platform").glob("*.cpp")
    run([place.compiler, "-std=c++20", *sources, "-o", folder / "static", *flags])
    expect("[own] hello" in run([folder / "static", "[own] "], input=MESSAGE), "the archive tags nothing")


def boundary(place):
    program_file = place.work / "boundary"
    run([place.compiler, "-std=c++20", "-Wall", "-Wextra", "-Werror", "-fvisibility=hidden",
         "-fvisibility-inlines-hidden", HERE / "boundary.cpp", "-o", program_file,
         *flags_of(place, "quzo-platform")])
    libraries = place.find("libquzo.so").parent
    run([program_file], env={**os.environ, "LD_LIBRARY_PATH": str(libraries)})


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
        text = (folder / "README.md").read_text(encoding="utf-8")
        block = re.search(r"^## Using it$.*?^```$(.*?)^```$", text, re.M | re.S)
        commands = [line for line in block[1].splitlines() if line.startswith("quzo ")]
        expect(len(commands) > 5, f"the README has other commands:\n{block[1]}")
        environment = {**os.environ, "PATH": f"{place.root / 'bin'}:{os.environ['PATH']}"}
        for command in commands:
            run(["bash", "-c", command], cwd=folder, env=environment)
        expect((folder / "new.eml").stat().st_size > 0 and list((folder / "out").rglob("*.eml")), "nothing was written")


def subdirectory(place):
    folder = place.work / "by-subdirectory"
    shutil.rmtree(folder, ignore_errors=True)
    said = run([place.cmake, "-S", place.find("examples/library") / "host", "-B", folder, "-G", "Ninja",
                f"-DCMAKE_CXX_COMPILER={place.compiler}", f"-DQUZO_SOURCE={SOURCE}",
                f"-DCMAKE_PROJECT_host_INCLUDE={HERE}/check_project.cmake"])
    expect(f"texts are in {SOURCE}/platform/config/locale" in said, said)
    run([place.cmake, "--build", folder, "--target", "host", "--", "-n"])
    expect(not (folder / "bin").exists() and not (folder / "quzo/quzo-config.cmake").exists(),
           "quzo writes into a project that uses it, or would be installed with it")


def main():
    parts = {"install": install, "headers": headers, "cmake": cmake, "pkgconfig": pkgconfig, "boundary": boundary,
             "program": program, "readme": readme, "subdirectory": subdirectory}
    parts[sys.argv[1]](Place(*sys.argv[2:6]))
    return 0


if __name__ == "__main__":
    sys.exit(main())
