#!/usr/bin/env python3
"""Makes a message of 20 MB with an attachment of 15 MB, and holds `quzo apply`, which stamps it, to its memory.

usage: large_message.py QUZO WORK_FOLDER

WORK_FOLDER has quzo.ini; the message is large/large.eml in it. At most one and a half times its size and 32 MiB may be
resident. Exits with 1 when more is.
"""
import os
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, "tests", "failure"))

from peak_memory_test import FILE, HEADER, ROOM, peak, write  # noqa: E402

TEXT = "These are words of a letter that has a large file with it.\r\n" * 50
LINE = "QUJD" * 19 + "\r\n"
ATTACHED = 15_000_000  # bytes, before they are base64
BODY = ('Content-Type: multipart/mixed; boundary="b"\r\n\r\n--b\r\n'
        'Content-Type: multipart/alternative; boundary="a"\r\n\r\n--a\r\n'
        "Content-Type: text/plain; charset=utf-8\r\n\r\n" + TEXT +
        "--a\r\nContent-Type: text/html; charset=utf-8\r\n\r\n"
        "<html><body><p>" + TEXT + "</p></body></html>\r\n--a--\r\n")


def main():
    quzo, work = sys.argv[1:]
    os.mkdir(os.path.join(work, "large"))
    message, out = os.path.join(work, "large", "large.eml"), os.path.join(work, "large-out")
    write(message, HEADER + BODY + FILE, LINE, "--b--\r\n", ATTACHED * 4 // 3 * len(LINE) // (len(LINE) - 2))
    code, used = peak([quzo, "apply", "-c", os.path.join(work, "quzo.ini"), "-o", out, "-p",
                       os.path.join(ROOT, "bench", "compare", "stamp.toml"), message], os.path.join(work, "stdout"))
    size = os.path.getsize(message)
    allowed = size * 3 // 2 + ROOM
    if code != 0 or os.path.getsize(os.path.join(out, "large.eml")) <= size:
        sys.exit(f"large_message: quzo apply did not stamp it (exit code {code})")
    print(f"{size / 1e6:.1f} MB: `quzo apply` takes {used / 1e6:.1f} MB of resident memory, "
          f"{allowed / 1e6:.1f} MB are allowed{'' if used <= allowed else ' MISSED'}")
    sys.exit(0 if used <= allowed else 1)


main()
