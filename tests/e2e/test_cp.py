import filecmp
import os
import stat
import unittest

from hoqtest import HoqTest


class TransferTest(HoqTest):
    def text(self, name):
        with open(self.path(name), encoding="utf-8") as stream:
            return stream.read()

    def tree(self, name="."):
        """What is below a directory: names with texts of files and links."""
        top = self.path(name)
        found = {}
        for folder, directories, files in os.walk(top):
            for entry in directories + files:
                path = os.path.join(folder, entry)
                mode = os.lstat(path).st_mode
                if stat.S_ISLNK(mode):
                    what = b"-> " + os.readlink(path)
                elif stat.S_ISREG(mode):
                    with open(path, "rb") as file:
                        what = file.read()
                else:
                    what = stat.S_IFMT(mode)
                found[os.path.relpath(path, top).decode("utf-8", "surrogateescape")] = what
        return found

    def taken(self, source, target):
        return (f'Can\'t overwrite "{self.dir}/{target}" with "{self.dir}/{source}" file exists')


class Cp(TransferTest):
    def test_a_file_goes_where_its_destination_says(self):
        self.make("f=text", "d/", "to-d -> d", "d/e/", "to-to-d -> to-d")
        for destination, result in (("g", "g"), ("d", "d/f"), ("d/e/", "d/e/f"), ("d/e/h", "d/e/h"),
                                    (".//i", "i"), ("d/../j", "j"), (self.dir + "/k", "k")):
            with self.subTest(destination=destination):
                self.assertEqual(self.lines("cp", "f", destination), [])
                self.assertEqual(self.text(result), "text")
        os.unlink(self.path("d/f"))
        for destination in ("to-d", "to-d/", "to-to-d", "to-d/."):
            with self.subTest(destination=destination):
                self.assertEqual(self.lines("cp", "f", destination), [])
                self.assertEqual(self.text("d/f"), "text")
                os.unlink(self.path("d/f"))

    def test_links_at_the_destination_are_resolved_as_the_system_would(self):
        self.make("a/", "a/b/", "c/", "c/d/", "c/up -> ../c/d/..", "a/b/out -> ../../c/up/d",
                  "short -> a/b", "f=text", f"x -> {self.dir}/short/out")
        self.assertEqual(self.lines("cp", "f", "x"), [])
        self.assertEqual(self.text("c/d/f"), "text")
        self.assertEqual(self.lines("cp", "f", "short/out/../g"), [], "text first: no link left")
        self.assertEqual(self.text("a/b/g"), "text")

    def test_what_is_there_is_replaced_only_when_asked(self):
        self.make("f=new", "g=old", "d/", "d/f=old", "l -> g", "lost -> nowhere")
        for destination, target in (("g", "g"), ("d", "d/f"), ("l", "l"), ("lost", "lost")):
            with self.subTest(destination=destination):
                self.assert_fails(self.hoq("cp", "f", destination), 1, self.taken("f", target))
        self.assertEqual(self.text("g"), "old")
        for destination, target in (("g", "g"), ("d", "d/f"), ("l", "l"), ("lost", "lost")):
            with self.subTest(destination=destination):
                self.assertEqual(self.lines("cp", "-f", "f", destination), [])
                self.assertEqual(self.text(target), "new")
                self.assertFalse(os.path.islink(self.path(target)), "a link is replaced itself")

    def test_a_file_is_not_copied_onto_itself(self):
        self.make("f=text", "l -> f")
        os.link(self.path("f"), self.path("h"))
        for destination in ("f", "./f", "h"):
            with self.subTest(destination=destination):
                path = os.path.normpath(os.path.join(self.dir, destination))
                self.assert_fails(self.hoq("cp", "-f", "f", destination), 1,
                                  f'"{self.dir}/f" and "{path}" are the same item')
                self.assertEqual(self.text("f"), "text")
        self.assert_fails(self.hoq("cp", "f", "f"), 1, self.taken("f", "f"))
        self.assertEqual(self.lines("cp", "-f", "f", "l"), [], "a link is an item of its own")
        self.assertEqual((self.text("f"), os.path.islink(self.path("l"))), ("text", False))

    def test_a_slash_behind_the_destination_asks_for_a_directory(self):
        self.make("f", "g=old", "d/", "d/e")
        self.assert_fails(self.hoq("cp", "f", "new/"), 1, '"new/", No such file or directory')
        self.assert_fails(self.hoq("cp", "-f", "f", "g/"), 1, '"g/", Not a directory')
        self.assert_fails(self.hoq("cp", "-R", "d", "g/"), 1, '"g/", Not a directory')
        self.assertEqual(self.text("g"), "old")
        self.assertEqual(self.lines("cp", "-R", "d", "new/"), [], "a directory gets its name")
        self.assertEqual(os.listdir(self.path("new")), [b"e"])
        self.assert_fails(self.hoq("cp", "f/", "h"), 1, '"f/", Not a directory')

    def test_directories_are_copied_only_when_asked(self):
        self.make("d/", "d/f", "g=1", "to-d -> d", "out/")
        for arguments in (["d", "x"], ["d/", "x"], ["d", "out"], ["-f", ".", "out"],
                          ["-L", "to-d", "x"], ["to-d/", "x"]):
            with self.subTest(arguments=arguments):
                name = arguments[-2]
                self.assert_fails(self.hoq("cp", *arguments), 1,
                                  f'"{name}" is a directory; -R copies it')
                self.assertEqual((self.exists("x"), os.listdir(self.path("out"))), (False, []))
        result = self.hoq("cp", "d", "g", "out")
        self.assertEqual((result.status, result.err),
                         (1, b'hoq: "d" is a directory; -R copies it\n'))
        self.assertEqual(self.tree("out"), {"g": b"1"}, "the others are copied")

    def make_source(self):
        self.make("s/", "s/e/", "s/e/f=1", "s/g=2", "s/l -> g", "s/lost -> nowhere", "s/to-e -> e",
                  "s/empty/")
        os.mkfifo(self.path("s/p"))

    def test_trees_arrive_whole(self):
        self.make_source()
        os.chmod(self.path("s/g"), 0o751)
        os.chmod(self.path("s/empty"), 0o2755)
        self.assertEqual(self.lines("cp", "-R", "s", "t"), [])
        self.assertEqual(self.tree("t"), self.tree("s"))
        for name in ("g", "empty", "e/f", "."):
            self.assertEqual(os.stat(self.path("t/" + name)).st_mode,
                             os.stat(self.path("s/" + name)).st_mode, name)
        self.assertEqual(self.lines("cp", "-r", "s", "t"), [], "into what is there now")
        self.assertEqual(self.tree("t/s"), self.tree("s"))

    def test_the_contents_of_a_directory_are_merged(self):
        for number, source in enumerate(("s/.", "s/./", "s/e/..", "to-s/.", "./s/.//")):
            with self.subTest(source=source):
                if not self.exists("s"):
                    self.make_source()
                    self.make("to-s -> s")
                target = f"t{number}"
                self.make(target + "/", target + "/e/", target + "/e/kept=k")
                self.assertEqual(self.lines("cp", "-R", source, target), [])
                self.assertEqual(self.tree(target), {**self.tree("s"), "e/kept": b"k"})
                self.assertEqual(self.lines("cp", "-R", source, target + "-new"), [])
                self.assertEqual(self.tree(target + "-new"), self.tree("s"))
        self.make("w/")
        self.assertEqual(self.lines("-C", "s", "cp", "-R", ".", "../w"), [])
        self.assertEqual(self.tree("w"), self.tree("s"))

    def test_merging_stops_at_what_is_there_and_replaces_it_when_asked(self):
        self.make("s/", "s/f=new", "t/", "t/s/", "t/s/f=old", "t/s/g=kept")
        self.assert_fails(self.hoq("cp", "-R", "s", "t"), 1, self.taken("s/f", "t/s/f"))
        self.assertEqual(self.tree("t/s"), {"f": b"old", "g": b"kept"})
        self.assertEqual(self.lines("cp", "-Rf", "s", "t"), [])
        self.assertEqual(self.tree("t/s"), {"f": b"new", "g": b"kept"})

    def test_links_are_copied_as_links_unless_they_are_followed(self):
        self.make_source()
        self.make("to-s -> s", "to-g -> s/g", "t/")
        self.assertEqual(self.lines("cp", "-R", "to-s", "to-g", "t"), [])
        self.assertEqual(self.tree("t"), {"to-s": b"-> s", "to-g": b"-> s/g"})
        self.assertEqual(self.lines("cp", "-R", "to-s/", "t2"), [])
        self.assertEqual(self.tree("t2"), self.tree("s"), "a slash leads through")
        self.make("t3/")
        self.assertEqual(self.lines("cp", "-R", "to-s/", "t3"), [])
        self.assertEqual(self.tree("t3/to-s"), self.tree("s"), "under the link's own name")
        self.assertEqual(self.lines("cp", "-L", "to-g", "g"), [])
        self.assertEqual((self.text("g"), os.path.islink(self.path("g"))), ("2", False))
        os.unlink(self.path("s/lost"))
        self.assertEqual(self.lines("cp", "-R", "-L", "to-s", "t4"), [])
        self.assertEqual(self.tree("t4"), {"e": stat.S_IFDIR, "e/f": b"1", "g": b"2", "l": b"2",
                                           "to-e": stat.S_IFDIR, "to-e/f": b"1",
                                           "empty": stat.S_IFDIR, "p": stat.S_IFIFO})

    def test_a_directory_is_not_copied_into_itself(self):
        self.make("d/", "d/e/", "d/f", "to-d -> d")
        before = self.tree()
        for source, destination in (("d", "d"), ("d", "d/new"), ("d", "d/e"), ("d", "to-d"),
                                    ("d/.", "d/e"), ("to-d/", "d/e"), ("/", "d"), ("/.", "d")):
            with self.subTest(source=source, destination=destination):
                result = self.hoq("cp", "-Rf", source, destination)
                self.assertEqual((result.status, result.err.count(b"\n")), (1, 1), result)
                self.assertRegex(result.err, rb"into itself$|are the same item$")
                self.assertEqual(self.tree(), before)

    def test_several_sources_need_a_directory(self):
        self.make("a=1", "b=2", "g=old", "d/", "to-d -> d")
        for destination in ("g", "nope"):
            self.assert_fails(self.hoq("cp", "-f", "a", "b", destination), 1,
                              f'"{destination}" is not a directory, as several items need')
        self.assertEqual(self.text("g"), "old")
        self.assertEqual(self.lines("cp", "a", "b", "d"), [])
        self.assertEqual(self.tree("d"), {"a": b"1", "b": b"2"})
        self.assertEqual(self.lines("cp", "-f", "b", "g", "to-d/"), [])
        self.assertEqual(self.tree("d"), {"a": b"1", "b": b"2", "g": b"old"})

    def test_a_source_that_fails_does_not_stop_the_others(self):
        self.make("a=1", "b=2", "d/", "d/a=old")
        result = self.hoq("cp", "a", "nope", "", "b", "d")
        self.assertEqual((result.status, result.err.decode().splitlines()), (1, [
            'hoq: "", No such file or directory',
            'hoq: "nope", No such file or directory',
            "hoq: " + self.taken("a", "d/a")]))
        self.assertEqual(self.tree("d"), {"a": b"old", "b": b"2"})

    def test_what_the_same_run_has_brought_is_not_replaced(self):
        self.make("x/", "y/", "x/f=1", "y/f=2", "d/", "d/f=old")
        self.assert_fails(self.hoq("cp", "-f", "x/f", "y/f", "d"), 1,
                          f'"{self.dir}/d/f" was just made from "x/f", and is not replaced with '
                          '"y/f"')
        self.assertEqual(self.text("d/f"), "1")

    def test_patterns_are_patterns_only_when_asked(self):
        self.make("a.c=a", "b.c=b", "*.c=star", ".c=h", "s/", "s/c.c=c", "d/", "e/", "sub.c/")
        self.assertEqual(self.lines("cp", "*.c", "d"), [])
        self.assertEqual(self.tree("d"), {"*.c": b"star"})
        self.assertEqual(self.lines("cp", "-w", "[ab].c", "s/*", "no*", "e"), [])
        self.assertEqual(self.tree("e"), {"a.c": b"a", "b.c": b"b", "c.c": b"c"})
        result = self.hoq("cp", "-w", "-f", "*.c", "e")
        self.assertEqual((result.status, result.err), (
            1, b'hoq: "sub.c" is a directory; -R copies it\n'))
        self.assertEqual(sorted(self.tree("e")), ["*.c", ".c", "a.c", "b.c", "c.c"])
        self.assertEqual(self.lines("cp", "-w", "s/?.c", "one"), [], "a single match")
        self.assertEqual(self.text("one"), "c")
        self.assert_fails(self.hoq("cp", "-w", "-f", "[ab].c", "one"), 1,
                          '"one" is not a directory, as several items need')

    def test_odd_names_are_names(self):
        self.make("d/", "e/")
        names = [b"a\nb", b"\xff\xfe", b"100%s%n", b" ", b"-R", b"*", b"x" * 255, b"\x01"]
        for name in names:
            with open(self.path(b"d/" + name), "wb") as file:
                file.write(name)
        self.assertEqual(self.lines("cp", "-R", "d", "t"), [])
        self.assertEqual(self.tree("t"), self.tree("d"))
        self.assertEqual(self.lines("-C", "d", "cp", "--", *names, "../e"), [])
        self.assertEqual(self.tree("e"), self.tree("d"))

    def test_large_contents_arrive_whole(self):
        for size in (0, 1, 1023, 1024, 1025, 1 << 20):
            with open(self.path("f"), "wb") as file:
                file.write(bytes(index * 7 % 251 for index in range(size)))
            self.assertEqual(self.lines("cp", "-f", "f", "g"), [])
            self.assertTrue(filecmp.cmp(self.path("f"), self.path("g"), shallow=False), size)

    def test_a_hole_stays_one_unless_blocks_are_asked_for(self):
        size = 8 << 20
        with open(self.path("f"), "wb") as file:
            file.truncate(size)
        if os.stat(self.path("f")).st_blocks != 0:
            self.skipTest("files have no holes in this place")
        for engine, least, most in (("kernel", 0, 64), ("blocks", size // 512, 2 * size // 512)):
            self.assertEqual(self.lines("--engine", engine, "cp", "f", engine), [])
            self.assertTrue(filecmp.cmp(self.path("f"), self.path(engine), shallow=False))
            self.assertIn(os.stat(self.path(engine)).st_blocks, range(least, most + 1))

    def test_what_cannot_be_made_is_told(self):
        self.make("f", "d/", "d/g")
        self.assert_fails(self.hoq("cp", "f", "no/g"), 1, f'"{self.dir}/f", Cannot create file to '
                          "write: No such file or directory[2]")
        self.assert_fails(self.hoq("cp", "-R", "d", "no/g"), 1, f'"{self.dir}/d", Cannot create '
                          "directory: No such file or directory[2]")
        self.assert_fails(self.hoq("cp", "f", ""), 1, '"", No such file or directory')

    def test_an_unreadable_file_is_told_and_its_source_stays(self):
        self.make("f=secret", "d/")
        os.chmod(self.path("f"), 0)
        os.chmod(self.path("d"), 0o777)
        result = self.hoq_as_nobody("cp", "f", "d")
        self.assert_fails(result, 1,
                          f'"{self.dir}/f", Cannot open file to read: Permission denied[13]')
        self.assertEqual(os.listdir(self.path("d")), [])

    def test_wrong_usage_is_one_line(self):
        for command in ("cp", "mv"):
            for arguments in ([], ["f"], ["-f", "f"]):
                self.assert_fails(self.hoq(command, *arguments), 2,
                                  f"{command} needs a SRC and a DST (see hoq {command} --help)")


if __name__ == "__main__":
    unittest.main()
