import json
import os
import stat
import unittest

from hoqtest import HoqTest, environment


class Stat(HoqTest):
    def setUp(self):
        super().setUp()
        self.make("d/", "d/f=hello\n", "to-d -> d", "to-f -> d/f", "lost -> nowhere", "d/own/")

    def record(self, *arguments):
        return json.loads(self.lines("stat", "--json", *arguments)[0])

    def test_everything_is_shown(self):
        os.utime(self.path("d/f"), (0, 1750000000))
        os.chmod(self.path("d/f"), 0o2640)
        lines = dict(line.strip().split(": ", 1) for line in self.lines("stat", "d/f"))
        self.assertEqual(lines["Name"], "d/f")
        self.assertEqual(lines["Type"], "regular file")
        self.assertEqual(lines["Size"], "6 bytes")
        self.assertEqual(lines["Mode"], "2640 (-rw-r-S---)")
        self.assertEqual(lines["Links"], "1")
        self.assertEqual(lines["Modified"], "2025-06-15 15:06 (@1750000000)")
        self.assertTrue(lines["User"].endswith(f" ({os.geteuid()})"))
        self.assertNotIn("Content", lines)

    def test_records_agree_with_the_system(self):
        os.mkfifo(self.path("d/p"))
        for path in ("d", "d/f", "d/p", "to-d", "to-f", "lost", "/", "/proc", "/dev/null",
                     self.dir, "."):
            with self.subTest(path=path):
                record = self.record(path)
                expected = os.lstat(os.path.join(self.dir, path))
                directory = stat.S_ISDIR(expected.st_mode)
                self.assertEqual(record["name"], path)
                self.assertEqual(record["path"], path)
                self.assertEqual(record["type"], expected.st_mode >> 12)
                self.assertEqual(record["permissions"], expected.st_mode & 0o7777)
                self.assertEqual((record["uid"], record["gid"]),
                                 (expected.st_uid, expected.st_gid))
                self.assertEqual(record["size"], 0 if directory else expected.st_size)
                if path != "/proc":  # its links come and go
                    self.assertEqual(record["nlink"], expected.st_nlink)

    def test_links_are_links_unless_followed(self):
        cases = [
            (["to-d"], 10, "d"),
            (["to-d/"], 4, ""),
            (["to-d/."], 4, ""),
            (["-L", "to-f"], 8, None),
            (["lost"], 10, "nowhere"),
            (["-L", "lost"], 10, "nowhere"),
        ]
        for arguments, kind, target in cases:
            with self.subTest(arguments=arguments):
                record = self.record(*arguments)
                self.assertEqual(record["type"], kind)
                if target is not None:
                    self.assertEqual(record["linkTarget"], target)

    def test_items_are_found_behind_links(self):
        self.assertEqual(self.record("to-d/f")["size"], 6)
        self.assertEqual(self.record("-C", "to-d", "f")["size"], 6)
        self.assertEqual(self.record("-C", "to-d", ".")["type"], 4)

    def test_text_alone_resolves_dots(self):
        for path in ("d/../d/f", "./d//f", "d/own/../f", "nope/../d/f"):
            with self.subTest(path=path):
                self.assertEqual(self.record(path)["size"], 6)

    def test_what_is_missing_is_told_and_costs_only_itself(self):
        result = self.hoq("stat", "nope", "d/f/x", "nope/x", "d/f/", "lost/", "", "d/f")
        self.assertEqual(result.status, 1)
        self.assertEqual(result.err.decode().splitlines(), [
            'hoq: "nope", No such file or directory',
            'hoq: "d/f/x", Not a directory',
            'hoq: "nope/x", No such file or directory',
            'hoq: "d/f/", Not a directory',
            'hoq: "lost/", No such file or directory',
            'hoq: "", No such file or directory',
        ])
        self.assertIn(b"Name: d/f\n", result.out)

    def test_what_cannot_be_searched_is_not_called_missing(self):
        os.chmod(self.path("d/own"), 0o600)
        if os.geteuid() == 0:
            os.chown(self.path("d/own"), 0, 0)
        result = self.hoq_as_nobody("stat", "d/own/x")
        self.assertEqual(result.status, 1)
        self.assertIn(b"Permission denied", result.err)

    def test_blocks_of_several_items_are_apart(self):
        self.assertEqual(self.lines("stat", "d", "d/f").count(""), 1)

    def test_the_content_type_is_found_out_on_demand_only(self):
        os.mkdir(self.path("tools"))
        with open(self.path("tools/file"), "w", encoding="utf-8") as script:
            script.write('#!/bin/sh\necho "asked for $1 $2"\n')
        os.chmod(self.path("tools/file"), 0o755)
        env = environment(PATH=os.path.join(self.dir, "tools") + ":/usr/bin:/bin")
        asked = self.hoq("stat", "-t", "d/f", "d", env=env).out.decode()
        self.assertEqual(asked.count("Content:"), 1, "of the file, not of the directory")
        self.assertIn(f"Content: asked for -ib {self.dir}/", asked)
        self.assertNotIn("Content:", self.hoq("stat", "d/f", env=env).out.decode())
        bare = environment(PATH=os.path.join(self.dir, "d"))
        self.assertIn(b"Content: application/x-not-regular-file",
                      self.hoq("stat", "--content-type", "d/f", env=bare).out)


if __name__ == "__main__":
    unittest.main()
