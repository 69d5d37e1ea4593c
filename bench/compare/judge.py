"""Whether a program did its job on a message, as an independent reader sees it: Python's email package.

What the programs may do as they like counts for all of them as right: line ends inside of text parts, the place of the
disclaimer, a disclaimer as a part of its own where there is no text body, and whether a part that has a file name but
is not marked as an attachment counts as one.
"""
import collections
import email
import email.header
import os
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, "tests", "cli"))

from mail_reading import (READ_OTHERWISE, alternatives, is_protected, shows_stamp,  # noqa: E402
                          text_of, without_blanks)

TAG = "[checked]"


def disclaimer():
    with open(os.path.join(ROOT, "bench", "compare", "disclaimer.txt"), encoding="utf-8") as file:
        return without_blanks(file.read())


def content(part):
    """Type and decoded bytes; of text the lines."""
    data = part.get_payload(decode=True) if not part.is_multipart() else part.as_bytes()
    if part.get_content_maintype() in ("text", "message", "multipart"):
        data = b"\n".join((data or b"").splitlines()).rstrip()
    return part.get_content_type(), data or b""


def leaves(msg, but=()):
    known = set(map(id, but))
    return collections.Counter(content(p) for p in msg.walk() if not p.is_multipart() and id(p) not in known)


def subject(msg):
    try:
        return str(email.header.make_header(email.header.decode_header(msg["Subject"] or "")))
    except (LookupError, ValueError):  # the charset of an encoded word is none, or its bytes are not of it
        return str(msg["Subject"])


def stamp_fault(before, after, stamp):
    """What is wrong; nothing when all is right."""
    old, new = email.message_from_bytes(before), email.message_from_bytes(after)
    if new.get_all("X-Scanned") != ["yes"]:
        return "the field is not there once"
    if is_protected(before, old):
        return "" if leaves(old) == leaves(new) else "protected, and a part is another"
    if not subject(new).startswith(TAG):
        return "the subject has no tag"
    was, now = alternatives(old), alternatives(new)
    if not was:
        added, lost = leaves(new) - leaves(old), leaves(old) - leaves(new)
        own = all(kind == "text/plain" and without_blanks(data.decode("ascii", "replace")) == stamp
                  for kind, data in added)
        return "" if own and not lost else "no text body, and a part is another"
    if len(was) != len(now):
        return "the body has fewer or more alternatives"
    for one, other in zip(was, now):
        if shows_stamp(one, other, stamp) is False:
            shown = text_of(other)
            times = shown.count(stamp) if shown is not None else None
            return "a text that cannot be read" if times is None else \
                "another text" if times == 1 else f"the disclaimer {times} times"
    return "" if leaves(old, was) == leaves(new, now) else "another part of the message is changed"


def outer_parts(part):
    """The parts of a message; those of attached messages and attached multiparts lie in one."""
    attached = part.get_content_disposition() == "attachment"
    if part.get_content_maintype() == "multipart" and part.is_multipart() and not attached:
        for one in part.get_payload():
            yield from outer_parts(one)
    else:
        yield part


def strip_fault(before, after):
    old, new = email.message_from_bytes(before), email.message_from_bytes(after)
    if is_protected(before, old):
        return ""
    parts = [p for p in outer_parts(new) if p is not new]
    if any(p.get_content_disposition() == "attachment" and content(p)[1] for p in parts):
        return "an attachment is left"
    had = collections.Counter(map(content, outer_parts(old)))
    stays = collections.Counter(content(p) for p in outer_parts(old)
                                if p.get_content_disposition() != "attachment" and not p.get_filename()
                                and p.get_content_maintype() != "message")
    has = collections.Counter(map(content, outer_parts(new)))
    if any(data for _, data in stays - has):
        return "a part that is no attachment is gone or changed"
    return "a part that was not there" if any(data for _, data in has - had) else ""


def judge(job, mail, out):
    """How many messages of a folder are right, how many were judged, and how often what was wrong."""
    stamp, faults, judged = disclaimer(), collections.Counter(), 0
    for name in sorted(os.listdir(mail)):
        if name[:7] in READ_OTHERWISE:
            continue
        judged += 1
        with open(os.path.join(mail, name), "rb") as file:
            before = file.read()
        try:
            with open(os.path.join(out, name), "rb") as file:
                after = file.read()
            fault = stamp_fault(before, after, stamp) if job == "stamp" else strip_fault(before, after)
        except FileNotFoundError:
            fault = "there is no output"
        except Exception as error:  # pylint: disable=broad-except
            fault = f"cannot be read: {type(error).__name__}"
        faults[fault] += 1
    return faults.pop("", 0), judged, faults
