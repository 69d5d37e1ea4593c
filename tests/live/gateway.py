"""A whole gateway in a folder: Postfix, quzo with its queue runner, and a server that mail arrives at."""
import contextlib
import os
import shutil
import subprocess

from installation import Installation, check
from mail_server import MailServer
from milter_process import Milter
from postfix_instance import Postfix, free_port, wait_until

USER = "nobody"  # of the filter, since pipe(8) runs nothing as root


class Runner:
    """quzo queue run --forever of an installation, inside its block."""

    def __init__(self, installation):
        self._installation = installation

    def __enter__(self):
        one = self._installation
        self._process = subprocess.Popen([one.program, "queue", "run", "-c", "quzo.ini", "-p", "policy.toml",
                                          "--forever"], cwd=one.folder, env=one.environment, user=USER,
                                         stdout=subprocess.DEVNULL)
        return self

    def __exit__(self, *_):
        self._process.terminate()
        check(self._process.wait(60) == 0, f"the runner ended with {self._process.returncode}")


class Gateway:
    """Runs inside its block. Mail comes in through the milter, or through `quzo filter` and pipe(8); what leaves quzo
    goes to a service of Postfix without either; all ends at `sink`. `more` is for the Installation."""

    def __init__(self, program, folder, objects, rules, *, services="", settings="", options="", with_filter=False,
                 **more):
        os.makedirs(folder)
        self.sink, hop = MailServer(), free_port()
        program = shutil.copy(program, os.path.join(folder, "program"))  # where everybody can run it
        one = Installation(program, os.path.join(folder, "quzo"), objects, rules, port=hop,
                           settings=f"[runner]\npoll = 1s\n{settings}", **more)
        self.installation, milter = one, Milter(one)
        services += f"127.0.0.1:{hop} inet n - n - - smtpd -o smtpd_milters= -o content_filter=\n"
        if with_filter:
            subprocess.run(["chown", "-R", USER, one.folder], check=True)
            services += (f"quzo unix - n n - 10 pipe flags=q user={USER} null_sender= directory={one.folder}\n"
                         f"  argv={program} filter -c quzo.ini -p policy.toml -f ${{sender}} -- ${{recipient}}\n")
            options += "content_filter = quzo:dummy\n"
        else:
            options += f"smtpd_milters = unix:{milter.socket}\nmilter_default_action = tempfail\n"
        self.postfix = Postfix(os.path.join(folder, "postfix"), self.sink.port, options, services,
                               environment=one.environment)
        self._parts = (self.sink, Runner(one) if with_filter else milter, self.postfix)
        self._stack = contextlib.ExitStack()

    def __enter__(self):
        with contextlib.ExitStack() as stack:
            for part in self._parts:
                stack.enter_context(part)
            self._stack = stack.pop_all()
        return self

    def __exit__(self, *_):
        self._stack.close()

    def settle(self, wanted):
        """Until nothing is on its way and the queues of quzo hold what they are to hold: {queue: entries}."""
        settled = wait_until(lambda: self.installation.waiting() == wanted and self.postfix.queued() == 0)
        check(settled, f"in the queues: {self.installation.waiting()} in place of {wanted}; in those of Postfix: "
              f"{self.postfix.waiting()}")
