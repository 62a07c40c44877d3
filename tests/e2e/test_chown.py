import grp
import os
import pwd
import unittest

from hoqtest import HoqTest

ROOT = os.geteuid() == 0


class Chown(HoqTest):
    def owner(self, name):
        status = os.lstat(self.path(name))
        return status.st_uid, status.st_gid

    def need_root(self):
        if not ROOT:
            self.skipTest("only root may give items away")

    def test_to_oneself_anybody_may(self):
        self.make("f")
        uid, gid = os.geteuid(), os.getegid()
        user, group = pwd.getpwuid(uid).pw_name, grp.getgrgid(gid).gr_name
        for owner in (user, f"{user}:{group}", f":{group}", f"+{uid}", f"+{uid}:+{gid}",
                      f":+{gid}", f"{user}:+{gid}", f"+{uid}:{group}", str(uid), f"{uid}:{gid}"):
            with self.subTest(owner=owner):
                self.assertEqual(self.lines("chown", owner, "f"), [])
                self.assertEqual(self.owner("f"), (uid, gid))

    def test_each_form_changes_what_it_names(self):
        self.need_root()
        nobody, nogroup = pwd.getpwnam("nobody"), grp.getgrgid(pwd.getpwnam("nobody").pw_gid)
        ROWS = [
            ("nobody", (nobody.pw_uid, 7)),
            (f"nobody:{nogroup.gr_name}", (nobody.pw_uid, nogroup.gr_gid)),
            ("nobody:", (nobody.pw_uid, nobody.pw_gid)),
            (f":{nogroup.gr_name}", (6, nogroup.gr_gid)),
            ("+12345", (12345, 7)),
            ("+12345:+23456", (12345, 23456)),
            (":+23456", (6, 23456)),
            ("nobody:+23456", (nobody.pw_uid, 23456)),
            (f"+12345:{nogroup.gr_name}", (12345, nogroup.gr_gid)),
            ("12345:23456", (12345, 23456)),
            ("+4294967294", (4294967294, 7)),
        ]
        self.make("f")
        for owner, expected in ROWS:
            with self.subTest(owner=owner):
                os.chown(self.path("f"), 6, 7)
                self.assertEqual(self.lines("chown", owner, "f"), [])
                self.assertEqual(self.owner("f"), expected)

    def test_trees_links_and_patterns(self):
        self.need_root()
        self.make("d/", "d/e/", "d/e/f", "d/l -> ../out", "out", "to-d -> d", "a.c", "b.c")
        self.assertEqual(self.lines("chown", "+5", "d"), [])
        self.assertEqual((self.owner("d")[0], self.owner("d/e")[0]), (5, 0))
        self.assertEqual(self.lines("chown", "-R", "+6", "d"), [])
        self.assertEqual([self.owner(name)[0] for name in ("d", "d/e", "d/e/f", "d/l", "out")],
                         [6, 6, 6, 0, 0], "a link below is left alone")
        self.assertEqual(self.lines("chown", "-R", "+7", "to-d"), [])
        self.assertEqual((self.owner("d")[0], self.owner("d/e")[0]), (7, 6))
        self.assertEqual(self.lines("chown", "-R", "+8", "to-d/"), [])
        self.assertEqual(self.owner("d/e/f")[0], 8)
        self.assertEqual(self.lines("chown", "-R", "-L", "+9", "to-d"), [])
        self.assertEqual((self.owner("d/e/f")[0], self.owner("to-d")[0]), (9, 0))
        self.assertEqual(self.lines("chown", "-w", "+5:+5", "*.c"), [])
        self.assertEqual((self.owner("a.c"), self.owner("b.c"), self.owner("out")[0]),
                         ((5, 5), (5, 5), 9))

    def test_set_id_bits_of_files_stay(self):
        self.need_root()
        self.make("f")
        os.chmod(self.path("f"), 0o6755)
        self.assertEqual(self.lines("chown", "+5:+6", "f"), [])
        self.assertEqual(os.stat(self.path("f")).st_mode & 0o7777, 0o6755)

    def test_nobody_is_found_before_anything_is_touched(self):
        self.make("f", "g", "d/", *(f"d/{branch}/" for branch in range(9)))
        before = self.owner("f")
        for owner, text in (("no-such-user", "Cannot find user no-such-user"),
                            ("root:no-such-group",
                             "Cannot find user root or group no-such-group"),
                            (":no-such-group", "Cannot find group no-such-group"),
                            ("no-such-user:", "Cannot find user no-such-user"),
                            ("+1:no-such-group", "Cannot find group no-such-group")):
            with self.subTest(owner=owner):
                result = self.hoq("chown", owner, "f", "g")
                self.assertEqual((result.status, result.out, result.err.count(b"\n")), (1, b"", 1))
                self.assertIn(text.encode(), result.err)
                self.assertEqual(self.owner("f"), before)
                result = self.hoq("chown", "-R", owner, "d", "f")
                self.assertEqual((result.status, result.out, result.err.count(b"\n")), (1, b"", 1))
                self.assertIn(text.encode(), result.err)
                self.assertEqual(self.owner("d/0"), before)

    def test_a_path_that_fails_does_not_stop_the_others(self):
        self.need_root()
        self.make("a", "b")
        result = self.hoq("chown", "+5", "a", "nope", "b")
        self.assertEqual((result.status, result.err.decode()), (1, (
            f'hoq: "{self.dir}/nope", Cannot get information: No such file or directory[2]\n')))
        self.assertEqual((self.owner("a")[0], self.owner("b")[0]), (5, 5))

    def test_who_may_not_is_told_so(self):
        self.make("f")
        os.chmod(self.path("f"), 0o644)
        result = self.hoq_as_nobody("chown", "+0" if ROOT else "+1", "f")
        self.assert_fails(result, 1, f'"{self.dir}/f", Cannot change owner: '
                          "Operation not permitted[1]")

    def test_wrong_usage_is_one_line(self):
        self.make("f")
        for owner in ("", ":", "+", "+x", "+4294967295", "+1:", ":+-1"):
            with self.subTest(owner=owner):
                result = self.hoq("chown", owner, "f")
                self.assertEqual((result.status, result.out, result.err.count(b"\n")), (2, b"", 1))
                self.assertTrue(result.err.startswith(f'hoq: bad owner "{owner}": '.encode()))
        for arguments in ([], ["root"]):
            self.assert_fails(self.hoq("chown", *arguments), 2,
                              "chown needs an OWNER and a PATH (see hoq chown --help)")


if __name__ == "__main__":
    unittest.main()
