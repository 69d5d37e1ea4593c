"""What is done to a page behind scdoc, in roff."""

import re

TEXT_WIDTH = 73  # columns of text in a terminal of 80


def with_signs(page):
    """The page with the signs of a terminal: in bold words and blocks of code a minus is no hyphen, and so on."""
    signs = str.maketrans({"-": "\\-", "~": "\\(ti", "^": "\\(ha", "`": "\\(ga", "'": "\\(aq"})
    lines, code = [], False
    for line in page.split("\n"):
        code = line == ".nf" or code and line != ".fi"
        if code and not line.startswith("."):
            line = line.replace("\\&'", "'").translate(signs)
        elif not line.startswith((".", "\\h'")):
            line = re.sub(r"\\fB.*?\\fR", lambda match: match[0].replace("'\\&", "'").translate(signs), line)
        lines.append(line)
    return "\n".join(lines)


def with_layout(page):
    """The page with what scdoc has no words for: no hyphenation, since that makes names hard to find; lines of SYNOPSIS
    that hang; blocks of code as far to the right as they may stand; and tables as hanging paragraphs, which are as wide
    as their text, and into which no empty lines come as into those of tbl."""
    page = re.sub(r"^(\.TH .*\n)", r"\1.nh\n", page, flags=re.M)

    def synopsis(match):
        lines = "\n.br\n.ti -4\n".join(match[1].split("\n.br\n"))
        return f".SH SYNOPSIS\n.P\n.RS 4\n.ti -4\n{lines}\n.RE\n"

    def code(match):
        wide = max(len(line.replace("\\&", "").replace("\\\\", "\\")) for line in match[1].split("\n"))
        indent = max(0, min(4, TEXT_WIDTH - wide))
        return f".nf\n.RS {indent}\n{match[1]}\n.fi\n.RE\n"

    def table(match):
        rows = re.findall(r"T\{\n(.*)\nT\}\tT\{\n(.*)\nT\}", match[0])
        indent = max(len(re.sub(r"\\f.|\\&", "", left)) for left, _ in rows) + 3
        return ".PD 0\n" + "".join(f".TP {indent}\n{left}\n{right or '.br'}\n" for left, right in rows) + ".PD\n.P\n"

    page = re.sub(r"^\.SH SYNOPSIS\n\.P\n((?:.+\n)*?.+)\n(?=\.P\n)", synopsis, page, flags=re.M)
    page = re.sub(r"^\.nf\n\.RS 4\n(.*?)\n\.fi\n\.RE\n", code, page, flags=re.M | re.S)
    return re.sub(r"^\.TS\n.*?^\.TE\n\.sp 1\n", table, page, flags=re.M | re.S)


def finished(page):
    return with_signs(with_layout(page))
