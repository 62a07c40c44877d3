"""put and get over links that are cut, stuck or that change bytes."""

import os

from daemon import main
from nodes import Faults, until


class Contents(Faults):
    def contents_of_many(self):
        self.make("many/")
        for number in range(200):
            self.fill(f"many/{number}", 20_000)
        return self.contents("many")

    def test_put_and_get_put_nothing_in_place_when_the_link_is_lost(self):
        self.contents_of_many()
        self.make("here/")
        for command, arguments, of in (("put", ["many", f"{self.dir}/far/new"], "client"),
                                       ("get", [f"{self.dir}/many", "here/new"], "server")):
            for kind in ("cut", "flip"):
                with self.subTest(command=command, kind=kind):
                    self.link.fault(kind, 1_500_000, of)
                    status, error = self.finish(self.begin(
                        "--node", self.link.address, command, "-R", *arguments))
                    self.assertTrue(self.link.struck.is_set())
                    self.assertEqual((status, error.count("\n")), (3, 1), error)
                    self.assertIn(f"Lost the connection to node \"{self.link.address}\"", error)
                    self.assert_nothing_came()
                    self.assertEqual(self.contents("here"), {})

    def test_a_put_that_lost_its_link_goes_on_where_it_was(self):
        many = self.contents_of_many()
        put = ["--node", self.link.address, "put", "-R", "--resume", "many", f"{self.dir}/far/new"]
        self.link.fault("cut", 1_500_000)
        self.assertEqual(self.finish(self.begin(*put))[0], 3)
        self.assertFalse(self.exists("far/new"))
        self.link.heal()
        self.assertEqual(self.finish(self.begin(*put)), (0, ""))
        self.assertEqual(self.contents("far/new"), many)
        self.assertEqual(sorted(os.listdir(self.path("far"))), [b"kept", b"new"])

    def test_a_put_or_get_over_a_stuck_link_is_given_up_by_the_node(self):
        # What a get is sent may all find room on the way: then its call has ended well.
        for command, ended, arguments, of in (
                ("put", 'operation="Upload",code="-1"', ["large", f"{self.dir}/far/new"], "client"),
                ("get", 'operation="Download"', [f"{self.dir}/large", "new"], "server")):
            with self.subTest(command):
                before = self.holdings(self.there)
                self.link.fault("stall", 1_000_000, of)
                process = self.begin("--node", self.link.address, command, *arguments)
                self.link.await_struck()
                until(lambda: any(name.startswith("hoqd_calls_total") and ended in name
                                  for name in self.metrics(self.there)),
                      lambda: self.metrics(self.there))
                self.assertIsNone(process.poll())
                self.assert_serves()
                self.link.heal()
                status, error = self.finish(process)
                self.assertEqual((status, error.count("\n")), (3, 1), error)
                self.assertFalse(self.exists("new"))
                self.assert_nothing_came()
                self.assert_held_no_more(self.there, before)

    def test_a_worker_whose_links_broke_ends_in_order(self):
        self.contents_of_many()
        for _ in range(5):  # with something unsent, most of the time
            self.link.fault("cut", 1_500_000, "server")
            self.finish(self.begin("--node", self.link.address, "get", "-R", f"{self.dir}/many",
                                   "new"))
        [worker] = self.there.workers()
        self.configure(("admin", "read"), limits="idle_seconds = 1", name="strict.toml")
        self.there.reload()
        self.assertIn("exit status 0", self.there.log.wait(f"worker {worker} for admin ended"))


if __name__ == "__main__":
    main()
