"""Whether a program did its job on a message, as an independent reader sees it: Python's email package.

What the programs may do as they like counts for all of them as right: line ends inside of text parts, the place of the
disclaimer, a disclaimer as a part of its own where there is no text body, and whether a part that has a file name but
is not marked as an attachment counts as one.
"""
import collections
import email
import email.errors
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
    """Type and decoded bytes, without line ends at the end; of text the lines."""
    if part.is_multipart():
        data = part.as_string().encode("utf-8", "surrogateescape")
    else:
        data = part.get_payload(decode=True) or b""
    if part.get_content_maintype() in ("text", "message", "multipart"):
        data = b"\n".join(line.rstrip() for line in data.splitlines())
    return part.get_content_type(), data.rstrip(b"\r\n")


def counted(parts):
    """Their contents, without those that are empty."""
    return collections.Counter(one for one in map(content, parts) if one[1])


def leaves(msg, but=()):
    known = set(map(id, but))
    return counted(p for p in msg.walk() if not p.is_multipart() and id(p) not in known)


def others_fault(old, new, stamp, own):
    """Whether what is not the body stayed as it was; `own`: the disclaimer may be a part of its own."""
    lost, added = old - new, new - old
    if own:
        added = [data for kind, data in added
                 if kind != "text/plain" or without_blanks(data.decode("ascii", "replace")) != stamp]
    return "another part of the message is changed" if lost or added else ""


def subject(msg):
    try:
        return str(email.header.make_header(email.header.decode_header(msg["Subject"] or "")))
    except (LookupError, ValueError, email.errors.HeaderParseError):  # an encoded word that cannot be read
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
        return others_fault(leaves(old), leaves(new), stamp, True)
    if len(was) != len(now):
        return "the body has fewer or more alternatives"
    shows = [shows_stamp(one, other, stamp) for one, other in zip(was, now)]
    if False not in shows:
        return others_fault(leaves(old, was), leaves(new, now), stamp, None in shows)
    shown = text_of(now[shows.index(False)])
    if shown is None:
        return "a text that cannot be read"
    times = shown.count(stamp)
    return "another text" if times == 1 else f"the disclaimer {times} times"


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
    had, has = counted(outer_parts(old)), counted(outer_parts(new))
    stays = counted(p for p in outer_parts(old) if p.get_content_disposition() != "attachment"
                    and not p.get_filename() and p.get_content_maintype() != "message")
    if stays - has:
        return "a part that is no attachment is gone or changed"
    return "a part that was not there" if has - had else ""


def can_be_read(name, raw):
    """Whether the reader takes a message apart as mail clients do; a header ends for it at a line that is no field."""
    return name[:7] not in READ_OTHERWISE and not any(
        isinstance(one, email.errors.MissingHeaderBodySeparatorDefect)
        for part in email.message_from_bytes(raw).walk() for one in part.defects)


def judge(job, mail, out):
    """How many messages of a folder are right, how many were judged, and how often what was wrong."""
    stamp, faults, judged = disclaimer(), collections.Counter(), 0
    for name in sorted(os.listdir(mail)):
        with open(os.path.join(mail, name), "rb") as file:
            before = file.read()
        if not can_be_read(name, before):
            continue
        judged += 1
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
