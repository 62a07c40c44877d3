"""Where copies to nodes meet themselves or each other: the same file, the same node, the same
place at once."""

import os

from daemon import main
from nodes import Nodes


class SameFile(Nodes):
    """The target is the very file that is sent, seen by another process of this machine."""

    def setUp(self):
        super().setUp()
        self.other = self.serve(("admin", "read change"), name="other.toml")
        self.make("file=contents", "by-way -> .", "holder/", "far/")
        os.link(self.path("file"), self.path("holder/file"))

    def test_a_file_is_not_put_over_itself(self):
        for target in ("file", "by-way/file", "", "holder/file", "holder"):
            for node in (None, self.other):
                with self.subTest(target=target, node=node):
                    arguments = ["-C", self.dir, "cp", "-f", "file", self.target(target)]
                    result = (self.on(node, *arguments) if node
                              else self.hoq(*self.files(), *arguments))
                    self.assert_fails(
                        result, 1, f'"{self.dir}/file", Cannot copy file onto itself')
                    self.assertEqual(self.read("file"), b"contents")
                    self.assertEqual(os.stat(self.path("file")).st_nlink, 2)

    def test_a_tree_is_not_put_over_itself(self):
        before = self.contents("tree")
        for target in ("", "by-way"):
            result = self.hoq(*self.files(), "cp", "-Rf", "tree", self.target(target))
            self.assertEqual(result.status, 1, result)
            self.assertIn(b"Cannot copy file onto itself", result.err)
            self.assertEqual(self.contents("tree"), before)

    def test_another_file_is_replaced_and_so_is_a_link_to_the_source(self):
        self.make("far/file=old", "far/link -> ../file")
        for target in ("far/file", "far/link"):
            self.done(self.hoq(*self.files(), "cp", "-f", "file", self.target(target)))
            self.assertEqual(self.contents("far")[target[4:]], (b"contents", 0o644))
            self.assertFalse(os.path.islink(self.path(target)))
        self.assertEqual(self.read("file"), b"contents")


class SameNode(Nodes):
    def to_itself(self, *arguments):
        return self.on(self.there, "-C", self.dir, "cp", *arguments)

    def test_a_node_sends_to_itself(self):
        self.done(self.to_itself("tree/a", self.target("copy")))
        self.assertEqual(self.read("copy"), b"one")
        self.done(self.to_itself("-R", "tree", self.target("tree2")))
        self.assertEqual(self.contents("tree2"), self.contents("tree"))

    def test_a_tree_is_not_sent_into_itself(self):
        before = self.contents("tree")
        for target in ("tree", "tree/sub", "tree/new", "tree/sub/new"):
            with self.subTest(target):
                result = self.to_itself("-R", "tree", self.target(target))
                self.assertEqual(result.status, 1, result)
                self.assertIn(b"Cannot copy directory into itself", result.err)
                self.assertLessEqual(before.items(), self.contents("tree").items())
                self.hoq("rm", "-r", "tree")
                self.make("tree/", "tree/a=one", "tree/sub/", "tree/sub/b=two", "tree/empty/")
                os.chmod(self.path("tree/a"), 0o640)


class SamePlace(Nodes):
    """Two copies at once. Either may win; none may be told that it went well where it did not."""

    SIZE = 2_000_000
    COUNT = 4

    def race(self, *rows):
        """Starts a copy for each row of arguments; their statuses and texts."""
        runs = [self.begin("cp", *row) for row in rows]
        return [self.finish(run) for run in runs]

    def test_one_file_of_two_is_there_whole(self):
        for turn in range(self.COUNT):
            datas = [self.fill(f"source{number}", self.SIZE) for number in range(2)]
            for flags in ([], ["-f"]):
                with self.subTest(turn=turn, flags=flags):
                    told = self.race(*([*flags, f"source{number}", self.target("place")]
                                       for number in range(2)))
                    went_well = [number for number in range(2) if told[number][0] == 0]
                    for status, error in told:
                        self.assertEqual((status, error != ""), (1, True) if status else (0, False))
                    self.assertTrue(went_well, told)
                    self.assertIn(self.read("place"), [datas[number] for number in went_well])
                    os.remove(self.path("place"))
        self.assert_serves()

    def test_one_tree_of_two_is_there_whole(self):
        for number in range(2):
            self.make(f"top{number}/", f"top{number}/tree/")
            for each in range(30):
                self.fill(f"top{number}/tree/{each}", 5000)
        for turn in range(self.COUNT):
            with self.subTest(turn=turn):
                told = self.race(*(["-R", f"top{number}/tree", self.target("place")]
                                   for number in range(2)))
                went_well = [number for number in range(2) if told[number][0] == 0]
                self.assertTrue(went_well, told)
                found = self.contents("place")
                whole = [self.contents(f"top{number}/tree") for number in range(2)]
                # The later one may find the earlier one's and go into it, as cp does.
                nested = {name[5:]: value for name, value in found.items()
                          if name.startswith("tree/")}
                plain = {name: value for name, value in found.items()
                         if name.split("/")[0] != "tree"}
                self.assertIn(plain, whole)
                if nested:
                    self.assertIn(nested, whole)
                self.assertEqual(len(went_well), 2 if nested else 1, told)
                left = [name for name in os.listdir(self.dir) if name.startswith(".hoq-")]
                self.assertEqual(left, [])
                self.hoq("rm", "-r", "place")
        self.assert_serves()


if __name__ == "__main__":
    main()
