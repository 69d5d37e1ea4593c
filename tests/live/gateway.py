"""A whole gateway in a folder: Postfix, the milter with its queue runner, and a server that mail arrives at."""
import contextlib
import os

from installation import Installation, check
from mail_server import MailServer
from milter_process import Milter
from postfix_instance import Postfix, free_port, wait_until


class Gateway:
    """Runs inside its block. What leaves quzo goes to a service of Postfix without a milter; all ends at `sink`."""

    def __init__(self, program, folder, objects, rules, *, platform="", settings="", services=""):
        os.makedirs(folder)
        self.sink, hop = MailServer(), free_port()
        self.installation = Installation(program, os.path.join(folder, "quzo"), objects, rules, port=hop,
                                         platform=platform, settings=f"[runner]\npoll = 1s\n{settings}")
        milter = Milter(self.installation)
        options = f"smtpd_milters = unix:{milter.socket}\nmilter_default_action = tempfail\n"
        self.postfix = Postfix(os.path.join(folder, "postfix"), self.sink.port, options,
                               f"127.0.0.1:{hop} inet n - n - - smtpd -o smtpd_milters=\n{services}")
        self._parts = (self.sink, milter, self.postfix)
        self._stack = contextlib.ExitStack()

    def __enter__(self):
        with contextlib.ExitStack() as stack:
            for part in self._parts:
                stack.enter_context(part)
            self._stack = stack.pop_all()
        return self

    def __exit__(self, *_):
        self._stack.close()

    def settle(self):
        """Until nothing is on its way any more."""
        moving = {"scan", "outgoing", "postponed"}
        check(wait_until(lambda: not moving & self.installation.waiting().keys() and self.postfix.queued() == 0),
              f"does not settle: {self.installation.waiting()}")
