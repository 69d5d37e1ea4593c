"""The steps that README.md shows under "A first mail": what an administrator types, and what he writes where."""
import pathlib
import re

README = pathlib.Path(__file__).resolve().parents[2] / "README.md"
BLOCK = re.compile(r"^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def steps():
    """(kind, text) in order. The kind is '' for commands, 'ini' for main.cf, 'toml' for policy.toml, 'text' for what
    comes of it."""
    text = README.read_text(encoding="utf-8")
    begin = text.index("## A first mail\n")
    return BLOCK.findall(text[begin:text.index("\n## ", begin + 1)])
