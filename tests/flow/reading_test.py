#!/usr/bin/env python3
"""Notifications as an independent reader, Python's email package, sees them at the receiver.

    reading_test.py PROGRAM

Without the files of time zones it is skipped (77).
"""
import base64
import datetime
import os
import re
import sys
import tempfile
import time
import urllib.parse
import zoneinfo

from installation import FAULTS, Installation, as_mail, attached, check
from mail_server import MailServer

NOTICE = {"from": "Gateway <gw@example.com>", "to": "admin@example.com"}

TEXTS = (("utf-8", "Größe 日本語 €"), ("iso-2022-jp", "日本語の件名"), ("iso-8859-1", "Größe naïve"),
         ("windows-1252", "“Größe” – €"), ("koi8-r", "Привет, мир"), ("gb18030", "中文主题"),
         ("euc-kr", "한국어 제목"), ("us-ascii", "plain; text, \"quoted\" <x@x>"), ("utf-8", "長い件名 " * 30 + "終"))

# Minutes by which the formula of Date is off while a zone's clock deviates from its standard time: where that is half
# an hour it counts as a whole one, and where the winter is what deviates it counts twice.
OFF_IN_DEVIATION = {"Australia/Lord_Howe": 30, "Europe/Dublin": 120, "Africa/Casablanca": 120}
ZONES = ("UTC", "Asia/Kolkata", "America/Sao_Paulo", "Europe/Berlin", "America/St_Johns", "Pacific/Chatham",
         "Pacific/Kiritimati", "America/New_York", "Australia/Sydney", *OFF_IN_DEVIATION)


def mail_in(charset, text, raw):
    """A message with a subject and a file's name in the charset, as encoded words or as raw bytes."""
    octets = text.encode(charset)
    words = octets if raw else b" ".join(b"=?%s?B?%s?=" % (charset.encode(), base64.b64encode(one.encode(charset)))
                                         for one in re.findall("(?s).{1,15}", text))
    name = b'filename="' + re.sub(rb'(["\\])', rb"\\\1", octets) + b'.bin"' if raw else \
        f"filename*={charset}''{urllib.parse.quote_from_bytes(octets)}.bin".encode()
    return b"\r\n".join((b"From: <a@out.example>", b"To: b@in.example", b"Subject: " + words, b"MIME-Version: 1.0",
                         b"Content-Type: multipart/mixed; boundary=b", b"", b"--b",
                         b"Content-Type: text/plain; charset=" + charset.encode(), b"", octets, b"--b",
                         b"Content-Type: application/octet-stream", b"Content-Disposition: attachment; " + name, b"",
                         b"x", b"--b--", b""))


def read_raw(octets):
    """What a file's name of raw bytes is taken for, which nothing tells the charset of."""
    try:
        return octets.decode("utf-8")
    except UnicodeDecodeError:
        return octets.decode("windows-1252")


def test_charsets(program, folder, preferred):
    rule, when, body = "Règle 規則", {"attachment": "*"}, "%RULENAME%|%SUBJECT%|%SENDER%|%FILENAME%\n"
    objects = {"notify": {"n": {**NOTICE, "subject": "%MAILID% %SUBJECT%", "body": body}}}
    with MailServer() as server:
        installation = Installation(program, folder, objects,
                                    [(rule, when, [{"type": "notify", "object": "n"}])], port=server.port,
                                    settings=f"[General-Notification]\nPreferredCharset = {preferred}\n")
        rows = {f"{number}{'raw' if raw else 'words'}": (charset, text, raw)
                for number, (charset, text) in enumerate(TEXTS) for raw in (False, True)}
        for name, row in rows.items():
            installation.put(name, b"Message-ID: <" + name.encode() + b"@x>\r\n" + mail_in(*row))
        installation.apply()
        installation.run_queues()
    check(len(server.mails) == len(rows) and not server.faults, f"{len(server.mails)} mails; {server.faults}")
    for mail in map(as_mail, (one.content for one in server.mails)):
        identifier, _, subject = mail["Subject"].partition(" ")
        charset, text, raw = rows[identifier.strip("<>").split("@")[0]]
        what = f"preferred {preferred}, {charset}, {'raw' if raw else 'words'}"
        check(subject == text, f"{what}: subject {subject!r} in place of {text!r}")
        name = read_raw(text.encode(charset)) if raw else text
        wanted = f"{rule}|{text}|a@out.example|{name}.bin\r\n"
        check(mail.get_content() == wanted, f"{what}: body {mail.get_content()!r} in place of {wanted!r}")
        check(not mail.defects, f"{what}: {mail.defects}")


ATTACHED = {
    "crlf": b"From: a@x\r\nTo: b@x\r\nSubject: s\r\n\r\nbody\r\n.\r\n..\r\n--b\r\n \r\n\r\n",
    "lf": b"From: a@x\nTo: b@x\nSubject: s\n\nbody\n.\n\n",
    "mixed": b"From: a@x\r\nTo: b@x\nSubject: s\r\n\nbody\r\r\nmore\n\r.\rend\n",
    "cr": b"From: a@x\r\nTo: b@x\r\n\r\nends with CR\r",
    "no_end": b"From: a@x\r\nTo: b@x\r\n\r\nno end",
    "header": b"From: a@x\r\nTo: b@x\r\nSubject: no body\r\n",
    "eight": b"From: a@x\r\nTo: b@x\r\nSubject: \xe9\xff\r\n\r\n\x80\xfe 8 bit \x00 NUL\r\n",
    "broken": b"From: a@x\r\nTo: b@x\r\nContent-Type: multipart/mixed; boundary=q\r\n\r\n--q\r\n\r\nno end\r\n--q",
    "long": b"From: a@x\r\nTo: b@x\r\n\r\n" + b"y" * 70000 + b"\r\n",
}


def test_attached(program, folder):
    objects = {"stamp": {"s": {"text": "stamped"}},
               "notify": {kind: {**NOTICE, "subject": kind + " %SENDER%", "body": "x", "attach": kind}
                          for kind in ("original", "modified")}}
    with MailServer() as server:
        installation = Installation(
            program, folder, objects, [("R", {"always": True}, [
                {"type": "stamp", "object": "s"}, {"type": "x-header", "name": "X-Seen", "value": "yes"},
                {"type": "notify", "objects": ["original", "modified"]}])], port=server.port)
        for name, text in ATTACHED.items():
            installation.put(name, text.replace(b"a@x", name.encode() + b"@x", 1))
        installation.apply()
        installation.run_queues()
        found = {}
        for mail in server.mails:
            kind, sender = as_mail(mail.content)["Subject"].split()
            found[kind, sender.removesuffix("@x")] = attached(mail.content)
        for name in ATTACHED:
            with open(os.path.join(folder, "in", name + ".eml"), "rb") as file:
                texts = {"original": file.read(), "modified": installation.delivered(name)}
            for kind, text in texts.items():
                wanted = re.sub(rb"\r\n|\r|\n", b"\r\n", text)
                check(found.get((kind, name)) == wanted, f"{name}, {kind}: {found.get((kind, name))} for {text}"[:900])
            check(b"X-Seen: yes" in texts["modified"], f"{name}: {texts['modified'][:200]}")
    check(not server.faults, f"{server.faults}")


def test_recipients(program, folder, hide):
    objects = {"notify": {"n": {**NOTICE, "notify-recipients": True, "subject": "%SUBJECT%", "body": "x"}}}
    with MailServer() as server:
        installation = Installation(program, folder, objects,
                                    [("R", {"always": True}, [{"type": "notify", "object": "n"}])], port=server.port,
                                    settings=f"[General-Notification]\nNotificationHideRecipients = {hide}\n")
        wanted = {str(count): [f"user{i}@in.example" for i in range(count)] for count in (0, 1, 500)}
        for name, recipients in wanted.items():
            installation.put(name, f"From: a@x\r\nTo: {', '.join(recipients)}\r\nSubject: {name}\r\n\r\nx\r\n".encode()
                             if recipients else b"From: a@x\r\nSubject: 0\r\n\r\nx\r\n")
        installation.apply()
        installation.run_queues()
    for name, recipients in wanted.items():
        mails = [mail for mail in server.mails if as_mail(mail.content)["Subject"] == name]
        served = [one.decode() for mail in mails for one in mail.recipients]
        check(served == ["admin@example.com", *recipients], f"{name}, hidden {hide}: went to {served}")
        for mail in mails:
            shown = [one.addr_spec for one in as_mail(mail.content)["To"].addresses]
            check(shown == ["admin@example.com", *(["NotificationRecipients"] if hide else recipients)],
                  f"{name}, hidden {hide}: To is {shown}")
            check(not hide or b"user" not in mail.content, f"{name}, hidden: {mail.content[:500]}")


# A sender as the template has it, the name, and the address.
SENDERS = (("gw@x.example", "gw@x.example", "gw@x.example"),
           ("The Gateway <gw@x.example>", "The Gateway", "gw@x.example"),
           ('"Gate; way, \\"the\\" one" <gw@x.example>', 'Gate; way, "the" one', "gw@x.example"),
           ('"back\\\\slash" <gw@x.example>', "back\\slash", "gw@x.example"),
           ("Gäteä <gw@x.example>", "Gäteä", "gw@x.example"),
           ("=?iso-8859-1?Q?G=E4te?= <gw@x.example>", "Gäte", "gw@x.example"),
           ("関門 " * 20 + "<gw@x.example>", ("関門 " * 20).strip(), "gw@x.example"),
           ('"<v@x>, a" <gw@x.example>', "<v@x>, a", "gw@x.example"))


def test_senders(program, folder):
    objects = {"notify": {str(i): {**NOTICE, "from": sender, "subject": str(i), "body": "x"}
                          for i, (sender, _, _) in enumerate(SENDERS)}}
    with MailServer() as server:
        installation = Installation(program, folder, objects, [("R", {"always": True}, [
            {"type": "notify", "objects": list(objects["notify"])}])], port=server.port)
        installation.put("a", b"From: a@x\r\nTo: b@x\r\n\r\nx\r\n")
        installation.apply()
        installation.run_queues()
    check(len(server.mails) == len(SENDERS), f"{len(server.mails)} mails of {len(SENDERS)} senders")
    for mail in server.mails:
        sender, name, address = SENDERS[int(as_mail(mail.content)["Subject"])]
        read = as_mail(mail.content)["From"].addresses
        check([(one.display_name, one.addr_spec) for one in read] == [(name, address)], f"{sender}: {read}")
        check(mail.sender.decode() == address, f"{sender}: comes from {mail.sender}")


def date_of(local, zone):
    off = OFF_IN_DEVIATION.get(zone, 0) if local.dst() else 0
    offset = datetime.timezone(local.utcoffset() + datetime.timedelta(minutes=off))
    return local.strftime("%a, %d %b %Y %H:%M:%S ") + local.replace(tzinfo=offset).strftime("%z")


def test_dates(program, folder):
    objects = {"notify": {"n": {**NOTICE, "subject": "%SUBJECT%", "body": "x"}}}
    with MailServer() as server:
        installation = Installation(program, folder, objects,
                                    [("R", {"always": True}, [{"type": "notify", "object": "n"}])], port=server.port)
        clock = {}
        for zone in ZONES:
            installation.put("a", f"From: a@x\r\nTo: b@x\r\nSubject: {zone}\r\n\r\nx\r\n".encode())
            installation.environment["TZ"] = zone
            before = int(time.time())
            installation.apply()
            clock[zone] = before, time.time()
        installation.run_queues()
    dates = {as_mail(one.content)["Subject"]: as_mail(one.content)["Date"] for one in server.mails}
    check(set(dates) == set(ZONES), f"dates: {dates}")
    for zone, date in dates.items():
        before, after = clock[zone]
        true = [datetime.datetime.fromtimestamp(at, zoneinfo.ZoneInfo(zone)) for at in range(before, int(after) + 1)]
        wanted = {date_of(one, zone) for one in true}
        check(str(date) in wanted, f"{zone}: {date} in place of {sorted(wanted)}")


def main():
    if not zoneinfo.available_timezones().issuperset(ZONES):
        print("SKIP: there are no time zones")
        return 77
    program = os.path.abspath(sys.argv[1])
    with tempfile.TemporaryDirectory(prefix="quzo-flow-") as folder:
        for preferred in ("utf-8", "iso-2022-jp", "us-ascii"):
            test_charsets(program, os.path.join(folder, preferred), preferred)
        for hide in (0, 1):
            test_recipients(program, os.path.join(folder, f"hide{hide}"), hide)
        test_attached(program, os.path.join(folder, "attached"))
        test_senders(program, os.path.join(folder, "senders"))
        test_dates(program, os.path.join(folder, "dates"))
    return 1 if FAULTS else 0


if __name__ == "__main__":
    sys.exit(main())
