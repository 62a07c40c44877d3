import os
import shutil
import stat
import tempfile
import unittest

from test_cp import TransferTest


class Mv(TransferTest):
    def test_items_move_as_what_they_are(self):
        self.make("f=1", "l -> f", "lost -> nowhere", "d/", "d/e/", "d/e/g=2", "to-d -> d")
        os.mkfifo(self.path("p"))
        inode = os.stat(self.path("d")).st_ino
        for name in ("f", "l", "lost", "d", "to-d", "p"):
            with self.subTest(name=name):
                self.assertEqual(self.lines("mv", name, name + "2"), [])
                self.assertFalse(self.exists(name))
        self.assertEqual(self.tree(), {
            "f2": b"1", "l2": b"-> f", "lost2": b"-> nowhere", "to-d2": b"-> d",
            "d2": stat.S_IFDIR, "d2/e": stat.S_IFDIR, "d2/e/g": b"2", "p2": stat.S_IFIFO})
        self.assertEqual(os.stat(self.path("d2")).st_ino, inode, "a directory is renamed")

    def test_a_directory_takes_what_comes(self):
        self.make("f=1", "s/", "s/g=2", "d/", "to-d -> d", "e/")
        inode = os.stat(self.path("f")).st_ino
        self.assertEqual(self.lines("mv", "f", "s", "to-d"), [])
        self.assertEqual(self.tree("d"), {"f": b"1", "s": stat.S_IFDIR, "s/g": b"2"})
        self.assertEqual(os.stat(self.path("d/f")).st_ino, inode, "a file is renamed into it")
        self.assertEqual(self.lines("mv", "-w", "d/*", "e/"), [])
        self.assertEqual((os.listdir(self.path("d")), sorted(os.listdir(self.path("e")))),
                         ([], [b"f", b"s"]))
        self.assertEqual(self.lines("mv", "e", "new/"), [], "a slash behind the new name")
        self.assertTrue(self.exists("new/s/g"))

    def test_what_is_there_is_replaced_only_when_asked(self):
        self.make("f=new", "g=old", "d/", "d/f=old")
        self.assert_fails(self.hoq("mv", "f", "g"), 1, self.taken("f", "g"))
        self.assert_fails(self.hoq("mv", "f", "d"), 1, self.taken("f", "d/f"))
        self.assertEqual((self.text("f"), self.text("g"), self.text("d/f")), ("new", "old", "old"))
        self.assertEqual(self.lines("mv", "-f", "f", "g"), [])
        self.assertEqual((self.exists("f"), self.text("g")), (False, "new"))
        self.assertEqual(self.lines("mv", "-f", "g", "d/f"), [])
        self.assertEqual(self.text("d/f"), "new")

    def test_a_directory_replaces_only_an_empty_one(self):
        self.make("s/", "s/f=1", "full/", "full/s/", "full/s/kept=k", "empty/", "empty/s/", "g=2")
        result = self.hoq("mv", "s", "full")
        self.assert_fails(result, 1, f'"{self.dir}/s", Directory not empty')
        self.assert_fails(self.hoq("mv", "-f", "s", "g"), 1, f'"{self.dir}/s", Not a directory')
        self.assertEqual(self.tree("full/s"), {"kept": b"k"})
        self.assertEqual(self.lines("mv", "s", "empty"), [])
        self.assertEqual(self.tree("empty/s"), {"f": b"1"})

    def test_nothing_moves_onto_or_into_itself(self):
        self.make("f=1", "d/", "d/e/", "d/f=2", "to-d -> d")
        os.link(self.path("f"), self.path("h"))
        before = self.tree()
        for arguments in (["f", "f"], ["f", "h"], ["d", "d"], ["d", "d/new"], ["d", "d/e"],
                          ["d", "to-d"]):
            with self.subTest(arguments=arguments):
                result = self.hoq("mv", "-f", *arguments)
                self.assertEqual((result.status, result.err.count(b"\n")), (1, 1), result)
                self.assertRegex(result.err, rb"into itself$|are the same item$")
                self.assertEqual(self.tree(), before)

    def test_the_working_directory_and_what_is_above_stay(self):
        self.make("w/", "w/x/", "to-w -> w", "out/")
        os.chmod(self.path("w"), 0o777)
        rows = [("w", ".", '"." holds the working directory, and is not moved'),
                ("w/x", "..", '".." holds the working directory, and is not moved'),
                ("w/x", "../../w", '"../../w" holds the working directory, and is not moved'),
                ("w/x", "../x/", '"../x/" holds the working directory, and is not moved'),
                ("to-w/x", self.dir + "/w",
                 f'"{self.dir}/w" holds the working directory, and is not moved'),
                ("w", self.dir + "/to-w/../w",
                 f'"{self.dir}/to-w/../w" holds the working directory, and is not moved'),
                ("w", "/", '"/" leads to "/", which is not moved'),
                ("w", "../" * 50, f'"{"../" * 50}" leads to "/", which is not moved'),
                ("out", "../w/.", '"../w/." is not moved; name the directory itself'),
                ("out", "../to-w/",
                 '"../to-w/" is a link; without the "/" behind it, the link is moved')]
        for directory, source, error in rows:
            with self.subTest(directory=directory, source=source):
                result = self.hoq_as_nobody("-C", directory, "mv", source, self.dir + "/out/new")
                self.assert_fails(result, 1, error)
        self.assertEqual(sorted(self.tree()), ["out", "to-w", "w", "w/x"])
        self.assertEqual(self.lines("-C", "w", "mv", "../to-w", "../moved"), [], "a link may go")

    def test_nothing_gets_lost_when_several_have_one_name(self):
        self.make("x/", "y/", "x/f=1", "y/f=2", "d/")
        self.assert_fails(self.hoq("mv", "-f", "x/f", "y/f", "d"), 1,
                          f'"{self.dir}/d/f" was just made from "x/f", and is not replaced with '
                          '"y/f"')
        self.assertEqual((self.text("d/f"), self.text("y/f")), ("1", "2"))

    def test_a_source_that_fails_does_not_stop_the_others(self):
        self.make("a=1", "b=2", "d/")
        result = self.hoq("mv", "a", "nope", "b", "d")
        self.assertEqual((result.status, result.err),
                         (1, b'hoq: "nope", No such file or directory\n'))
        self.assertEqual(self.tree("d"), {"a": b"1", "b": b"2"})


class MvAcross(TransferTest):
    """Moves to another file system."""

    def setUp(self):
        super().setUp()
        try:
            self.other = os.path.realpath(tempfile.mkdtemp(prefix="hoq-e2e-", dir="/dev/shm"))
        except OSError as error:
            self.skipTest(f"no second file system to move to: {error}")
        self.addCleanup(shutil.rmtree, self.other, ignore_errors=True)
        if os.stat(self.other).st_dev == os.stat(self.dir).st_dev:
            self.skipTest("/dev/shm is on the same file system as the test's directory")

    def test_trees_move_whole_and_leave_nothing(self):
        self.make("s/", "s/e/", "s/e/f=1", "s/g=2", "s/l -> g", "s/lost -> nowhere", "s/to-e -> e")
        os.mkfifo(self.path("s/p"))
        before = self.tree("s")
        self.assertEqual(self.lines("mv", "s", self.other), [])
        self.assertEqual(self.tree(os.path.join(self.other, "s")), before)
        self.assertFalse(self.exists("s"))
        self.assertEqual(self.lines("mv", self.other + "/s", "back"), [])
        self.assertEqual((self.tree("back"), os.listdir(self.other)), (before, []))

    def test_what_cannot_be_copied_stays_where_it_is(self):
        self.make("s/", "s/f=new")
        os.makedirs(self.other + "/s")
        with open(self.other + "/s/f", "w", encoding="utf-8") as file:
            file.write("old")
        result = self.hoq("mv", "s", self.other)
        self.assert_fails(result, 1, f'Can\'t overwrite "{self.other}/s/f" with "{self.dir}/s/f" '
                          "file exists")
        self.assertEqual((self.text("s/f"), self.text(self.other + "/s/f")), ("new", "old"))


if __name__ == "__main__":
    unittest.main()
