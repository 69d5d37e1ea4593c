"""A client of the milter protocol: what a mail server says to a milter, and what no server would ever say."""
import socket
import struct
import threading

ADDS, LEADING_BLANKS, NO_REPLIES = 0x1FF, 0x100000, 0x1FFFFF
# Which of the steps that were agreed on say that a command gets no answer.
SILENT = {b"L": 0x80, b"C": 0x1000, b"H": 0x2000, b"M": 0x4000, b"R": 0x8000, b"T": 0x10000, b"U": 0x20000,
          b"N": 0x40000, b"B": 0x80000}
# And which that it is not said at all.
UNSAID = {b"H": 0x2, b"N": 0x40, b"T": 0x200}
FINAL = b"acdrty"  # accept, continue, discard, reject, refuse for now, a reply of its own


def packet(command, data=b"", length=None):
    """`length`: what is announced in place of the truth."""
    return struct.pack(">I", len(data) + 1 if length is None else length) + command + data


def strings(*texts):
    return b"".join(text + b"\0" for text in texts)


class MilterClient:
    """One connection to the unix socket at `path`; ends with its block. Nothing waits longer than `timeout` seconds."""

    def __init__(self, path, steps=NO_REPLIES, timeout=300):
        self._socket = socket.socket(socket.AF_UNIX)
        self._socket.settimeout(timeout)
        self._socket.connect(path)
        self._steps, self._bytes = steps, b""
        self.agreed = 0

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end()

    def end(self):
        self._socket.close()

    def say(self, data):
        """Sends bytes as they are. False when the milter has hung up."""
        try:
            self._socket.sendall(data)
            return True
        except (BrokenPipeError, ConnectionResetError):
            return False

    def pour(self, pieces):
        """Says it all, whatever is answered. Whether the milter has hung up in the end, as it should."""
        ended = []

        def drain():
            try:
                while self._socket.recv(1 << 16):
                    pass
                ended.append(True)
            except ConnectionResetError:
                ended.append(True)
            except TimeoutError:
                pass

        drained = threading.Thread(target=drain)
        drained.start()
        if all(map(self.say, pieces)):
            self._socket.shutdown(socket.SHUT_WR)
        drained.join()
        return bool(ended)

    def _take(self, count):
        while len(self._bytes) < count:
            try:
                more = self._socket.recv(1 << 16)
            except ConnectionResetError:
                more = b""
            if not more:
                return None
            self._bytes += more
        taken, self._bytes = self._bytes[:count], self._bytes[count:]
        return taken

    def answer(self):
        """The next (command, data); None when the milter has hung up."""
        head = self._take(4)
        content = self._take(struct.unpack(">I", head)[0]) if head else None
        return (content[:1], content[1:]) if content else None

    def negotiate(self):
        self.say(packet(b"O", struct.pack(">III", 6, ADDS, self._steps)))
        answer = self.answer()
        if answer:
            self.agreed = struct.unpack(">III", answer[1][:12])[2]
        return answer

    def tell(self, command, data=b""):
        """One step of the dialogue; its final answer, b"" for a step that gets none, None when the milter hung up."""
        if self.agreed & UNSAID.get(command, 0):
            return b""
        if not self.say(packet(command, data)):
            return None
        if self.agreed & SILENT.get(command, 0):
            return b""
        return self.verdict()[0]

    def verdict(self):
        """(final answer or None, the changes in front of it)."""
        changes = []
        while (answer := self.answer()) and answer[0] not in FINAL:
            changes.append(answer)
        return (answer[0] if answer else None), changes

    def connect(self, host=b"client.example", address=b"192.0.2.1"):
        return self.tell(b"C", host + b"\0" + b"4" + struct.pack(">H", 25) + address + b"\0")

    def message(self, sender, recipients, fields, body):
        """A whole message; what verdict() gives of it."""
        self.tell(b"M", strings(b"<" + sender + b">"))
        for recipient in recipients:
            self.tell(b"R", strings(b"<" + recipient + b">"))
        for name, value in fields:
            self.tell(b"L", strings(name, value))
        self.tell(b"N")
        for at in range(0, len(body), 65535):
            self.tell(b"B", body[at:at + 65535])
        self.say(packet(b"D", b"E" + strings(b"i", b"QUEUEID")) + packet(b"E"))
        return self.verdict()
