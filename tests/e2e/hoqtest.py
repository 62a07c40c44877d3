"""What the end-to-end tests share: a directory of their own, and ways to run hoq in it.

The folder of the built programs comes in the environment variable HOQ_BIN, and in HOQ_TEST_ENGINE
how hoq is to carry contents, where that is not its own choice.
"""

import fcntl
import json
import os
import pty
import struct
import subprocess
import tempfile
import termios
import unittest

BIN = os.path.abspath(os.environ.get("HOQ_BIN", "build/release/bin"))
HOQ = os.path.join(BIN, "hoq")
ENGINE = [f"--engine={name}" for name in [os.environ.get("HOQ_TEST_ENGINE")] if name]
NOBODY = 65534


def environment(**more):
    """The environment of every run: nothing of the caller's that changes what hoq prints."""
    kept = {name: value for name, value in os.environ.items() if not name.startswith("HOQ_")}
    kept.update({"LC_ALL": "C.UTF-8", "TZ": "UTC"}, **more)
    return kept


class Result:
    def __init__(self, status, out, err):
        self.status = status
        self.out = out
        self.err = err

    def __repr__(self):
        return f"status {self.status}\nout {self.out!r}\nerr {self.err!r}"


class HoqTest(unittest.TestCase):
    """A test with a fresh directory, self.dir, which hoq is run in."""

    def setUp(self):
        previous = os.umask(0o022)
        self.addCleanup(os.umask, previous)
        self.dir = os.path.realpath(tempfile.mkdtemp(prefix="hoq-e2e-"))
        os.chmod(self.dir, 0o755)
        # rm copes with trees that are deeper than Python's own stack.
        self.addCleanup(subprocess.run, ["rm", "-rf", self.dir], check=False)

    def path(self, name):
        return os.path.join(os.fsencode(self.dir), os.fsencode(name))

    def make(self, *names):
        """Makes items: "d/" a directory, "l -> target" a link, "f=text" or "f" a file."""
        for name in names:
            link = name.split(" -> ")
            if len(link) == 2:
                os.symlink(link[1], self.path(link[0]))
                continue
            if name.endswith("/"):
                os.makedirs(self.path(name), exist_ok=True)
                continue
            file, _, text = name.partition("=")
            with open(self.path(file), "w", encoding="utf-8") as stream:
                stream.write(text)

    def exists(self, name):
        return os.path.lexists(self.path(name))

    def hoq(self, *arguments, stdin=b"", env=None, **popen):
        done = subprocess.run([HOQ, *ENGINE, *arguments], cwd=popen.pop("cwd", self.dir), input=stdin,
                              capture_output=True, env=env or environment(), timeout=60, **popen)
        return Result(done.returncode, done.stdout, done.stderr)

    def hoq_as_nobody(self, *arguments):
        """Runs hoq without root's rights, whoever runs the test."""
        if os.geteuid() != 0:
            return self.hoq(*arguments)
        try:
            return self.hoq(*arguments, user=NOBODY, group=NOBODY, extra_groups=[])
        except PermissionError:
            self.skipTest(f"{HOQ} cannot be reached without root's rights")

    def lines(self, *arguments):
        """Standard output's lines of a run that must succeed."""
        result = self.hoq(*arguments)
        self.assertEqual((result.status, result.err), (0, b""), result)
        return result.out.decode().splitlines()

    def call(self, operation, request, *arguments, status=0):
        """The answer to a request of `hoq call`."""
        result = self.hoq("call", operation, *arguments, stdin=json.dumps(request).encode())
        self.assertEqual(result.status, status, result)
        self.assertEqual(result.err, b"", result)
        return json.loads(result.out)

    def assert_fails(self, result, status, error):
        """The run ended with `status`, one line on standard error and nothing on the other."""
        self.assertEqual(result.status, status, result)
        self.assertEqual(result.out, b"", result)
        self.assertEqual(result.err.decode(), f"hoq: {error}\n")


class Terminal:
    """A terminal of some width that a program runs on, with all three streams."""

    def __init__(self, arguments, cwd, columns=80, env=None):
        self.master, slave = pty.openpty()
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        self.process = subprocess.Popen([HOQ, *arguments], cwd=cwd, stdin=slave, stdout=slave,
                                        stderr=slave, env=env or environment())
        os.close(slave)
        self.shown = b""

    def _read(self):
        try:
            piece = os.read(self.master, 65536)
        except OSError:  # the other side is closed
            piece = b""
        self.shown += piece
        return piece != b""

    def wait_for(self, text):
        while text not in self.shown:
            if not self._read():
                raise AssertionError(f"{text!r} never came: {self.shown!r}")

    def finish(self):
        """Everything shown until the program's end, and its status."""
        while self._read():
            pass
        os.close(self.master)
        return self.shown, self.process.wait(timeout=60)
