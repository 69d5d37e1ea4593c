"""Sources of scdoc, made of sections of documents."""

import os
import re

from pages.documents import below

TERMS = {"option", "key", "condition", "type", "token", "command", "name"}  # first columns of lists of terms
PLAIN = {"meaning", "what it does", "what it is", "value", "holds when"}  # last columns that need no label
TITLES = {"Exit codes": "EXIT STATUS", "All exit codes": "EXIT STATUS"}
ORDER = ["COMMANDS", "OPTIONS", None, "EXIT STATUS", "ENVIRONMENT", "FILES", "EXAMPLES"]  # None: all others
INLINE = re.compile(r"\\(?P<escape>.)|`(?P<code>[^`]+)`|\[(?P<text>(?:\\.|[^\]\\])*)\]\((?P<target>[^)\s]+)\)"
                    r"|\*\*(?P<strong>[^*]+)\*\*|\*(?P<emphasis>[^*]+)\*")
PLACEHOLDER = re.compile(r"(?<![\w%$.-])[A-Z][A-Z]*(?:[|][A-Z]+)?(?![\w%=-])")


class Fault(Exception):
    """What is wrong with a document or the list of pages, for people."""


class Page:
    """A row of packaging/pages.toml, with the sections that it names."""

    def __init__(self, row, sections):
        self.row = row
        self.name, self.number = row["name"], row["section"]
        for name in row["main"] + row.get("more", []):
            if name not in sections:
                raise Fault(f"packaging/pages.toml: {self.name}: there is no {name}")
        self.main = [sections[name] for name in row["main"]]
        self.more = [sections[name] for name in row.get("more", [])]

    def owned(self):
        """The names of all sections that are in the page."""
        for section in self.main:
            yield section.name
            # Those of a whole document are named one by one.
            for child in section.children if section.level > 1 else []:
                yield from (inner.name for inner in below(child))
        for section in self.more:
            yield from (inner.name for inner in below(section))

    @property
    def reference(self):
        return f"*{self.name}*({self.number})"


class Maker:
    """Writes scdoc sources."""

    def __init__(self, pages, sections, docs, docdir):
        self.pages, self.sections, self.docs, self.docdir = pages, sections, docs, docdir
        self.homes = {}
        for page in pages:
            for name in page.owned():
                self.homes.setdefault(name, page)
        self.page, self.document = None, ""

    def summary(self, page):
        """The line of NAME: the list's own, or that of the command in the first table of cli.md."""
        if "summary" in page.row:
            return page.row["summary"]
        rows = next(block[1] for block in self.sections["cli.md#commands"].blocks if block[0] == "table")
        for command, meaning in rows:
            if command == f"`{page.name.replace('-', ' ')}`":
                return re.sub(r"`([^`]+)`", r"\1", re.split(r"[:;,] ", meaning)[0])
        raise Fault(f"docs/cli.md: the table of commands has no {page.name}")

    @staticmethod
    def plain(text):
        """Text that means itself to scdoc."""
        return re.sub(r"([\\*_`])", r"\\\1", text).replace("++", "+\\+")

    def code(self, text, term=False):
        """Bold; in terms with the words to be replaced underlined."""
        parts, end = [], 0
        for match in PLACEHOLDER.finditer(text) if term else []:
            parts += [(text[end:match.start()], "*"), (match[0], "_")]
            end = match.end()
        parts.append((text[end:], "*"))
        shown = ""
        for part, mark in parts:
            inner = part.strip()
            if inner:
                left, right = part[:len(part) - len(part.lstrip())], part[len(part.rstrip()):]
                shown += f"{left}{mark}{self.plain(inner)}{mark}{right}"
            else:
                shown += part
        return shown

    def link(self, text, target):
        """What stands in a page for a link."""
        if "://" in target:
            return f"{self.inline(text)} ({self.plain(target)})"
        path, _, anchor = target.partition("#")
        document = path or self.document
        if document not in self.sections:
            if not (self.docs / document).exists():
                raise Fault(f"docs/{self.document}: a link to {target}, which is not there")
            place = os.path.normpath(os.path.join("docs", document))
            return self.code(f"{self.docdir}/{place}")
        name = f"{document}#{anchor}" if anchor else document
        if name not in self.sections:
            raise Fault(f"docs/{self.document}: a link to {target}, which is not there")
        home = self.homes[name]
        if home is self.page:
            return f"_{self.plain(self.title(self.sections[name]))}_" if text == document else self.inline(text)
        return home.reference if text.endswith(".md") else f"{self.inline(text)} ({home.reference})"

    def inline(self, text, term=False):
        shown, end = "", 0
        for match in INLINE.finditer(text):
            shown += self.plain(text[end:match.start()])
            end = match.end()
            if match["escape"]:
                shown += self.plain(match["escape"])
            elif match["code"]:
                shown += self.code(match["code"], term)
            elif match["target"]:
                shown += self.link(match["text"], match["target"])
            elif match["strong"]:
                shown += f"*{self.plain(match['strong'].replace('`', ''))}*"
            else:
                shown += f"_{self.plain(match['emphasis'])}_"
        return shown + self.plain(text[end:])

    @staticmethod
    def guarded(line):
        """A line that scdoc does not take for a list, a table or a heading, and groff not for a request."""
        if line.startswith("."):
            return "**" + line
        return "\\" + line if re.match(r"[#\-|\[\];:]", line) else line

    @staticmethod
    def visible_width(text):
        return len(re.sub(r"[`*\\]|\]\([^)]*\)|\[", "", text))

    def table(self, rows):
        head, body = rows[0], rows[1:]
        codes = head[0] in ("code", "exit code")
        if len(head) != 2 or head[0] in TERMS or not codes and max(self.visible_width(row[0]) for row in rows) > 20:
            for row in body:
                yield from self.term(head, row)
        else:
            yield from self.grid([] if codes else [head], body, codes)

    def grid(self, head, body, bold):
        """A table of scdoc, of two columns."""
        rows = [[f"*{self.plain(cell)}*" for cell in row] for row in head]
        rows += [[f"*{row[0]}*" if bold else self.inline(row[0]), self.inline(row[1])] for row in body]
        for left, right in rows:
            yield from [f"|[ {left}", f":[ {right}".rstrip()]
        yield ""

    def term(self, head, row):
        """A row as a term with its text below: the cells between them first, with their labels."""
        yield self.guarded(self.inline(row[0], term=True) or "_(none)_")
        last = len(row) - 1
        labelled = [f"_{self.plain(head[column])}:_ {self.inline(row[column])}"
                    for column in range(1, last) if row[column]]
        if row[last] and head[last] not in PLAIN:
            lines = labelled + [f"_{self.plain(head[last])}:_ {self.inline(row[last])}"]
        else:
            lines = ["; ".join(labelled)] if labelled else []
            lines += [self.guarded(self.inline(row[last]))] if row[last] else []
        yield "\t" + "++\n".join(lines)
        yield ""

    def block(self, kind, *content):
        if kind == "code":
            yield "```"
            yield from (line.replace("\\", "\\\\") for line in content[0])
            yield from ["```", ""]
        elif kind == "table":
            yield from self.table(content[0])
        elif kind == "list":
            numbered, items = content
            yield from (f"{'.' if numbered else '-'} {self.inline(item)}" for item in items)
            yield ""
        else:
            yield from [self.guarded(self.inline(content[0])), ""]

    def synopsis(self, lines):
        """Lines of a block of code as running text; those that are indented go on with the line before."""
        joined = re.sub(r"\n +", " ", "\n".join(lines)).split("\n")
        shown = []
        for line in joined:
            words = re.sub(r"(?<![\w%-])[a-z-][\w./-]*", lambda match: f"`{match[0]}`", line)
            words = re.sub(r"[A-Z][A-Z]*(?:=[A-Z]+)?(?:[|][A-Z]+)?", lambda match: f"*{match[0]}*", words)
            shown.append(self.guarded(self.inline(words.replace("` `", " "))))
        return "++\n".join(shown)

    @staticmethod
    def title(section):
        if section.title.startswith("["):
            return section.title
        return TITLES.get(section.title, section.title.replace("`", "").upper())

    def body(self, section, depth):
        """A section's blocks, and those below it as subsections."""
        self.document = section.document
        for block in section.blocks:
            yield from self.block(*block)
        for child in section.children if depth else []:
            yield from [f"## {child.title.replace('`', '')}", ""]
            yield from self.body(child, 0)

    def page_sections(self):
        """Titles and lines of the sections behind NAME, as they come."""
        text, further = [], []
        for position, section in enumerate(self.page.main):
            blocks = list(section.blocks)
            self.document = section.document
            if position == 0 and (first := next((block for block in blocks if block[0] == "code"), None)) \
                    and self.page.row.get("synopsis", True) is True:
                yield "SYNOPSIS", [self.synopsis(first[1]), ""]
                blocks.remove(first)
            text += [line for block in blocks for line in self.block(*block)]
            further += section.children if section.level > 1 else []
        yield "DESCRIPTION", text
        for section in further + self.page.more:
            yield self.title(section), list(self.body(section, 1))

    def source(self, page, version):
        """The scdoc source of a page."""
        self.page = page
        lines = [f'{page.name}({page.number}) "quzo {version}"', "", "# NAME", "",
                 f"{page.name} - {self.plain(self.summary(page))}", ""]
        if isinstance(page.row.get("synopsis"), str):
            lines += ["# SYNOPSIS", "", self.code(page.row["synopsis"]), ""]
        found = list(self.page_sections())
        rank = {title: position for position, title in enumerate(ORDER)}
        head = [entry for entry in found if entry[0] in ("SYNOPSIS", "DESCRIPTION")]
        rest = sorted((entry for entry in found if entry not in head), key=lambda entry: rank.get(entry[0], rank[None]))
        for title, body in head + rest:
            lines += [f"# {title}", "", *body]
        lines += ["# SEE ALSO", "", ", ".join(self.see_also(page))]
        return "\n".join(lines) + "\n"

    def see_also(self, page):
        known = {other.name: other for other in self.pages}
        for name in page.row["see"]:
            if "(" in name:
                yield "*{}*({})".format(*name.rstrip(")").split("("))
            elif name in known:
                yield known[name].reference
            else:
                raise Fault(f"packaging/pages.toml: {page.name}: see: there is no page {name}")
