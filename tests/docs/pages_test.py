#!/usr/bin/env python3
"""Holds the manual pages against what the program says of itself: everything is in its place, and nothing else is.

usage: pages_test.py PART PROGRAM PAGES

PROGRAM is quzo, PAGES the folder with man1, man5 and so on. PART is

  commands    each command has its page, its lines in SYNOPSIS, and its options
  settings    sections and keys of quzo.ini
  policy      keys, conditions, actions with their fields, and tokens of a policy
  exit_codes  those of the program, and those that the help on each command tells
  examples    command lines are ones that the program takes, settings and policies are without fault
  reading     no page has a warning of groff, and apropos finds each

The exit code is 1 with a line for each fault, and 77 when there are no pages since the build had no scdoc.
"""

import json
import os
import re
import shlex
import subprocess
import sys
import tempfile
from pathlib import Path

GENERAL = {"-h", "--help"}  # of every command; quzo(1) has them


def plain(line):
    """A line of a page as it is read."""
    for sign, meaning in (("\\-", "-"), ("\\(aq", "'"), ("\\(ti", "~"), ("\\(ha", "^"), ("\\(ga", "`"), ("\\&", "")):
        line = line.replace(sign, meaning)
    return re.sub(r"\\f.", "", line).replace("\\\\", "\\")


def bold(line):
    """The words of a line that are bold."""
    return [plain(word) for word in re.findall(r"\\fB(.*?)\\fR", line)]


class Page:
    """A page as scripts/make_pages writes it."""

    def __init__(self, path):
        self.path, self.name, self.section = path, path.stem, int(path.suffix[1:])
        parts = re.split(r"^\.SH (.*)\n", path.read_text(encoding="utf-8"), flags=re.M)
        self.sections = dict(zip(parts[1::2], (part.split("\n") for part in parts[2::2])))

    def lists(self, title):
        """The lists of terms in a section: of each the pairs of term and first line below it."""
        found, depth, code = [[]], 0, False
        lines = self.sections.get(title, [])
        for line, following, body in zip(lines, lines[1:] + [""], lines[2:] + ["", ""]):
            code = line == ".nf" or code and line != ".fi"
            if line and not line.startswith((".", "\\h")) and depth == 0 and not code:
                if following == ".RS 4":
                    found[-1].append((line, body))
                elif found[-1]:
                    found.append([])
            depth += line.startswith(".RS") - (line == ".RE")
        return found

    def terms_with_bodies(self, title):
        return [pair for terms in self.lists(title) for pair in terms]

    def terms(self, title):
        return [term for term, _ in self.terms_with_bodies(title)]

    def options(self, *titles):
        """Each option that these sections tell of: its name, and whether it takes a value."""
        words = [word for title in titles for term in self.terms(title) for word in re.split(r", (?=-)", plain(term))]
        values = {word.split()[0]: " " in word for word in words if word.startswith("-")}
        for term in (term for title in titles for term in self.terms(title)):
            names = [word.split()[0] for word in bold(term) if word.startswith("-")]
            if len(names) == 2 and len(names[0]) == 2:  # -c, --config FILE
                values[names[0]] = values[names[1]]
        return values

    def synopsis(self):
        lines = [line for line in self.sections["SYNOPSIS"] if line and not line.startswith(".")]
        return [plain(line) for line in lines]

    def code(self, *titles):
        """The blocks of code, of all sections when none is named."""
        text = "\n".join(line for title in titles or self.sections for line in self.sections[title])
        return [plain(block) for block in re.findall(r"^\.nf\n\.RS \d+\n(.*?)\n\.fi$", text, re.M | re.S)]


class Test:
    def __init__(self, program, pages):
        self.program, self.faults = program, []
        paths = sorted(Path(pages).glob("man?/*"))
        self.pages = {path.stem: Page(path) for path in paths}
        self.known = json.loads(self.run("help", "--json").stdout)
        self.commands = {command["name"]: command for command in self.known["commands"]}

    def run(self, *words):
        return subprocess.run([self.program, *words], capture_output=True, text=True, check=False)

    def settings(self):
        """Section and key of each, whatever this machine has set."""
        result = self.run("config", "show", "-c", "/dev/null", "--json")
        return [json.loads(line) for line in result.stdout.splitlines()]

    def same(self, where, told, known):
        """A fault for each that is told and not known, or known and not told."""
        told, known = set(told), set(known)
        self.faults += [f"{where}: {each} is told of, and the program does not know it" for each in told - known]
        self.faults += [f"{where}: {each} is missing" for each in known - told]

    def expect(self, holds, fault):
        if not holds:
            self.faults.append(fault)

    def on_page(self, page):
        """The commands whose page it is."""
        return {name: each for name, each in self.commands.items() if each["page"] == page}

    # --- parts

    def part_commands(self):
        places = {(each["page"], each["section"]) for each in self.known["commands"] + self.known["topics"]}
        self.same("the pages", {(page.name, page.section) for page in self.pages.values()}, places)
        topics = [(word, plain(body)) for term, body in self.pages["quzo-help"].terms_with_bodies("TOPICS")
                  for word in bold(term)]
        self.same("quzo-help: TOPICS", topics, [(each["name"], f"its page: {each['page']}({each['section']})")
                                               for each in self.known["topics"]])
        below = {}
        for name in filter(None, self.commands):
            below.setdefault(name.rpartition(" ")[0], set()).add(name)
        self.same("quzo: COMMANDS", map(plain, self.pages["quzo"].terms("COMMANDS")),
                  {f"quzo {name}" for name in below[""]})
        for name, page in self.pages.items():
            own = self.on_page(name)
            if not own:
                continue
            told = page.options("OPTIONS", "CONDITIONS", "FIELDS")
            known = {option: bool(each["value"]) for command in own.values() for each in command["options"]
                     for option in each["names"] if option not in GENERAL or name == "quzo"}
            self.same(f"{name}: options, and whether they take a value", told.items(), known.items())
            if "COMMANDS" in page.sections and name != "quzo":
                top = next(iter(own))
                self.same(f"{name}: COMMANDS", (f"{top} {plain(term)}" for term in page.terms("COMMANDS")), below[top])
            self.check_synopsis(page, own)

    def check_synopsis(self, page, own):
        found = {}
        for line in page.synopsis():
            words = re.match(r"quzo((?: [a-z]+)*)", line)[1].strip()
            found.setdefault(words, []).append(line)
        needed = {name for name, each in own.items() if each["arguments"] or len(each["options"]) > 1
                  or not any(other.startswith(name + " ") for other in own)}
        self.same(f"{page.name}: SYNOPSIS", set(found) - {""}, needed - {""})
        for name, lines in found.items():
            command = self.commands.get(name)
            if command is None or name == "":
                continue
            text = " ".join(lines)
            told = set(re.findall(r"(?<![\w-])--?[a-z][\w-]*", text))
            for word, title in (("CONDITION", "CONDITIONS"), ("FIELD", "FIELDS")):
                told |= set(page.options(title)) if word in text else set()
            ways = [set(each["names"]) for each in command["options"]]
            where = f"{page.name}: SYNOPSIS: quzo {name}"
            self.same(where, told - {each for way in ways for each in way}, [])
            self.same(where, [], [min(way) for way in ways if not way & (told | GENERAL)])
            rest = re.sub(r"(?<![\w-])--?[a-z][\w-]*( [A-Z=]+)?|\b(CONDITION|FIELD)\b", "", text)
            arguments = {word for each in command["arguments"] for word in re.findall(r"[A-Z]+", each["name"])}
            self.same(where, re.findall(r"[A-Z]+", rest), arguments)

    def part_settings(self):
        page = self.pages["quzo.ini"]
        told = {(title, plain(term)) for title in page.sections if title.startswith("[") for term in page.terms(title)}
        self.same("quzo.ini", told, {(f"[{each['section']}]", each["key"]) for each in self.settings()})

    def part_policy(self):
        page = self.pages["policy.toml"]
        text = "\n".join(page.sections["DEFAULTS"] + page.sections["RULES"])
        self.same("policy.toml: tables", re.findall(r"^Keys of .*\\fB\[+(\w+)\]+\\fR", text, re.M),
                  self.known["policy_keys"])
        self.same("policy.toml: DEFAULTS", map(plain, page.terms("DEFAULTS")), self.known["default_keys"])
        self.same("policy.toml: RULES", map(plain, page.terms("RULES")), self.known["rule_keys"])
        self.same("policy.toml: CONDITIONS", [word.split(" =")[0] for term in page.terms("CONDITIONS") for word in
                  plain(term).split(", ") if " =" in word], {each["name"] for each in self.known["conditions"]})
        actions, keys, *_ = page.lists("ACTIONS")
        told = {kind: bold(body) if body.startswith("\\fIfields") else []
                for term, body in actions for kind in bold(term)}
        known = {each["type"]: each["fields"] for each in self.known["actions"]}
        self.same("policy.toml: ACTIONS", told, known)
        for kind in set(told) & set(known):
            self.same(f"policy.toml: ACTIONS: {kind}", told[kind], known[kind])
        self.same("policy.toml: ACTIONS: keys", (plain(term) for term, _ in keys), self.known["action_keys"])
        tokens = [json.loads(line)["name"] for line in self.run("tokens", "--json").stdout.splitlines()]
        self.same("policy.toml: TOKENS", [word for term in page.terms("TOKENS") for word in bold(term)], tokens)

    def part_exit_codes(self):
        for name, page in self.pages.items():
            if own := self.on_page(name):
                told = re.findall(r"^\\fB(\d+)\\fR$", "\n".join(page.sections["EXIT STATUS"]), re.M)
                known = {str(each["code"]) for each in self.known["exit_codes"]}
                if name != "quzo":
                    helps = [self.run(*command.split(), "--help").stdout for command in own]
                    texts = [match[1] for text in helps for match in re.finditer(r"Exit codes: ((?:.+\n)*)", text)]
                    self.expect(texts, f"{name}: the help tells no exit codes")
                    known = {code for text in texts for code in re.findall(r"(?:^|[,.]\s)(\d+)(?=\s)", text)}
                self.same(f"{name}: EXIT STATUS", told, known)

    def part_examples(self):
        lines = [line for page in self.pages.values() for block in page.code()
                 for line in re.sub(r"\\\n", "", block).split("\n") if re.match(r"(\$ )?quzo [a-z-]", line)]
        self.expect(len(lines) > 50, f"there are {len(lines)} command lines")
        for line in lines:
            reader = shlex.shlex(line.removeprefix("$ "), posix=True, punctuation_chars=True)
            reader.whitespace_split = True
            words = list(reader)
            while words:
                ends = (at for at, word in enumerate(words) if word in ("|", "||", "&&", ";", "<", ">"))
                end = next(ends, len(words))
                if words[0] == "quzo":
                    self.check_line(line, words[1:end])
                words = words[end + 1:]
        sections = {each["section"] for each in self.settings()}
        settings = [block for page in self.pages.values() for block in page.code()
                    if (match := re.match(r"\[(.*)\]\n", block)) and match[1] in sections]
        self.expect(len(settings) > 5, f"there are {len(settings)} blocks of settings")
        for text in settings:
            self.check_file(text, "config", "show", "-c")
        for text in self.pages["policy.toml"].code("DESCRIPTION", "EXAMPLES"):
            self.check_file(text, "check", "-p")

    def check_line(self, line, words):
        """A command line, without the word quzo, has options and arguments that there are."""
        name = ""
        while words and f"{name} {words[0]}".strip() in self.commands:
            name = f"{name} {words.pop(0)}".strip()
        command, count = self.commands[name], 0
        values = {option: bool(each["value"]) for each in command["options"] for option in each["names"]}
        while words:
            word, _, value = words.pop(0).partition("=")
            if word == "--":
                words, count = [], count + len(words)
            elif not word.startswith("-") or word == "-":
                count += 1
            elif word not in values:
                self.faults.append(f"{line}: {name} has no {word}")
            elif values[word] and not value:
                self.expect(words, f"{line}: {word} wants a value")
                words = words[1:]
        arguments = command["arguments"]
        least, most = sum(each["required"] for each in arguments), len(arguments)
        many = any(each["many"] for each in arguments)
        self.expect(least <= count and (many or count <= most), f"{line}: {count} arguments of {name or 'quzo'}")

    def check_file(self, text, *command):
        with tempfile.NamedTemporaryFile("w", encoding="utf-8") as file:
            file.write(text + "\n")
            file.flush()
            result = self.run(*command, file.name)
            self.expect(result.returncode == 0 and not result.stderr, f"{text}\n{result.stderr}")

    def part_reading(self):
        environment = os.environ | {"MANWIDTH": "80", "LC_ALL": "C.UTF-8"}
        for page in self.pages.values():
            for command in (["man", "--warnings=w", "-l"], ["lexgrog"]):
                result = subprocess.run([*command, page.path], capture_output=True, text=True, check=False,
                                        env=environment)
                self.expect(result.returncode == 0 and result.stdout and not result.stderr,
                            f"{page.name}: {command[0]}: {result.stderr or result.stdout}")
            titles = list(page.sections)
            wanted = ["NAME", "SYNOPSIS", "DESCRIPTION"] if page.section != 7 else ["NAME", "DESCRIPTION"]
            wanted += ["EXAMPLES", "EXIT STATUS"] if self.on_page(page.name) else []
            self.expect(not set(wanted) - set(titles), f"{page.name}: it lacks {set(wanted) - set(titles)}")
            self.expect((titles[0], titles[-1]) == ("NAME", "SEE ALSO"), f"{page.name}: wrong order of sections")


def main():
    part, program, pages = sys.argv[1:]
    if not Path(pages).is_dir():
        print("skipped: there are no manual pages: they need scdoc")
        sys.exit(77)
    test = Test(program, pages)
    getattr(test, f"part_{part}")()
    sys.exit("\n".join(sorted(test.faults)) if test.faults else 0)


if __name__ == "__main__":
    main()
