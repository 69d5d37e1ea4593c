"""The documents, read as make_pages understands them: sections of blocks."""

import re
from dataclasses import dataclass, field


@dataclass
class Section:
    """A heading, the blocks below it up to the next heading, and the sections of lower levels."""
    document: str
    level: int
    title: str
    anchor: str
    blocks: list = field(default_factory=list)
    children: list = field(default_factory=list)

    @property
    def name(self):
        return f"{self.document}#{self.anchor}" if self.level > 1 else self.document


def anchor_of(title):
    """What a heading is called in links."""
    return re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-")


def cells(line):
    return [cell.strip().replace("\\|", "|") for cell in re.split(r"(?<!\\)\|", line.strip())[1:-1]]


def blocks_of(lines):
    """Blocks of lines without headings: ("code", lines), ("table", rows), ("list", numbered, items), ("text", text)."""
    position = 0
    while position < len(lines):
        line = lines[position]
        start = position
        position += 1
        if line.startswith("```"):
            position = lines.index("```", position) + 1
            yield "code", lines[start + 1:position - 1]
        elif line.startswith("|"):
            while position < len(lines) and lines[position].startswith("|"):
                position += 1
            yield "table", [cells(row) for row in [line] + lines[start + 2:position]]
        elif match := re.match(r"(- |\d+\. )", line):
            while position < len(lines) and lines[position].strip():
                position += 1
            items = re.split(r"\n(?:- |\d+\. )", "\n" + "\n".join(lines[start:position]))[1:]
            yield "list", match[1] != "- ", [" ".join(item.split()) for item in items]
        elif line.strip():
            while position < len(lines) and lines[position].strip() and not re.match(r"```|\||- ", lines[position]):
                position += 1
            yield "text", " ".join(" ".join(lines[start:position]).split())


def read_document(path):
    """The section of the document's title, with all others below it."""
    lines = path.read_text(encoding="utf-8").splitlines()
    code, heads = False, []
    for number, line in enumerate(lines):
        code ^= line.startswith("```")
        if not code and (match := re.match(r"(#+) (.*)", line)):
            heads.append((number, len(match[1]), match[2]))
    seen, above = {}, []
    for (number, level, title), (end, *_) in zip(heads, heads[1:] + [(len(lines),)]):
        anchor = anchor_of(title)
        seen[anchor] = seen.get(anchor, -1) + 1
        section = Section(path.name, level, title, anchor + (f"-{seen[anchor]}" if seen[anchor] else ""))
        section.blocks = list(blocks_of(lines[number + 1:end]))
        del above[level - 1:]
        if above:
            above[-1].children.append(section)
        above.append(section)
    return above[0]


def below(section):
    yield section
    for child in section.children:
        yield from below(child)
