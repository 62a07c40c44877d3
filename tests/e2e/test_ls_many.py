"""Directories with more entries than `hoq ls` holds in memory."""
import json
import os
import subprocess
import sys
import unittest

from hoqtest import HOQ, HoqTest, environment

ENTRIES = 30000
LENGTH = 180

# Run by a process of its own: a child begins with its parent's peak, and this one's is large.
PEAK = """
import resource, subprocess, sys
subprocess.run(sys.argv[1:], stdout=subprocess.DEVNULL, check=True)
print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss * 1024)
"""


class LsMany(HoqTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        # In an order of no meaning, which is not the names'.
        cls.names = [str(i * 7919 % ENTRIES).ljust(LENGTH, "n") for i in range(ENTRIES)]

    def setUp(self):
        super().setUp()
        self.make("many/", "tmp/", "sub/", "to-many -> many")
        at = os.open(self.path("many"), os.O_RDONLY | os.O_DIRECTORY)
        for name in self.names:
            os.close(os.open(name, os.O_CREAT | os.O_WRONLY, 0o644, dir_fd=at))
        os.close(at)

    def listed(self, *arguments, temporary="tmp"):
        result = self.hoq("ls", *arguments, env=self.with_temporary(temporary))
        self.assertEqual((result.status, result.err), (0, b""))
        return result.out.decode().splitlines()

    def with_temporary(self, name):
        return environment(TMPDIR=os.path.join(self.dir, name))

    def test_they_are_shown_in_order_and_whole(self):
        names = sorted(self.names)
        for temporary in ("tmp", "nowhere"):  # where there can be no file, too
            with self.subTest(temporary=temporary):
                self.assertEqual(self.listed("many", temporary=temporary), names)
                records = [json.loads(line) for line in
                           self.listed("--json", "many", temporary=temporary)]
                self.assertEqual([record["name"] for record in records], names)
                self.assertEqual([record["path"] for record in records],
                                 ["many/" + name for name in names])
                self.assertEqual({record["type"] for record in records}, {8})
                self.assertEqual([line[-LENGTH:] for line in
                                  self.listed("-l", "many", temporary=temporary)], names)
        self.assertEqual(os.listdir(self.path("tmp")), [])

    def test_behind_a_link_they_are_the_same_and_the_parent_is_the_links_goal(self):
        self.make("elsewhere/", "elsewhere/link -> ../many")
        os.utime(self.path("elsewhere"), (1, 1))
        shown = self.listed("-a", "--json", "elsewhere/link/")
        records = [json.loads(line) for line in shown]
        self.assertEqual([record["name"] for record in records][:3],
                         [".", "..", min(self.names)])
        self.assertEqual(len(records), ENTRIES + 2)
        self.assertEqual(records[1]["mtime"], int(os.stat(self.dir).st_mtime))

    def test_they_take_little_memory(self):
        """What 30000 entries take is less than they would take held, 300 bytes each."""
        if os.environ.get("HOQ_SANITIZED"):
            self.skipTest("a sanitizer's own memory is measured with it")
        peaks = {}
        for what in ("sub", "many"):
            for options in (["--json"], ["-l"]):
                run = subprocess.run([sys.executable, "-c", PEAK, HOQ, "ls", *options, what],
                                     cwd=self.dir, env=self.with_temporary("tmp"),
                                     capture_output=True, check=True)
                peaks[what, options[0]] = int(run.stdout)
        for option in ("--json", "-l"):
            more = peaks["many", option] - peaks["sub", option]
            self.assertLess(more, 6 * 1024 * 1024, peaks)
            self.assertLess(peaks["many", option], 32 * 1024 * 1024, peaks)

    def test_trees_take_little_memory(self):
        """What 30000 entries take is less than they would take held, 300 bytes each."""
        if os.environ.get("HOQ_SANITIZED"):
            self.skipTest("a sanitizer's own memory is measured with it")
        many = os.open(self.path("many"), os.O_RDONLY | os.O_DIRECTORY)
        for below in range(300):
            self.make(f"tree/d/{below}/")
            at = os.open(self.path(f"tree/d/{below}"), os.O_RDONLY | os.O_DIRECTORY)
            for name in self.names[below * 100:below * 100 + 100]:
                os.link(name, name, src_dir_fd=many, dst_dir_fd=at)
            os.close(at)
        os.close(many)
        for options in (["-R", "--json"], ["-lR"], ["-R"]):
            peaks = {}
            for what in ("sub", "tree"):
                run = subprocess.run([sys.executable, "-c", PEAK, HOQ, "ls", *options, what],
                                     cwd=self.dir, env=self.with_temporary("tmp"),
                                     capture_output=True, check=True)
                peaks[what] = int(run.stdout)
            self.assertLess(peaks["tree"] - peaks["sub"], 4 * 1024 * 1024, (options, peaks))
        self.assertEqual(os.listdir(self.path("tmp")), [])


if __name__ == "__main__":
    unittest.main()
