"""Copies over links that are cut, slow, stuck or that change bytes."""

import os

from daemon import main
from nodes import LARGE, Faults, until


class FromHere(Faults):
    """hoq itself sends."""

    def test_a_link_that_is_cut_is_told_and_leaves_nothing(self):
        before = self.holdings(self.there)
        for of, after in (("client", 0), ("client", 400), ("client", 4000), ("client", 100_000),
                          ("client", LARGE - 100_000), ("server", 0), ("server", 1000),
                          ("server", 2050)):
            with self.subTest(of=of, after=after):
                self.link.fault("cut", after, of)
                status, error = self.finish(self.begin("cp", "large", self.place("large")))
                self.assertTrue(self.link.struck.is_set())
                self.assertIn(status, (1, 3), error)
                self.assertIn(self.link.address, error)
                until(lambda: not self.exists("far/large"), lambda: os.listdir(self.path("far")))
                self.assert_nothing_came()
        self.link.heal()
        self.assert_held_no_more(self.there, before)
        self.done(self.hoq(*self.files(), "cp", "large", self.place("large")))
        self.assertEqual(self.read("far/large"), self.data)

    def test_a_link_that_is_cut_before_it_stands_makes_the_node_unreachable(self):
        for of, after in (("client", 0), ("client", 400), ("server", 0), ("server", 400)):
            with self.subTest(of=of, after=after):
                self.link.fault("cut", after, of)
                status, error = self.finish(self.begin("cp", "large", self.place("large")))
                self.assertEqual((status, error.count("\n")), (3, 1), error)

    def test_a_bit_that_is_changed_is_found_and_nothing_of_it_arrives(self):
        before = self.holdings(self.there)
        for of, after in (("client", 300), ("client", 100_000), ("client", LARGE - 100_000),
                          ("server", 200), ("server", 2050)):
            with self.subTest(of=of, after=after):
                self.link.fault("flip", after, of)
                status, error = self.finish(self.begin("cp", "large", self.place("large")))
                self.assertTrue(self.link.struck.is_set())
                self.assertIn(status, (1, 3), error)
                self.assertIn(self.link.address, error)
                until(lambda: not self.exists("far/large"), lambda: os.listdir(self.path("far")))
                self.assert_nothing_came()
        self.assert_held_no_more(self.there, before)
        self.assert_serves()

    def test_copies_that_are_cut_again_and_again_leave_no_memory_taken(self):
        def cut(times):
            for _ in range(times):
                self.link.fault("cut", LARGE // 2)
                self.assertEqual(self.finish(self.begin("cp", "large", self.place("large")))[0], 1)
        cut(6)  # what is kept for later is there
        before = self.memory(self.there)
        cut(12)
        # Far less than half of what those were sent.
        self.assertLess(self.memory(self.there) - before, 12 * LARGE / 2 / 1024 / 2)

    def test_a_tree_whose_link_is_cut_is_not_there_at_all(self):
        self.make("many/")
        for number in range(40):
            self.fill(f"many/{number:02}", 10_000)
        self.link.fault("cut", 300_000)
        status, error = self.finish(self.begin("cp", "-R", "many", self.place("many")))
        self.assertIn(status, (1, 3), error)
        self.assertTrue(self.link.struck.is_set())
        until(lambda: os.listdir(self.path("far")) == [b"kept"],
              lambda: os.listdir(self.path("far")))

    def test_a_slow_link_is_no_stuck_one(self):
        data = self.fill("slow", 800_000)
        self.link.pace(16384, 0.04)  # twice the limit for what stands still
        self.done(self.hoq(*self.files(), "cp", "slow", self.place("slow")))
        self.assertEqual(self.read("far/slow"), data)

    def test_a_stuck_link_is_given_up_by_the_node(self):
        before = self.holdings(self.there)
        self.link.fault("stall", 1_000_000)
        process = self.begin("cp", "large", self.place("large"))
        self.link.await_struck()
        self.until_exists("far/large")
        until(lambda: not self.exists("far/large"), lambda: "the half file stays")
        self.assert_serves()
        self.link.heal()
        status, error = self.finish(process)
        self.assertIn(status, (1, 3), error)
        self.assertIn(self.link.address, error)
        self.assert_nothing_came()
        self.assert_held_no_more(self.there, before)


class FromNodeToNode(Faults):
    """Another node sends, to which the same limit applies."""

    def setUp(self):
        super().setUp()
        self.sender = self.serve(("admin", "read change"), limits="idle_seconds = 1",
                                 top='metrics = "127.0.0.1:0"', name="sender.toml")
        self.done(self.send("tree/a", "first"))
        os.remove(self.path("far/first"))

    def send(self, source, name):
        return self.on(self.sender, "-C", self.dir, "cp", source, self.place(name))

    def test_a_fault_on_the_way_is_told_and_leaves_nothing(self):
        before = self.holdings(self.there), self.holdings(self.sender)
        for kind in ("cut", "flip", "stall"):
            for of, after in (("client", 100_000), ("client", LARGE - 100_000)):
                with self.subTest(kind=kind, of=of, after=after):
                    self.link.fault(kind, after, of)
                    result = self.send("large", "large")
                    self.assertTrue(self.link.struck.is_set())
                    self.assertIn(result.status, (1, 3), result)
                    self.assertIn(b"large", result.err)
                    until(lambda: not self.exists("far/large"),
                          lambda: os.listdir(self.path("far")))
                    self.assert_nothing_came()
                    self.link.heal()
        self.done(self.send("large", "large"))
        self.assertEqual(self.read("far/large"), self.data)
        self.assert_held_no_more(self.there, before[0])
        self.assert_held_no_more(self.sender, before[1])


if __name__ == "__main__":
    main()
