import json
import os
import resource
import unittest

from hoqtest import HoqTest


class Ls(HoqTest):
    def setUp(self):
        super().setUp()
        self.make("src/", "src/sub/", "src/sub/deep/", "empty/", "src/a.c=int x;\n", "src/b.h=1",
                  "src/sub/deep/t.c=12", "src/.hidden", "notes.txt=hello", "to-src -> src",
                  "lost -> nowhere", "to-notes -> notes.txt")

    def test_a_directory_is_listed_by_name_one_on_each_line(self):
        self.assertEqual(self.lines("ls", "src"), ["a.c", "b.h", "sub"])
        self.assertEqual(self.lines("ls"),
                         ["empty", "lost", "notes.txt", "src", "to-notes", "to-src"])
        self.assertEqual(self.lines("ls", "empty"), [])

    def test_all_shows_hidden_names_and_the_dots(self):
        self.assertEqual(self.lines("ls", "-a", "src"),
                         [".", "..", ".hidden", "a.c", "b.h", "sub"])

    def test_paths_lead_where_they_lead_elsewhere(self):
        cases = [
            (["."], self.lines("ls")),
            ([".", "-C", "src"], ["a.c", "b.h", "sub"]),
            (["-C", "src", ".."], self.lines("ls")),
            (["src/sub/.."], ["a.c", "b.h", "sub"]),
            (["src//sub/./deep/"], ["t.c"]),
            ([self.dir + "/src"], ["a.c", "b.h", "sub"]),
            (["-C", "to-src"], ["a.c", "b.h", "sub"]),
            (["-C", "to-src", "sub"], ["deep"]),
            (["to-src"], ["a.c", "b.h", "sub"]),
            (["to-src/"], ["a.c", "b.h", "sub"]),
            (["to-src/sub"], ["deep"]),
            (["notes.txt"], ["notes.txt"]),
            (["to-notes"], ["to-notes"]),
            (["lost"], ["lost"]),
        ]
        for arguments, expected in cases:
            with self.subTest(arguments=arguments):
                self.assertEqual(self.lines("ls", *arguments), expected)

    def test_the_root_and_what_is_above_it_can_be_listed(self):
        expected = sorted(name for name in os.listdir("/") if not name.startswith("."))
        for path in ("/", "//", "/..", "/../."):
            with self.subTest(path=path):
                self.assertEqual(self.lines("ls", path), expected)

    def test_items_come_before_directories_which_get_headings(self):
        self.assertEqual(self.lines("ls", "src", "notes.txt", "empty"),
                         ["notes.txt", "", "empty:", "", "src:", "a.c", "b.h", "sub"])

    def test_what_is_missing_costs_only_itself(self):
        result = self.hoq("ls", "nope", "notes.txt", "notes.txt/x", "nope/x", "lost/", "", "empty")
        self.assertEqual(result.status, 1)
        self.assertEqual(result.out, b"notes.txt\n\nempty:\n")
        self.assertEqual(result.err.decode().splitlines(), [
            'hoq: "nope", No such file or directory',
            'hoq: "notes.txt/x", Not a directory',
            'hoq: "nope/x", No such file or directory',
            'hoq: "lost/", No such file or directory',
            'hoq: "", No such file or directory',
        ])

    def test_long_lines_tell_everything_and_stand_in_line(self):
        os.chmod(self.path("src/a.c"), 0o4751)
        os.utime(self.path("src/a.c"), (0, 1750000000))
        os.truncate(self.path("src/b.h"), 12345678)
        os.utime(self.path("src/b.h"), (0, -61))
        if os.geteuid() == 0:
            os.chown(self.path("src/b.h"), 123456789, 4000000000)
        lines = self.lines("ls", "-l", "src")
        self.assertEqual(len(lines), 3)
        mode, links, user, group, size, day, minute, name = lines[0].split()
        self.assertEqual((mode, links, size, day, minute, name),
                         ("-rwsr-x--x", "1", "7", "2025-06-15", "15:06", "a.c"))
        if os.geteuid() == 0:
            self.assertEqual(lines[1].split()[2:4], ["123456789", "4000000000"])
        self.assertIn("1969-12-31 23:58 b.h", lines[1])
        self.assertEqual(lines[2].split()[0], "drwxr-xr-x")
        starts = {line.index(line.split()[5]) for line in lines}
        self.assertEqual(len(starts), 1, "the times stand below each other")

    def test_a_long_listing_shows_links_as_links(self):
        self.assertTrue(self.lines("ls", "-l", "to-src")[0].endswith(" to-src -> src"))
        self.assertTrue(self.lines("ls", "-l", "lost")[0].endswith(" lost -> nowhere"))
        self.assertEqual(len(self.lines("ls", "-l", "to-src/")), 3)
        self.assertEqual(len(self.lines("ls", "-lL", "to-src")), 3)
        self.assertEqual(self.lines("ls", "-lL", "to-notes")[0].split()[0], "-rw-r--r--")

    def test_the_dots_of_a_linked_directory_are_its_own(self):
        self.make("far/", "far/inner/", "far/marker/", "far/marker2/", "way -> far/inner")
        plain = self.lines("ls", "-la", "far/inner")
        linked = self.lines("ls", "-la", "way/")
        self.assertEqual(linked, plain)

    def test_human_sizes_are_rounded_up(self):
        os.truncate(self.path("src/b.h"), 1025)
        self.assertIn(" 1.1K ", self.lines("ls", "-lh", "src")[1])
        self.assertIn(" 7 ", self.lines("ls", "-lh", "src")[0])

    def test_a_tree_is_drawn(self):
        self.assertEqual(self.lines("ls", "-R", "src"), [
            "src", "├── a.c", "├── b.h", "└── sub", "    └── deep", "        └── t.c"])

    def test_links_to_directories_are_entered_only_when_followed(self):
        self.assertNotIn("    ├── a.c", self.lines("ls", "-R"))
        tree = self.lines("ls", "-RL", "-C", self.dir)
        self.assertEqual(tree[-1], "            └── t.c")
        self.assertIn("└── to-src", tree)

    def test_a_long_tree_is_a_block_for_each_directory(self):
        headings = [line for line in self.lines("ls", "-lR", "src") if line.endswith(":")]
        self.assertEqual(headings, ["src:", "src/sub:", "src/sub/deep:"])

    def test_sums_are_of_everything_below(self):
        self.assertEqual(self.lines("ls", "-s", "src"), ["7 a.c", "1 b.h", "2 sub"])
        self.assertEqual(self.lines("ls", "-sR", "src")[1:],
                         ["├── [7] a.c", "├── [1] b.h", "└── [2] sub", "    └── [2] deep",
                          "        └── [2] t.c"])
        self.assertEqual(self.lines("ls", "-sw", "s*/su[b]"), ["2 src/sub"])
        self.assertEqual(self.lines("ls", "-sw", "s*/sub"), ["2 src/sub"])

    def test_json_is_one_object_on_each_line_with_the_path(self):
        records = [json.loads(line) for line in self.lines("ls", "-R", "--json", "src")]
        self.assertEqual([record["path"] for record in records],
                         ["src/a.c", "src/b.h", "src/sub", "src/sub/deep", "src/sub/deep/t.c"])
        keys = ("path name type permissions user uid group gid size mtime nlink linkTarget "
                "contentType valid").split()
        for record in records:
            self.assertEqual(sorted(record), sorted(keys))
        status = os.stat(self.path("src/a.c"))
        first = records[0]
        self.assertEqual((first["name"], first["type"], first["permissions"], first["uid"],
                          first["size"], first["mtime"], first["nlink"]),
                         ("a.c", 8, 0o644, status.st_uid, 7, int(status.st_mtime), 1))
        link = json.loads(self.lines("ls", "-l", "--json", "to-src")[0])
        self.assertEqual((link["path"], link["type"], link["linkTarget"]), ("to-src", 10, "src"))
        self.assertEqual(json.loads(self.lines("ls", "--json", "empty/..")[0])["path"],
                         "empty/../empty")

    def test_patterns_stand_for_paths(self):
        cases = [
            ("*.txt", ["notes.txt"]),
            ("src/*", ["src/.hidden", "src/a.c", "src/b.h", "src/sub"]),
            ("src/[ab].?", ["src/a.c", "src/b.h"]),
            ("*/sub", ["src/sub", "to-src/sub"]),
            ("*/sub/*/t.c", ["src/sub/deep/t.c", "to-src/sub/deep/t.c"]),
            ("s*/s*/", ["src/sub"]),
            ("./s*", ["./src"]),
            ("src/*/../a.c", ["src/sub/../a.c"]),
            (self.dir + "/e*", [self.dir + "/empty"]),
            ("nothing*", []),
            ("nothing/*", []),
            ("notes.txt/*", []),
            ("*/nothing", []),
            ("notes.txt", ["notes.txt"]),
        ]
        for pattern, expected in cases:
            with self.subTest(pattern=pattern):
                self.assertEqual(self.lines("ls", "-w", pattern), expected)
        self.assertEqual(self.lines("ls", "-Rw", "s*/su*"), ["src/sub", "└── deep",
                                                              "    └── t.c"])

    def test_matches_of_patterns_tell_everything_at_every_level(self):
        lines = self.lines("ls", "-lw", "*/*/deep")
        self.assertEqual([line.split()[0] for line in lines], ["drwxr-xr-x"] * 2)
        self.assertTrue(lines[0].endswith(" src/sub/deep"))

    def test_a_name_with_wildcards_is_an_ordinary_name_without_the_option(self):
        self.make("[x]=1", "x=22", "*/", "*/inner")
        self.assertEqual(self.lines("ls", "[x]"), ["[x]"])
        self.assertEqual(self.lines("ls", "*"), ["inner"])

    def test_an_unreadable_directory_costs_only_itself(self):
        self.make("locked/", "locked/in/", "zoo/", "zoo/f=123")
        os.chmod(self.path("locked"), 0o311)
        self.addCleanup(os.chmod, self.path("locked"), 0o755)
        result = self.hoq_as_nobody("ls", "-R")
        self.assertEqual(result.status, 1)
        self.assertIn(f'"{self.dir}/locked", Cannot read directory: Permission denied'.encode(),
                      result.err)
        self.assertIn("└── zoo\n    └── f\n".encode(), result.out)
        self.assertIn("├── locked\n├── ".encode(), result.out)
        self.assertIn("└── [3] zoo\n    └── [3] f\n".encode(),
                      self.hoq_as_nobody("ls", "-sR").out)
        self.assertEqual(self.hoq_as_nobody("ls", "locked").status, 1)

    def test_deep_trees_need_no_deep_stack(self):
        depth = 1500
        here = os.getcwd()
        try:
            os.chdir(self.path("empty"))
            for _ in range(depth):
                os.mkdir("d")
                os.chdir("d")
        finally:
            os.chdir(here)
        limit = lambda: resource.setrlimit(resource.RLIMIT_STACK, (1 << 20, 1 << 20))
        for options in (["-R"], ["-lR"], ["-R", "--json"], ["-sR"], ["-R", "--filter", "type=d"]):
            with self.subTest(options=options):
                result = self.hoq("ls", *options, "empty", preexec_fn=limit)
                self.assertEqual((result.status, result.err), (0, b""))
                self.assertGreaterEqual(result.out.count(b"\n"), depth)
        result = self.hoq("rm", "-r", "empty", preexec_fn=limit)
        self.assertEqual((result.status, result.err), (0, b""))
        self.assertFalse(self.exists("empty"))


class LsFilter(HoqTest):
    def setUp(self):
        super().setUp()
        self.make("d/", "d/big=" + "x" * 3000, "d/small=x", "d/link -> big", "d/sub/",
                  "d/sub/big2=" + "x" * 2000, "d/a*=12345")
        os.mkfifo(self.path("d/pipe"))
        os.utime(self.path("d/big"), (0, 1000))
        os.utime(self.path("d/sub"), (0, 1000))

    def test_conditions_keep_what_meets_them(self):
        cases = [
            (["size>1k"], ["big"]),
            (["size=1"], ["small"]),
            (["type=f"], ["a*", "big", "small"]),
            (["type=d"], ["sub"]),
            (["type=p"], ["pipe"]),
            (["type!=f", "type!=d"], ["link", "pipe"]),
            (["mtime=@1000"], ["big", "sub"]),
            (["mtime>2000-01-01", "type=f"], ["a*", "small"]),
            (["name=b*"], ["big"]),
            (["name!=*a*", "type=f"], ["big"]),
            (["name=a[*]"], ["a*"]),
            (["ctime>2000-01-01", "type=f"], ["a*", "big", "small"]),
            (["ctime<2000-01-01", "type=f"], []),
            (["ctime<2000-01-01"], ["sub"]),  # the answer cannot tell it of directories
            ([f"uid={os.geteuid()}", "size>1k"], ["big"]),
            (["uid=4000000000"], []),
            (["size>1k", "size<2k"], []),
        ]
        for conditions, expected in cases:
            arguments = [part for text in conditions for part in ("--filter", text)]
            with self.subTest(conditions=conditions):
                self.assertEqual(self.lines("ls", "d", *arguments), expected)

    def test_the_owner_named_is_the_one_kept(self):
        if os.geteuid() != 0:
            self.skipTest("needs root to give a file away")
        os.chown(self.path("d/small"), 4000000000, 4000000001)
        self.assertEqual(self.lines("ls", "d", "--filter", "user=4000000000"), ["small"])
        self.assertEqual(self.lines("ls", "d", "--filter", "group=4000000001"), ["small"])
        self.assertNotIn("small", self.lines("ls", "d", "--filter", "user=root"))
        self.assertIn("big", self.lines("ls", "d", "--filter", "user=root"))
        self.assertEqual(self.lines("ls", "d", "--filter", "user!=root"), ["small"])

    def test_the_dots_are_not_shown_beside_a_condition(self):
        self.assertEqual(self.lines("ls", "-a", "d", "--filter", "type=d"), ["sub"])

    def test_conditions_hold_for_named_items_and_matches(self):
        self.assertEqual(self.lines("ls", "--filter", "size>1k", "d/big", "d/small"), ["d/big"])
        self.assertEqual(self.lines("ls", "--filter", "name=b*", "d/big"), ["d/big"])
        self.assertEqual(self.lines("ls", "--filter", "ctime<2000-01-01", "d/big"), [])
        self.assertEqual(self.lines("ls", "--filter", "ctime>2000-01-01", "d/big"), ["d/big"])
        self.assertEqual(self.lines("ls", "-w", "--filter", "size>1k", "d/*", "*/*/b*"),
                         ["d/big", "d/sub/big2"])

    def test_trees_show_what_leads_to_a_match(self):
        self.assertEqual(self.lines("ls", "-R", "--filter", "size>1k", "d"),
                         ["d", "├── big", "└── sub", "    └── big2"])
        paths = [json.loads(line)["path"]
                 for line in self.lines("ls", "-R", "--json", "--filter", "size>1k", "d")]
        self.assertEqual(paths, ["d/big", "d/sub/big2"])
        self.assertEqual([line for line in self.lines("ls", "-lR", "--filter", "name=big2", "d")
                          if line.endswith(":")], ["d/sub:"])

    def test_sums_count_what_a_condition_hides(self):
        self.assertEqual(self.lines("ls", "-s", "--filter", "type=d", "d"), ["2000 sub"])
        self.assertEqual(self.lines("ls", "-s", "--filter", "size>1999", "--filter", "type=d", "d"),
                         ["2000 sub"])

    def test_a_condition_that_is_none_is_wrong_usage(self):
        self.assert_fails(self.hoq("ls", "--filter", "size>big"), 2,
                          '--filter "size>big": VALUE must be a number of bytes, with k, M, G or T '
                          "as units")
        for text in ("size", "owner=x", "user=no such user", "type=x", "ctime!=@1"):
            with self.subTest(text=text):
                result = self.hoq("ls", "--filter", text)
                self.assertEqual((result.status, result.out), (2, b""))
                self.assertEqual(result.err.count(b"\n"), 1)


if __name__ == "__main__":
    unittest.main()
