"""What the tests of hoq against nodes share: a node, ways to ask it, and what it may not lose."""

import os
import re
import select
import subprocess
import time

from daemon import DEADLINE, DaemonTest
from hoqtest import HOQ, environment
from relay import Relay

LARGE = 3_000_000


def until(condition, what):
    """Waits until `condition()` is true, which it is asked again and again."""
    deadline = time.monotonic() + DEADLINE
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError(f"never: {what()}")
        select.select([], [], [], 0.01)


class Nodes(DaemonTest):
    """`self.there` is a node that we may do everything on."""

    def setUp(self):
        super().setUp()
        self.there = self.serve(("admin", "read change"), ("reader", "read"),
                                ("localhost", "change"), name="there.toml")
        self.make("tree/", "tree/a=one", "tree/sub/", "tree/sub/b=two", "tree/empty/")
        os.chmod(self.path("tree/a"), 0o640)

    def files(self, name="admin"):
        certificate = self.certificate(name)
        return ["--ca", self.authority.pem, "--cert", certificate.pem, "--key", certificate.key]

    def on(self, daemon, *arguments, name="admin", **more):
        return self.hoq("--node", daemon.address(), *self.files(name), *arguments, **more)

    def done(self, result):
        self.assertEqual((result.status, result.err), (0, b""), result)
        return result.out.decode()

    def contents(self, top):
        found = {}
        for folder, names, files in os.walk(self.path(top)):
            for name in (*names, *files):
                path = os.path.join(folder, os.fsencode(name))
                key = os.path.relpath(path, self.path(top)).decode()
                found[key] = None
                if os.path.isfile(path):
                    with open(path, "rb") as stream:
                        found[key] = (stream.read(), os.stat(path).st_mode & 0o777)
        return found

    # With faults.

    def target(self, path, node=None):
        return f"{(node or self.there).address()}:{self.dir}/{path}"

    def relay(self, daemon=None):
        """A relay before a node."""
        relay = Relay((daemon or self.there).port())
        self.addCleanup(relay.close)
        return relay

    def fill(self, name, size):
        """A file of `size` bytes that do not repeat."""
        data = os.urandom(size)
        with open(self.path(name), "wb") as stream:
            stream.write(data)
        return data

    def read(self, name):
        with open(self.path(name), "rb") as stream:
            return stream.read()

    def begin(self, *arguments, name="admin", **popen):
        """A hoq that runs beside the test."""
        popen.setdefault("stdin", subprocess.DEVNULL)
        process = subprocess.Popen([HOQ, *self.files(name), *arguments], cwd=self.dir,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   env=environment(), **popen)

        def tidy():
            if process.poll() is None:
                process.kill()
            process.communicate(timeout=DEADLINE)
        self.addCleanup(tidy)
        return process

    @staticmethod
    def finish(process):
        """The status and what was said on standard error."""
        _, error = process.communicate(timeout=DEADLINE)
        return process.returncode, error.decode()

    @staticmethod
    def pid_of_worker(daemon, client="admin"):
        return int(re.findall(rf"worker (\d+) for {client} started", "\n".join(daemon.log.all))[-1])

    def until_exists(self, name, size=0):
        path = self.path(name)
        until(lambda: os.path.exists(path) and os.path.getsize(path) >= size,
              lambda: f"{name} with {size} bytes in {os.listdir(self.dir)}")

    @staticmethod
    def holdings(daemon):
        """Descriptors, threads, and descriptors that somebody is woken by, of a daemon and its
        workers, by process."""
        def target(descriptor):
            try:
                return os.readlink(descriptor)
            except FileNotFoundError:  # it has just been closed
                return ""

        found = {}
        for pid in (daemon.process.pid, *daemon.workers()):
            try:
                leads_to = [target(f"/proc/{pid}/fd/{fd}") for fd in os.listdir(f"/proc/{pid}/fd")]
                wakers = leads_to.count("anon_inode:[eventfd]")
                found[pid] = (len(leads_to) - wakers, len(os.listdir(f"/proc/{pid}/task")), wakers)
            except FileNotFoundError:  # it has just ended
                pass
        return found

    def assert_held_no_more(self, daemon, before, spare=4):
        """Soon no process of the daemon has more than `before`, but for `spare` threads: those of a
        pool stay for the next call. So does what they and idle streams are woken by, which come and
        go; there are fewer of those than threads."""
        def grown():
            now = self.holdings(daemon)
            return {pid: (before.get(pid), held) for pid, held in now.items()
                    if pid not in before or held[0] > before[pid][0]
                    or held[1] > before[pid][1] + spare or held[2] > held[1]}
        until(lambda: not grown(), grown)

    @staticmethod
    def memory(daemon):
        """What the daemon and its workers hold in memory, in KiB."""
        total = 0
        for pid in (daemon.process.pid, *daemon.workers()):
            with open(f"/proc/{pid}/status", encoding="ascii") as stream:
                total += int(next(line.split()[1] for line in stream if line.startswith("RssAnon")))
        return total

    def assert_serves(self, daemon=None):
        """A copy to the node goes well."""
        daemon = daemon or self.there
        self.make("probe=probe")
        self.done(self.hoq(*self.files(), "cp", "-f", "probe", self.target("probed", daemon)))
        self.assertEqual(self.read("probed"), b"probe")


class Faults(Nodes):
    """`self.there` gives up what stands still for a second; `self.data` is what "large" holds."""

    def setUp(self):
        super().setUp()
        self.there = self.serve(("admin", "read change"), ("localhost", "read change"),
                                limits="idle_seconds = 1", top='metrics = "127.0.0.1:0"',
                                name="strict.toml")
        self.data = self.fill("large", LARGE)
        self.make("far/", "far/kept=kept")
        self.link = self.relay()
        self.assert_serves()

    def place(self, name):
        return f"{self.link.address}:{self.dir}/far/{name}"

    def assert_nothing_came(self):
        self.assertEqual(self.contents("far"), {"kept": (b"kept", 0o644)})
