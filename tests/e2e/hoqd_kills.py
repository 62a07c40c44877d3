"""Copies whose one side is killed or stopped, at each stage."""

import os
import signal

from daemon import main
from nodes import Nodes, until

LARGE = 8_000_000
FILES = 60


class Kills(Nodes):
    """`self.there` stands behind a slow link, so that a copy can be met wherever one likes."""

    def setUp(self):
        super().setUp()
        self.fill("large", LARGE)
        self.make("many/", "far/")
        for number in range(FILES):
            self.fill(f"many/{number:02}", 20_000)
        self.link = self.relay()
        self.assert_serves()

    def place(self, name=""):
        return f"{self.link.address}:{self.dir}/far/{name}"

    def amid(self, stage):
        """A copy that has come to the stage: its process."""
        if stage == "before the first item":
            # The greeting and the question for the target pass, the item does not.
            self.link.fault("stall", 5000)
            process = self.begin("cp", "large", self.place())
            self.link.await_struck()
        elif stage == "in the middle of a file":
            self.link.pace(16384, 0.005)
            process = self.begin("cp", "large", self.place())
            self.until_exists("far/large", 500_000)
        else:
            self.link.pace(16384, 0.02)
            process = self.begin("cp", "-R", "many/.", self.place())
            until(lambda: len(os.listdir(self.path("far"))) > FILES // 4,
                  lambda: os.listdir(self.path("far")))
        self.assertIsNone(process.poll())
        return process

    def assert_lost(self, process):
        status, error = self.finish(process)
        self.assertIn(status, (1, 3), error)
        self.assertIn(self.link.address, error)

    STAGES = ("before the first item", "in the middle of a file", "between items")


class Receiver(Kills):
    def test_a_worker_that_is_killed_is_told_and_the_next_copy_meets_another(self):
        for stage in self.STAGES:
            with self.subTest(stage):
                process = self.amid(stage)
                os.kill(self.pid_of_worker(self.there), signal.SIGKILL)
                self.link.heal()
                self.assert_lost(process)
                self.assert_serves()
                self.hoq("rm", "-r", "far")
                self.make("far/")

    def test_a_daemon_that_is_killed_is_told(self):
        for stage in self.STAGES:
            with self.subTest(stage):
                process = self.amid(stage)
                self.there.process.kill()
                self.there.wait()
                self.link.heal()
                self.assert_lost(process)
                self.hoq("rm", "-r", "far")
                self.make("far/")
                self.there = self.serve(("admin", "read change"), name="there.toml")
                self.link.close()
                self.link = self.relay()

    def test_what_is_stopped_for_a_while_goes_on(self):
        for name, pid in (("worker", self.pid_of_worker(self.there)),
                          ("daemon", self.there.process.pid)):
            with self.subTest(name):
                process = self.amid("in the middle of a file")
                os.kill(pid, signal.SIGSTOP)
                try:
                    self.link.pace(1 << 20, 0)
                    self.assertLess(os.path.getsize(self.path("far/large")), LARGE)
                    self.assertIsNone(process.poll())
                finally:
                    os.kill(pid, signal.SIGCONT)
                self.assertEqual(self.finish(process), (0, ""))
                self.assertEqual(self.read("far/large"), self.read("large"))
                os.remove(self.path("far/large"))

    def test_a_worker_that_is_stopped_for_good_is_given_up_by_a_node(self):
        sender = self.serve(("admin", "read change"), limits="idle_seconds = 1", name="sender.toml")
        self.there = self.serve(("localhost", "change"), ("admin", "read change"),
                                name="stopped.toml")
        self.done(self.on(sender, "-C", self.dir, "cp", "tree/a", self.target("far")))
        worker = self.pid_of_worker(self.there, "localhost")
        os.kill(worker, signal.SIGSTOP)
        self.addCleanup(lambda: os.kill(worker, signal.SIGKILL))
        result = self.on(sender, "-C", self.dir, "cp", "large", self.target("far"))
        self.assertEqual(result.status, 1, result)
        self.assertIn(b"stood still for 1 s", result.err)
        self.done(self.on(sender, "ls", "/"))


class Sender(Kills):
    def test_a_hoq_that_is_killed_leaves_no_half_file(self):
        before = None
        for stage in self.STAGES:
            with self.subTest(stage):
                process = self.amid(stage)
                before = before or self.holdings(self.there)
                process.kill()
                self.finish(process)
                self.link.heal()
                until(lambda: not self.exists("far/large"), lambda: "the half file stays")
                self.assert_held_no_more(self.there, before)
                for name, found in self.contents("far").items():
                    self.assertEqual(found[0], self.read(f"many/{name}"))
                self.assert_serves()
                self.hoq("rm", "-r", "far")
                self.make("far/")

    def test_a_node_that_is_killed_leaves_no_half_file(self):
        self.there = self.serve(("localhost", "change"), ("admin", "read change"),
                                name="receiver.toml")
        self.link = self.relay()
        for kill in ("worker", "daemon"):
            with self.subTest(kill):
                sender = self.serve(("admin", "read change"), name=f"{kill}.toml")
                self.link.pace(16384, 0.005)
                process = self.begin("--node", sender.address(), "-C", self.dir, "cp", "large",
                                     self.place())
                self.until_exists("far/large", 500_000)
                pid = sender.process.pid if kill == "daemon" else self.pid_of_worker(sender)
                os.kill(pid, signal.SIGKILL)
                status, error = self.finish(process)
                self.assertEqual(status, 3, error)
                self.assertIn(sender.address(), error)
                self.link.heal()
                until(lambda: not self.exists("far/large"), lambda: "the half file stays")
                self.assert_serves()


class Interrupted(Kills):
    """A tree to a new place, whose sender is asked to end."""

    def test_the_temporary_directory_goes_and_the_signal_shows(self):
        self.make("wide/")
        self.fill("wide/large", LARGE)
        for number, source in ((signal.SIGINT, "many"), (signal.SIGTERM, "wide"),
                               (signal.SIGHUP, "many")):
            with self.subTest(signal=number):
                self.link.pace(16384, 0.01)
                process = self.begin("cp", "-R", source, self.place("new"))
                until(lambda: self.sizes() > 100_000, lambda: os.listdir(self.path("far")))
                process.send_signal(number)
                self.assertEqual(self.finish(process), (-number, ""))
                self.assertEqual(os.listdir(self.path("far")), [])
                self.link.heal()
                self.assert_serves()

    def test_it_goes_as_well_where_another_node_sends(self):
        self.there = self.serve(("localhost", "change"), ("admin", "read change"),
                                name="receiver.toml")
        self.link = self.relay()
        sender = self.serve(("admin", "read change"), name="sender.toml")
        self.link.pace(16384, 0.01)
        process = self.begin("--node", sender.address(), "-C", self.dir, "cp", "-R", "many",
                             self.place("new"))
        until(lambda: self.sizes() > 100_000, lambda: os.listdir(self.path("far")))
        process.send_signal(signal.SIGTERM)
        self.assertEqual(self.finish(process), (-signal.SIGTERM, ""))
        self.assertEqual(os.listdir(self.path("far")), [])
        self.done(self.on(sender, "ls", "/"))

    def sizes(self):
        """Of what has come so far."""
        total = 0
        for folder, _, files in os.walk(self.path("far")):
            for name in files:
                try:
                    total += os.path.getsize(os.path.join(folder, name))
                except FileNotFoundError:  # it was moved or removed since
                    pass
        return total


if __name__ == "__main__":
    main()
