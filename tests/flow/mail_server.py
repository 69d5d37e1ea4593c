"""A mail server that forgives nothing, for tests of what goes over the wire.

It keeps every command and every message as they came, but for the runner's trace, and notes as a fault what another
server might understand in another way: a line end that is not CRLF, a dot that is not doubled, a command that no sender
of mail has use for.
"""
import collections
import re
import socket
import threading

Mail = collections.namedtuple("Mail", "sender recipients content")

COMMANDS = re.compile(rb"(EHLO|HELO) [^ ]+|MAIL FROM:<[^<>]*>( SIZE=\d+)?( BODY=8BITMIME)?( SMTPUTF8)?|"
                      rb"RCPT TO:<[^<>]+>|DATA|RSET|NOOP|QUIT")
TRACE = re.compile(rb"Received: by [^\s]+ \(quzo\) id [0-9A-Z-]+;\r\n\t\w{3}, \d\d \w{3} \d{4} [0-9:]{8} \+0000\r\n")
ALONE = re.compile(rb"\r(?!\n)|(?<!\r)\n")  # half of a line end


def without_trace(content):
    """The message behind the field that the queue runner puts in front of it."""
    trace = TRACE.match(content)
    return content[trace.end():] if trace else content


class MailServer:
    """Listens on 127.0.0.1 from the start; ends with its block: then nobody is let in any more, and whoever is in may
    finish. `port`: that of a former one."""

    def __init__(self, extensions=(b"PIPELINING", b"8BITMIME", b"SMTPUTF8", b"SIZE 100000000"), port=0):
        self.mails, self.faults = [], []
        self._extensions = extensions
        self._listener = socket.create_server(("127.0.0.1", port), backlog=100)
        self._listener.settimeout(600)
        self.port = self._listener.getsockname()[1]
        self._thread = threading.Thread(target=self._serve, daemon=True)

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *_):
        self._listener.shutdown(socket.SHUT_RDWR)
        self._listener.close()
        self._thread.join(30)

    def _serve(self):
        while True:
            try:
                connection, _ = self._listener.accept()
            except OSError:
                return
            threading.Thread(target=self._talk, args=(connection,), daemon=True).start()

    def _talk(self, connection):
        with connection:
            connection.settimeout(60)
            try:
                Session(connection, self).run(self._extensions)
            except OSError as error:
                self.faults.append(f"the connection broke: {error}")


class Session:
    """One connection."""

    def __init__(self, connection, server):
        self._connection, self._server = connection, server
        self._bytes = b""
        self._sender, self._recipients = None, []

    def _until(self, end):
        while end not in self._bytes:
            more = self._connection.recv(1 << 16)
            if not more:
                return None
            self._bytes += more
        text, self._bytes = self._bytes.split(end, 1)
        return text

    def _say(self, *lines):
        self._connection.sendall(b"".join(line + b"\r\n" for line in lines))

    def run(self, extensions):
        self._say(b"220 mx.example ESMTP")
        while (line := self._until(b"\r\n")) is not None:
            if not COMMANDS.fullmatch(line):
                self._server.faults.append(f"command {line!r}")
            verb = line[:4].upper()
            if verb == b"EHLO":
                answers = (b"mx.example", *extensions)
                self._say(*(b"250-" + one for one in answers[:-1]), b"250 " + answers[-1])
            elif verb == b"DATA":
                self._data()
            elif verb == b"QUIT":
                return self._say(b"221 bye")
            else:
                if verb in (b"MAIL", b"RSET"):
                    self._sender, self._recipients = line[11:].split(b">")[0], []
                elif verb == b"RCPT":
                    self._recipients.append(line[9:].rstrip(b">"))
                self._say(b"250 ok")
        return None

    def _data(self):
        self._say(b"354 go on")
        self._bytes = b"\r\n" + self._bytes
        content = self._until(b"\r\n.\r\n")
        if content is None:
            self._server.faults.append("no end of a message")
            return
        content = content[2:] + b"\r\n"
        if ALONE.search(content):
            self._server.faults.append(f"half a line end in {content!r}")
        if re.search(rb"(?m)^\.(?!\.)", content):
            self._server.faults.append(f"a dot alone in {content!r}")
        content = re.sub(rb"(?m)^\.\.", b".", content)
        self._server.mails.append(Mail(self._sender, self._recipients, without_trace(content)))
        self._say(b"250 kept")
