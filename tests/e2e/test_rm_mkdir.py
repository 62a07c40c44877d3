import os
import unittest

from hoqtest import HoqTest


class Rm(HoqTest):
    def test_files_links_and_empty_directories_go(self):
        self.make("f", "e/", "kept/", "kept/f", "to-kept -> kept", "lost -> nowhere")
        self.assertEqual(self.lines("rm", "f", "e", "to-kept", "lost"), [])
        self.assertEqual(os.listdir(self.dir), ["kept"])
        self.assertTrue(self.exists("kept/f"))

    def test_trees_go_only_when_asked(self):
        self.make("d/", "d/e/", "d/e/f", "d/l -> ../out", "out/", "out/f")
        result = self.hoq("rm", "d")
        self.assert_fails(result, 1,
                          f'"{self.dir}/d", Cannot remove item: Directory not empty[39]')
        self.assertTrue(self.exists("d/e/f"))
        self.assertEqual(self.lines("rm", "-r", "d"), [])
        self.assertFalse(self.exists("d"))
        self.assertTrue(self.exists("out/f"), "what a link leads to stays")

    def test_a_path_that_fails_does_not_stop_the_others(self):
        self.make("a", "b")
        result = self.hoq("rm", "a", "nope", "", "b")
        self.assertEqual(result.status, 1)
        self.assertEqual(result.err.decode().splitlines(), [
            f'hoq: "{self.dir}/nope", Cannot get information: No such file or directory[2]',
            'hoq: "", No such file or directory',
        ])
        self.assertEqual(os.listdir(self.dir), [])

    def test_an_empty_path_is_not_the_working_directory(self):
        self.make("f")
        self.assertEqual(self.hoq("rm", "-r", "").status, 1)
        self.assertTrue(self.exists("f"))

    def test_what_leads_to_the_root_is_refused_and_nothing_is_removed(self):
        self.make("f")
        os.chmod(self.dir, 0o777)
        up = "../" * 50
        for path in ("/", "//", "/.", "/..", "/../", "/etc/..", "/*/..", "/*/../..", up, up + ".",
                     self.dir + "/" + up):
            for options in ([], ["-r"], ["-rw"]):
                with self.subTest(path=path, options=options):
                    # As nobody: a slip here must do no harm beyond this directory.
                    result = self.hoq_as_nobody("rm", *options, "f", path)
                    self.assert_fails(result, 1, f'"{path}" leads to "/"; nothing was removed (use '
                                      "--no-preserve-root if you mean it)")
                    self.assertTrue(self.exists("f"))

    def test_patterns_are_patterns_only_when_asked(self):
        self.make("a.tmp", "b.tmp", "c", "*.tmp")
        self.assertEqual(self.lines("rm", "*.tmp"), [])
        self.assertEqual(sorted(os.listdir(self.dir)), ["a.tmp", "b.tmp", "c"])
        self.assertEqual(self.lines("rm", "-w", "*.tmp"), [])
        self.assertEqual(os.listdir(self.dir), ["c"])
        self.assertEqual(self.lines("rm", "-w", "*.tmp"), [], "no match is no failure")

    def test_a_pattern_above_the_working_directory_does_not_move_it(self):
        self.make("w/", "w/y", "x1", "y")
        self.assertEqual(self.lines("rm", "-C", "w", "-w", "../x*", "y"), [])
        self.assertEqual(sorted(os.listdir(self.dir)), ["w", "y"])
        self.assertEqual(os.listdir(self.path("w")), [])

    def test_a_path_without_wildcards_that_is_not_there_fails_under_the_option_too(self):
        self.make("y")
        self.assert_fails(self.hoq("rm", "-w", "nope"), 1,
                          f'"{self.dir}/nope", Cannot get information: '
                          "No such file or directory[2]")
        self.assertTrue(self.exists("y"))

    def test_directories_that_a_pattern_matches_are_emptied_and_stay(self):
        self.make("d1/", "d1/e/", "d1/e/f", "d2/", "other/", "other/f")
        self.assertEqual(self.lines("rm", "-r", "-w", "d*"), [])
        self.assertEqual(os.listdir(self.dir + "/d1"), ["e"])
        self.assertEqual(os.listdir(self.path("d1/e")), [])
        self.assertTrue(self.exists("d2"))
        self.assertTrue(self.exists("other/f"))

    def test_without_a_path_it_is_wrong_usage(self):
        self.assert_fails(self.hoq("rm", "-r"), 2, "rm needs a PATH (see hoq rm --help)")


class Mkdir(HoqTest):
    def test_directories_are_made(self):
        self.assertEqual(self.lines("mkdir", "a", "a/b", self.dir + "/c", "d/"), [])
        for name in ("a/b", "c", "d"):
            self.assertTrue(os.path.isdir(self.path(name)), name)

    def test_parents_are_made_when_asked(self):
        result = self.hoq("mkdir", "a/b")
        self.assert_fails(result, 1, f'"{self.dir}/a/b", Cannot create directory: '
                          "No such file or directory[2]")
        self.assertEqual(self.lines("mkdir", "-p", "a/b/c", "x/../y"), [])
        self.assertEqual(sorted(os.listdir(self.dir)), ["a", "y"])
        self.assertTrue(os.path.isdir(self.path("a/b/c")))

    def test_one_that_is_there_is_an_error_only_without_p(self):
        self.make("d/", "f", "to-d -> d", "to-f -> f")
        self.assert_fails(self.hoq("mkdir", "d"), 1,
                          f'"{self.dir}/d", Cannot create directory: File exists[17]')
        self.assertEqual(self.lines("mkdir", "-p", "d", "to-d", "to-d/", "/", ".", "d/.."), [])
        for path in ("f", "to-f"):
            with self.subTest(path=path):
                self.assert_fails(self.hoq("mkdir", "-p", path), 1, f'"{self.dir}/{path}", '
                                  "Cannot create directory: File exists[17]")

    def test_a_file_in_the_way_is_told(self):
        self.make("f")
        self.assert_fails(self.hoq("mkdir", "-p", "f/a/b"), 1, f'"{self.dir}/f", is not a directory')

    def test_a_path_that_fails_does_not_stop_the_others(self):
        self.make("f")
        result = self.hoq("mkdir", "a", "f", "", "b")
        self.assertEqual((result.status, result.err.count(b"\n")), (1, 2))
        self.assertEqual(sorted(os.listdir(self.dir)), ["a", "b", "f"])

    def test_a_component_or_path_that_is_too_long_is_one_error(self):
        for path in ("x" * 256, ("y" * 200 + "/") * 30):
            with self.subTest(length=len(path)):
                result = self.hoq("mkdir", "-p", path)
                self.assertEqual((result.status, result.out), (1, b""))
                self.assertEqual(result.err.count(b"\n"), 1)


if __name__ == "__main__":
    unittest.main()
