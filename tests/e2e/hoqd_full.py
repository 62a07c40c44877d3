"""Copies that their receiver has no room for: a full disk, a limit on the size of files."""

import os
import resource
import subprocess

from daemon import HOQD, Daemon, main
from nodes import Nodes

LARGE = 6_000_000
LIMIT = 1_000_000


class NoRoom(Nodes):
    def setUp(self):
        super().setUp()
        self.data = self.fill("large", LARGE)
        self.make("far/", "far/kept=kept", "top/", "top/small=small")
        os.link(self.path("large"), self.path("top/large"))

    def assert_only_kept(self):
        self.assertEqual(self.contents("far"), {"kept": (b"kept", 0o644)})

    def check_copies(self, daemon):
        """Whatever is too large is told and leaves nothing; what fits arrives."""
        before = self.holdings(daemon)
        for name, arguments in (
                ("a file", ["cp", "large", self.target("far/large", daemon)]),
                ("a file into a directory", ["cp", "large", self.target("far", daemon)]),
                ("a new tree", ["cp", "-R", "top", self.target("far/top", daemon)]),
                ("put", ["--node", daemon.address(), "put", "large", f"{self.dir}/far/large"])):
            with self.subTest(name):
                result = self.hoq(*self.files(), *arguments)
                self.assertEqual(result.status, 1, result)
                self.assertIn(b"large", result.err)
                self.assert_only_kept()
        self.done(self.hoq(*self.files(), "cp", "tree/a", self.target("far/a", daemon)))
        self.assertEqual(self.contents("far")["a"], (b"one", 0o640))
        self.assert_held_no_more(daemon, before)
        os.remove(self.path("far/a"))


class FullDisk(NoRoom):
    def setUp(self):
        super().setUp()
        made = subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={LIMIT}", "tmpfs",
                               self.path("far")], capture_output=True, check=False)
        if made.returncode != 0:
            self.skipTest("no small file system can be mounted: "
                          + made.stderr.decode(errors="replace").strip())
        self.addCleanup(subprocess.run, ["umount", "-l", self.path("far")], check=True)
        os.chmod(self.path("far"), 0o755)
        self.make("far/kept=kept")

    def test_a_full_disk_is_told_and_leaves_nothing(self):
        self.assert_serves()
        self.check_copies(self.there)

    def test_it_is_told_by_a_node_that_sends(self):
        other = self.serve(("admin", "read change"), name="other.toml")
        result = self.on(other, "-C", self.dir, "cp", "large", self.target("far"))
        self.assert_fails(result, 1, f'"{self.dir}/large", Cannot write to file')
        self.assert_only_kept()


class SizeLimit(NoRoom):
    def limited(self, limit, **more):
        """A node that may write no file beyond the limit."""
        config = self.configure(("admin", "read change"), name="limited.toml", **more)
        daemon = Daemon(config, command=["prlimit", f"--fsize={limit}", HOQD, "--config", config])
        self.addCleanup(daemon.stop)
        daemon.address()
        return daemon

    def test_a_limit_is_told_by_a_worker_that_lives_on(self):
        daemon = self.limited(LIMIT)
        self.assert_serves(daemon)
        workers = daemon.workers()
        self.check_copies(daemon)
        self.assertEqual(daemon.workers(), workers)

    def test_a_limit_of_hoqs_own_is_an_error_and_no_signal(self):
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (LIMIT, LIMIT))
        for arguments in (["cp", "large", "far/large"], ["cp", "-R", "top", "far/top"],
                          ["put", "large", "far/large"], ["get", f"{self.dir}/large", "far/large"],
                          [*self.files(), "--node", self.there.address(), "get",
                           f"{self.dir}/large", "far/large"]):
            with self.subTest(arguments=arguments):
                result = self.hoq(*arguments, preexec_fn=limit)
                self.assertEqual(result.status, 1, result)
                self.assertIn(b"large", result.err)
                if "cp" in arguments:  # which keeps what it has, as the system's own does
                    self.hoq("rm", "-r", *(f"far/{name}" for name in self.contents("far")
                                           if name in ("large", "top")))
                self.assert_only_kept()

    def test_an_audit_beyond_the_limit_is_in_the_log(self):
        daemon = self.limited(100, top='audit = "audit"')
        admin = self.client(daemon, "admin")
        self.assertEqual(admin.mkdir(self.path("d"))[0], 0)
        daemon.log.wait(r"cannot write to .*audit: File too large; audit: .*Mkdir")
        self.assertEqual(admin.mkdir(self.path("e"))[0], 0)


if __name__ == "__main__":
    main()
