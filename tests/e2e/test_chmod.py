import os
import shutil
import stat
import subprocess
import unittest

from hoqtest import HOQ, HoqTest, environment

TREE = ["t/", "t/d/", "t/d/e/", "t/d/e/f", "t/d/x", "t/f", "t/g", "t/h", "t/l -> f",
        "t/to-d -> d", "t/lost -> nowhere"]
MODES = {"t": 0o755, "t/d": 0o2775, "t/d/e": 0o700, "t/d/e/f": 0o4755, "t/d/x": 0o640,
         "t/f": 0o644, "t/g": 0o777, "t/h": 0o401}

# What needs "--" before it begins with "-".
SYMBOLIC = ["u=rwX,go-w", "a+x", "+x", "-w", "=r", "g=u", "o=g", "u=g", "go=", "a-x,a+X", "u+s",
            "g+s", "g-s", "+t", "o+t", "ug+rw,o-rwx", "a=rx", "u+x-w", "=", "+X", "u=rwx,g=rx,o="]


# With these and -R, chmod(1) locks itself out where it has no root's rights; hoq does not, and has
# a test of its own for that.
LOCKING = ("=r", "=", "u=g")


class Chmod(HoqTest):
    def make_tree(self, directory):
        os.mkdir(self.path(directory))
        self.make(*[os.path.join(directory, name.split(" -> ")[0])
                    + (" -> " + name.split(" -> ")[1] if " -> " in name else "")
                    for name in TREE])
        for name, mode in MODES.items():
            os.chmod(self.path(os.path.join(directory, name)), mode)

    def modes(self, directory="."):
        """The modes of a tree, which is opened up on the way: parents come first."""
        modes = {}
        for name in MODES:
            path = self.path(os.path.join(directory, name))
            modes[name] = stat.S_IMODE(os.stat(path).st_mode)
            if os.path.isdir(path):
                os.chmod(path, 0o700)
        return modes

    def mode(self, name):
        return stat.S_IMODE(os.stat(self.path(name)).st_mode)

    def run_both(self, mask, arguments):
        """The modes that chmod(1) gives a tree, and those that hoq gives its twin."""
        for directory in ("theirs", "ours"):
            shutil.rmtree(self.path(directory), ignore_errors=True)
            self.make_tree(directory)
        ends = []
        for directory, program in (("theirs", ["chmod"]), ("ours", [HOQ, "chmod"])):
            done = subprocess.run([*program, *arguments], cwd=self.path(directory),
                                  capture_output=True, env=environment(), timeout=60,
                                  preexec_fn=lambda: os.umask(mask))
            ends.append(done)
        return ends

    def test_symbolic_modes_do_what_chmod_does(self):
        for mask in (0o022, 0o077, 0o000):
            for mode in SYMBOLIC:
                for paths in (["t/d/e/f", "t/f", "t/g", "t/h", "t/d"], ["-R", "t"]):
                    if "-R" in paths and os.geteuid() != 0 and mode in LOCKING:
                        continue
                    with self.subTest(mask=oct(mask), mode=mode, paths=paths):
                        options = [path for path in paths if path == "-R"]
                        names = [path for path in paths if path != "-R"]
                        self.run_both(mask, [*options, "--", mode, *names])
                        self.assertEqual(self.modes("ours"), self.modes("theirs"))

    def test_octal_modes_are_set_as_they_are(self):
        self.make_tree("x")
        self.assertEqual(self.lines("chmod", "4640", "x/t/f", "x/t/d"), [])
        self.assertEqual((self.mode("x/t/f"), self.mode("x/t/d")), (0o4640, 0o4640))
        self.assertEqual(self.lines("chmod", "-R", "750", "x/t"), [])  # with a link to nothing
        self.assertEqual(set(self.modes("x").values()), {0o750})

    def test_links_below_are_left_alone_unless_followed(self):
        self.make("out=1", "d/", "d/l -> ../out")
        os.chmod(self.path("out"), 0o600)
        self.assertEqual(self.lines("chmod", "-R", "a+r", "d"), [])
        self.assertEqual(self.mode("out"), 0o600)
        self.assertEqual(self.lines("chmod", "-R", "-L", "a+r", "d"), [])
        self.assertEqual(self.mode("out"), 0o644)
        self.assertEqual(self.lines("chmod", "-R", "704", "d"), [])
        self.assertEqual(self.mode("out"), 0o644)

    def test_a_link_stands_for_what_it_leads_to_and_is_entered_only_when_asked(self):
        for mode in ("u=rwx,go=", "700"):
            for options, path, entered in (([], "l", False), (["-L"], "l", True), ([], "l/", True)):
                with self.subTest(mode=mode, options=options, path=path):
                    if self.exists("d"):
                        shutil.rmtree(self.path("d"))
                        os.unlink(self.path("l"))
                    self.make("d/", "d/f", "l -> d")
                    os.chmod(self.path("d"), 0o755)
                    os.chmod(self.path("d/f"), 0o644)
                    self.assertEqual(self.lines("chmod", "-R", *options, mode, path), [])
                    self.assertEqual(self.mode("d"), 0o700)
                    self.assertEqual(self.mode("d/f"), 0o700 if entered else 0o644)

    def test_directories_that_lead_back_are_entered_once(self):
        self.make("d/", "d/f", "d/up -> ..", "d/self -> .")
        os.chmod(self.path("d/f"), 0o640)
        self.assertEqual(self.lines("chmod", "-RL", "o=g,g=", "d"), [])
        self.assertEqual(self.mode("d/f"), 0o604, "each item is changed once")

    def test_a_tree_is_opened_up_and_closed_without_getting_lost(self):
        self.make("d/", "d/e/", "d/e/f")
        if os.geteuid() == 0:
            for name in ("d", "d/e", "d/e/f"):
                os.chown(self.path(name), 65534, 65534)
        for mode, file, directory in (("a=", 0, 0), ("u=rwX", 0o600, 0o700),
                                      ("a-rx", 0o200, 0o200), ("750", 0o750, 0o750),
                                      ("300", 0o300, 0o300), ("a=rX", 0o555, 0o555)):
            with self.subTest(mode=mode):
                result = self.hoq_as_nobody("chmod", "-R", mode, "d")
                self.assertEqual((result.status, result.err), (0, b""), result)
                modes = []
                for name in ("d", "d/e", "d/e/f"):
                    modes.append(self.mode(name))  # from above, opening what is closed
                    if os.geteuid() != 0:
                        os.chmod(self.path(name), 0o700)
                self.assertEqual(modes, [directory, directory, file])
                if os.geteuid() != 0:
                    for name, was in reversed(list(zip(("d", "d/e", "d/e/f"), modes))):
                        os.chmod(self.path(name), was)

    def test_paths_below_each_other_may_be_named_in_any_order(self):
        for paths in (["d", "d/f"], ["d/f", "d"]):
            for mode, directory, file in (("u-x", 0o600, 0o600), ("u=", 0, 0)):
                with self.subTest(paths=paths, mode=mode):
                    self.make("d/", "d/f")
                    for name, bits in (("d", 0o700), ("d/f", 0o700)):
                        os.chmod(self.path(name), bits)
                        if os.geteuid() == 0:
                            os.chown(self.path(name), 65534, 65534)
                    result = self.hoq_as_nobody("chmod", mode, *paths)
                    self.assertEqual((result.status, result.err), (0, b""), result)
                    self.assertEqual(self.mode("d"), directory)
                    os.chmod(self.path("d"), 0o700)
                    self.assertEqual(self.mode("d/f"), file)
                    os.chmod(self.path("d/f"), 0o700)

    def test_a_large_tree_goes_in_batches(self):
        os.mkdir(self.path("many"))
        for number in range(1500):
            with open(self.path(f"many/{number}"), "wb"):
                pass
            os.chmod(self.path(f"many/{number}"), (0o600, 0o644, 0o755)[number % 3])
        self.assertEqual(self.lines("chmod", "-R", "g=u,o=", "many"), [])
        for number in range(1500):
            self.assertEqual(self.mode(f"many/{number}"), (0o660, 0o660, 0o770)[number % 3])

    def test_trees_with_and_without_links_are_changed_whole(self):
        """Branches without links and branches with one, at every place, in a tree of 4000 files."""
        self.make("out")
        os.chmod(self.path("out"), 0o600)
        files = []
        for branch in range(8):
            for twig in range(5):
                folder = f"d/{branch}/{twig}"
                self.make(folder + "/")
                for number in range(100):
                    files.append(f"{folder}/{number}")
                    os.close(os.open(self.path(files[-1]), os.O_CREAT, 0o600))
        self.make("d/1/l -> ../../out", "d/2/3/l -> /", "d/4/0/lost -> nowhere", "d/file")
        self.assertEqual(self.lines("chmod", "-R", "705", "d"), [])
        for name in ("d", "d/0", "d/1", "d/2/3", "d/7/4", "d/file", *files):
            self.assertEqual(self.mode(name), 0o705, name)
        self.assertEqual(self.mode("out"), 0o600)

    def test_patterns_are_patterns_only_when_asked(self):
        self.make("a.c", "b.c", "*.c", "d/", "d/c.c")
        for name in ("a.c", "b.c", "*.c", "d/c.c"):
            os.chmod(self.path(name), 0o600)
        self.assertEqual(self.lines("chmod", "644", "*.c"), [])
        self.assertEqual((self.mode("*.c"), self.mode("a.c")), (0o644, 0o600))
        self.assertEqual(self.lines("chmod", "-w", "a+x", "*.c", "*/*.c"), [])
        self.assertEqual([self.mode(name) for name in ("a.c", "*.c", "d/c.c")],
                         [0o711, 0o755, 0o711])
        self.assertEqual(self.lines("chmod", "-w", "600", "[ab].c", "no*"), [])
        self.assertEqual([self.mode(name) for name in ("a.c", "*.c")], [0o600, 0o755])

    def test_odd_names_are_names(self):
        for name in (b"a\nb", b"\xff", b"100%s%n", b" ", b"-x"):
            with open(self.path(name), "wb"):
                pass
            os.chmod(self.path(name), 0o600)
            for mode, expected in (("640", 0o640), ("o+r", 0o644)):
                with self.subTest(name=name, mode=mode):
                    self.assertEqual(self.lines("chmod", mode, "--", name), [])
                    self.assertEqual(self.mode(name), expected)

    def test_a_path_that_fails_does_not_stop_the_others(self):
        self.make("a", "b", "lost -> nowhere")
        result = self.hoq("chmod", "600", "a", "nope", "", "b")
        self.assertEqual((result.status, result.err.decode().splitlines()), (1, [
            'hoq: "", No such file or directory',
            f'hoq: "{self.dir}/nope", Cannot get information: No such file or directory[2]']))
        self.assertEqual((self.mode("a"), self.mode("b")), (0o600, 0o600))
        result = self.hoq("chmod", "u+x", "a", "nope", "lost", "b")
        self.assertEqual((result.status, result.err.decode().splitlines()), (1, [
            'hoq: "nope", No such file or directory',
            f'hoq: "{self.dir}/lost", Cannot change mode: No such file or directory[2]']))
        self.assertEqual((self.mode("a"), self.mode("b")), (0o700, 0o700))

    def test_what_may_not_be_changed_is_told_one_by_one(self):
        if os.geteuid() != 0:
            self.skipTest("needs root to make items of others")
        self.make("d/", "d/e/", "d/e/mine", "d/theirs", "d/e/theirs", "d/also-mine")
        for name in ("d", "d/e", "d/e/mine", "d/also-mine"):
            os.chown(self.path(name), 65534, 65534)
        for mode, expected in (("u=rwX,g=u", 0o664), ("770", 0o770)):
            with self.subTest(mode=mode):
                result = self.hoq_as_nobody("chmod", "-R", mode, "d")
                self.assertEqual((result.status, sorted(result.err.decode().splitlines())), (1, [
                    f'hoq: "{self.dir}/d/{theirs}", Cannot change mode: Operation not permitted[1]'
                    for theirs in ("e/theirs", "theirs")]))
                self.assertEqual((self.mode("d/e/mine"), self.mode("d/also-mine")),
                                 (expected, expected))

    def test_wrong_usage_changes_nothing(self):
        self.make("f")
        os.chmod(self.path("f"), 0o600)
        for mode in ("", "8", "10000", "u+y", "u", "u=rw,"):
            self.assert_fails(self.hoq("chmod", mode, "f"), 2, f'bad mode "{mode}": octal like '
                              "755, or symbolic like u=rwX,go-w")
        for arguments in ([], ["755"]):
            self.assert_fails(self.hoq("chmod", *arguments), 2,
                              "chmod needs a MODE and a PATH (see hoq chmod --help)")
        self.assertEqual(self.mode("f"), 0o600)


if __name__ == "__main__":
    unittest.main()
