import base64
import json
import os
import unittest

from hoqtest import HoqTest


class Ln(HoqTest):
    def test_hard_links_share_the_item(self):
        self.make("f=text", "d/")
        self.assertEqual(self.lines("ln", "f", "g"), [])
        self.assertEqual(self.lines("ln", self.dir + "/f", "d/../h"), [])
        inode = os.stat(self.path("f")).st_ino
        self.assertEqual([os.lstat(self.path(name)).st_ino for name in "gh"], [inode, inode])

    def test_symbolic_links_record_the_absolute_target(self):
        self.make("d/")
        rows = [("f", f"{self.dir}/f"), ("d/../f", f"{self.dir}/f"), ("/x/./y//z", "/x/y/z"),
                ("..", os.path.dirname(self.dir)), ("nowhere/", f"{self.dir}/nowhere"),
                ("../" * 50 + "etc", "/etc"), ("/", "/")]
        for number, (target, recorded) in enumerate(rows):
            with self.subTest(target=target):
                self.assertEqual(self.lines("ln", "-s", target, f"l{number}"), [])
                self.assertEqual(os.readlink(f"{self.dir}/l{number}"), recorded)
        self.assertEqual(self.lines("-C", "d", "ln", "-s", "a/b", "l"), [])
        self.assertEqual(os.readlink(f"{self.dir}/d/l"), f"{self.dir}/d/a/b")

    def test_a_directory_takes_the_link_under_the_targets_name(self):
        self.make("f", "d/", "e/", "to-e -> e")
        for name in ("d", "d/", "to-e", "to-e/."):
            with self.subTest(name=name):
                self.assertEqual(self.lines("ln", "-s", "f", name), [])
                link = ("d/f" if name[0] == "d" else "e/f")
                self.assertEqual(os.readlink(f"{self.dir}/{link}"), self.dir + "/f")
                os.unlink(self.path(link))
        self.assertEqual(self.lines("ln", "f", "d/"), [])
        self.assertTrue(os.path.samefile(self.path("d/f"), self.path("f")))
        self.assert_fails(self.hoq("ln", "-s", "/", "d"), 1,
                          '"d" is a directory, and "/" has no name for a link in it')

    def test_what_cannot_be_is_told(self):
        self.make("f", "g", "d/", "lost -> nowhere")
        rows = [(["f", "g"], f'"{self.dir}/f", File exists'),
                (["-s", "f", "g"], f'"{self.dir}/f", File exists'),
                (["-s", "f", "lost"], f'"{self.dir}/f", File exists'),
                (["nope", "h"], f'"{self.dir}/nope", No such file or directory'),
                (["d", "h"], f'"{self.dir}/d", Operation not permitted'),
                (["f", "no/h"], f'"{self.dir}/f", No such file or directory'),
                (["f", "new/"], '"new/", Not a directory'),
                (["-s", "", "h"], '"", No such file or directory'),
                (["f", ""], '"", No such file or directory')]
        for arguments, error in rows:
            with self.subTest(arguments=arguments):
                self.assert_fails(self.hoq("ln", *arguments), 1, error)
        self.assertEqual(sorted(os.listdir(self.dir)), ["d", "f", "g", "lost"])
        for arguments in ([], ["f"], ["f", "g", "d"]):
            self.assert_fails(self.hoq("ln", *arguments), 2,
                              "ln takes a TARGET and a NAME (see hoq ln --help)")


class Readlink(HoqTest):
    def test_the_text_is_printed_as_it_is(self):
        self.make("a -> b", "c -> ../x/./y/", "f")
        os.symlink(b"odd\n\xff", self.path("odd"))
        self.assertEqual(self.hoq("readlink", "a", "c", "odd").out, b"b\n../x/./y/\nodd\n\xff\n")
        lines = [json.loads(line) for line in self.lines("--json", "readlink", "a", "odd")]
        self.assertEqual(lines, [
            {"path": "a", "target": "b"},
            {"path": "odd",
             "target": {"base64": base64.b64encode(b"odd\n\xff").decode()}}])

    def test_texts_of_any_length_come_whole(self):
        for length in (1, 254, 255, 256, 1023, 1024, 4094, 4095):
            text = ("x" * 200 + "/") * 21
            os.symlink(text[:length], self.path("l"))
            self.assertEqual(self.lines("readlink", "l"), [text[:length]])
            os.unlink(self.path("l"))

    def test_what_is_no_link_is_told_and_does_not_stop_the_others(self):
        self.make("f", "d/", "l -> f")
        result = self.hoq("readlink", "f", "nope", "d", "", "l")
        self.assertEqual((result.status, result.out), (1, b"f\n"))
        self.assertEqual(result.err.decode().splitlines(), [
            'hoq: "", No such file or directory', f'hoq: "{self.dir}/f", Invalid argument',
            f'hoq: "{self.dir}/nope", No such file or directory',
            f'hoq: "{self.dir}/d", Invalid argument'])
        self.assert_fails(self.hoq("readlink"), 2,
                          "readlink needs a PATH (see hoq readlink --help)")


if __name__ == "__main__":
    unittest.main()
