import json
import os
import resource
import signal
import stat
import subprocess
import unittest

from carried import PIECE, CarriedTest, contents, digest
from hoqtest import HOQ, environment

COMMANDS = ("put", "get")
SIZES = (0, 1, 4095, PIECE - 1, PIECE, PIECE + 1, 2 * PIECE, 4 * PIECE, 9 * PIECE + 3)
ODD = [b"a\nb", b"\xff\xfe", b"100%s%n", b" ", b"-R", b"*", b"x" * 255, b"\x01", b"..."]


class ContentsTest(CarriedTest):
    def assert_done(self, result, out=b""):
        self.assertEqual((result.status, result.out, result.err), (0, out, b""))

    def mode(self, name):
        return stat.S_IMODE(os.lstat(self.path(name)).st_mode)


class Files(ContentsTest):
    def test_files_of_every_size_arrive_whole(self):
        for command in COMMANDS:
            for size in SIZES:
                for flags in ([], ["--in-place"], ["--verify"], ["--resume"]):
                    with self.subTest(size=size, flags=flags):
                        self.write("f", contents(size))
                        self.assert_done(self.hoq(command, *flags, "f", "new"))
                        self.assertEqual(digest(self.read("new")), digest(contents(size)))
                        os.unlink(self.path("new"))
        self.assertEqual(sorted(os.listdir(self.dir)), ["f"], "nothing is left over")

    def test_a_file_goes_where_its_target_says(self):
        self.make("f=text", "d/", "to-d -> d", "d/e/", "to-f -> f")
        for command in COMMANDS:
            for target, result in (("g", "g"), ("d", "d/f"), ("d/e/", "d/e/f"), ("d/e/h", "d/e/h"),
                                   (".//i", "i"), (self.dir + "/k", "k"), ("to-d/l", "d/l")):
                with self.subTest(target=target):
                    self.assert_done(self.hoq(command, "f", target))
                    self.assertEqual(self.read(result), b"text")
                    os.unlink(self.path(result))
            self.assert_done(self.hoq(command, "to-f", "to-d"))
            self.assertEqual(self.read("d/to-f"), b"text", "a link that is named is followed")
            self.assertFalse(os.path.islink(self.path("d/to-f")))
            os.unlink(self.path("d/to-f"))

    def test_the_working_directory_option_is_for_the_nodes_paths(self):
        self.make("d/", "f=own", "d/f=the node's")
        self.assert_done(self.hoq("put", "-C", "d", "f", "g"))
        self.assertEqual(self.read("d/g"), b"own")
        self.assert_done(self.hoq("get", "-C", "d", "f", "g"))
        self.assertEqual(self.read("g"), b"the node's")

    def test_what_is_there_is_replaced_only_when_asked(self):
        self.make("f=new", "d/", "aside=kept")
        for command in COMMANDS:
            for target in ("g", "d", "l", "lost"):
                self.make("g=old", "d/f=old")
                for link, leads in (("l", "aside"), ("lost", "nowhere")):
                    if self.exists(link):
                        os.unlink(self.path(link))
                    os.symlink(leads, self.path(link))
                path = "d/f" if target == "d" else target
                self.assert_fails(
                    self.hoq(command, "f", target), 1,
                    f'Can\'t overwrite "{self.dir}/{path}" with "{self.dir}/f" file exists')
                self.assert_done(self.hoq(command, "-f", "f", target))
                self.assertEqual(self.read(path), b"new")
                self.assertFalse(os.path.islink(self.path(path)), "a link is replaced itself")
        self.assertEqual(self.read("aside"), b"kept")

    def test_nothing_but_files_is_replaced_with_a_file(self):
        self.make("f=new", "d/", "d/f/", "n/")
        os.mkfifo(self.path("n/f"))
        for command in COMMANDS:
            for target in ("d", "n"):
                for flags in (["-f"], ["-f", "--in-place"]):
                    self.assert_fails(self.hoq(command, *flags, "f", target), 1,
                                      f'"{self.dir}/{target}/f" is there, and is no file')

    def test_in_place_neither_follows_nor_replaces_links_nor_harms_the_source(self):
        self.make("f=text", "g=old", "l -> g")
        os.link(self.path("f"), self.path("h"))
        for command in COMMANDS:
            self.assertEqual(self.hoq(command, "--in-place", "-f", "f", "l").status, 1)
            for target in ("f", "h"):
                self.assert_fails(self.hoq(command, "--in-place", "-f", "f", target), 1,
                                  f'"{self.dir}/f" and "{self.dir}/{target}" are the same item')
            inode = os.stat(self.path("g")).st_ino
            self.write("g", b"something longer")
            self.assert_done(self.hoq(command, "--in-place", "-f", "f", "g"))
            self.assertEqual((self.read("g"), os.stat(self.path("g")).st_ino), (b"text", inode))
        self.assertEqual(self.read("f"), b"text")

    def test_permissions_follow_the_umask_unless_they_are_kept(self):
        rows = ((0o666, 0o644), (0o600, 0o600), (0o777, 0o755), (0o400, 0o400), (0o000, 0o000),
                (0o4755, 0o755))
        for command in COMMANDS:
            for size in (3, 3 * PIECE):
                for mode, reduced in rows:
                    with self.subTest(mode=oct(mode), size=size):
                        if mode == 0 and os.geteuid() != 0:
                            continue  # nobody but root can read it
                        self.write("f", contents(size))
                        os.chmod(self.path("f"), mode)
                        self.assert_done(self.hoq(command, "f", "new"))
                        self.assert_done(self.hoq(command, "-p", "f", "kept"))
                        self.assertEqual((oct(self.mode("new")), oct(self.mode("kept"))),
                                         (oct(reduced), oct(mode & 0o777)))
                        for name in ("f", "new", "kept"):
                            os.unlink(self.path(name))

    def test_times_are_kept_by_get_when_asked(self):
        self.make("s/", "s/f=x", "s/d/", "s/d/g=y")
        for name, time in (("s/f", 1), ("s/d/g", 1_000_000_000), ("s/d", 7), ("s", 86400)):
            os.utime(self.path(name), (time, time))
        self.assert_done(self.hoq("get", "-R", "-p", "s", "t"))
        for name in ("f", "d/g", "d", "."):
            self.assertEqual(os.stat(self.path("t/" + name)).st_mtime,
                             os.stat(self.path("s/" + name)).st_mtime, name)

    def test_odd_names_are_names(self):
        self.make("s/", "e/")
        for name in ODD:
            self.write(b"s/" + name, name)
        for command in COMMANDS:
            self.assert_done(self.hoq(command, "-R", "s", "t-" + command))
            self.assertEqual(self.tree("t-" + command), self.tree("s"))
            names = [b"s/" + name for name in ODD]
            self.assert_done(self.hoq(command, "-f", "--", *names, "e"))
            self.assertEqual(self.tree("e"), self.tree("s"))

    def test_several_sources_need_a_directory(self):
        self.make("a=1", "b=2", "g=old", "d/", "x/", "x/a=other")
        for command in COMMANDS:
            for target in ("g", "nope"):
                self.assert_fails(self.hoq(command, "-f", "a", "b", target), 1,
                                  f'"{target}" is not a directory, as several items need')
            self.assert_done(self.hoq(command, "-f", "a", "b", "d"))
            self.assertEqual((self.read("d/a"), self.read("d/b")), (b"1", b"2"))
            self.assert_fails(self.hoq(command, "-f", "a", "x/a", "d"), 1,
                              f'"{self.dir}/d/a" was just made from "a", and is not replaced with '
                              '"x/a"')
            self.assertEqual(self.read("d/a"), b"1")

    def test_a_source_that_fails_does_not_stop_the_others(self):
        self.make("a=1", "b=2", "d/", "s/")
        for command in COMMANDS:
            result = self.hoq(command, "-f", "a", "nope", "", "s", "b", "d")
            self.assertEqual(result.status, 1)
            self.assertEqual(sorted(result.err.decode().splitlines()), [
                'hoq: "", No such file or directory', 'hoq: "nope", No such file or directory',
                'hoq: "s" is a directory; -R copies it'])
            self.assertEqual((self.read("d/a"), self.read("d/b")), (b"1", b"2"))

    def test_a_slash_behind_the_target_asks_for_a_directory(self):
        self.make("f=text", "g=old", "d/")
        for command in COMMANDS:
            self.assert_fails(self.hoq(command, "f", "new/"), 1,
                              '"new/", No such file or directory')
            self.assert_fails(self.hoq(command, "-f", "f", "g/"), 1, '"g/", Not a directory')
            self.assert_fails(self.hoq(command, "f/", "h"), 1, '"f/", Not a directory')
            self.assert_fails(self.hoq(command, "f", "no/h"), 1,
                              '"no/h", No such file or directory')
            self.assert_fails(self.hoq(command, "f", "g/h"), 1, '"g/h", Not a directory')
            self.assert_fails(self.hoq(command, "f", ""), 1, '"", No such file or directory')

    def test_files_without_a_size_of_their_own_are_read_to_their_end(self):
        for command in COMMANDS:
            self.assert_done(self.hoq(command, "/proc/self/status", command))
            self.assertIn(b"Name:\thoq\n", self.read(command))

    def test_patterns_are_taken_by_get_when_asked(self):
        self.make("a.c=a", "b.c=b", "d/", "*.c=star")
        self.assert_done(self.hoq("get", "-w", "[ab].c", "d"))
        self.assertEqual(sorted(os.listdir(self.path("d"))), [b"a.c", b"b.c"])
        self.assert_done(self.hoq("get", "*.c", "d"))
        self.assertEqual(self.read("d/*.c"), b"star")

    def test_wrong_usage_is_one_line(self):
        self.make("f")
        rows = [(["put"], "put needs a LOCAL and a REMOTE (see hoq put --help)"),
                (["get", "f"], "get needs a REMOTE and a LOCAL (see hoq get --help)"),
                (["put", "-", "-", "d"], "standard input can be read once only"),
                (["put", "-", "d/"], 'what comes from standard input needs a name: "d/" names a '
                 "directory"),
                (["get", "-p", "f", "-"],
                 "--resume, --in-place and -p are for files, not for standard output"),
                (["get", "--json", "f", "-"],
                 "--json and the contents would both go to standard output")]
        for arguments, error in rows:
            with self.subTest(arguments=arguments):
                self.assert_fails(self.hoq(*arguments), 2, error)


class Trees(ContentsTest):
    def make_source(self):
        self.make("s/", "s/d/", "s/d/e/", "s/empty/", "s/none", "s/f=1", "s/d/g=22")
        self.write("s/d/e/large", contents(5 * PIECE + 9))
        os.chmod(self.path("s/d"), 0o700)
        os.chmod(self.path("s/d/e"), 0o555)
        os.chmod(self.path("s/empty"), 0o777)
        self.addCleanup(subprocess.run, ["chmod", "-R", "u+w", self.dir], check=False)

    def test_trees_arrive_whole(self):
        self.make_source()
        for command in COMMANDS:
            self.assert_done(self.hoq(command, "-R", "s", "t-" + command))
            self.assertEqual(self.tree("t-" + command), self.tree("s"))
            self.assertEqual([oct(self.mode(f"t-{command}/{name}"))
                              for name in ("d", "d/e", "empty")], ["0o700", "0o555", "0o755"])
            self.assert_done(self.hoq(command, "-R", "-p", "s", "p-" + command))
            self.assertEqual(oct(self.mode(f"p-{command}/empty")), "0o777")

    def test_without_roots_rights_as_well(self):
        self.make_source()
        os.chmod(self.path("s/d"), 0o755)
        self.make("out/")
        os.chmod(self.path("out"), 0o777)
        for command in COMMANDS:
            for flags in ([], ["-p"]):
                target = f"out/{command}{''.join(flags)}"
                self.assert_done(self.hoq_as_nobody(command, "-R", *flags, "s", target))
                self.assertEqual(self.tree(target), self.tree("s"))
                self.assertEqual(oct(self.mode(target + "/d/e")), "0o555")

    def test_directories_are_merged(self):
        self.make_source()
        for command in COMMANDS:
            target = "t-" + command
            self.make(target + "/", target + "/s/", target + "/s/d/", target + "/s/d/kept=k")
            self.assert_done(self.hoq(command, "-R", "s", target))
            self.assertEqual(self.tree(target + "/s"),
                             {**self.tree("s"), b"d/kept": digest(b"k")})
            result = self.hoq(command, "-R", "s/.", target + "/s")
            self.assertEqual((result.status, result.err.count(b"file exists")), (1, 4))
            self.assert_done(self.hoq(command, "-R", "-f", "s/.", target + "/s"))
            self.make(f"x-{command}/", f"x-{command}/d=a file")
            self.assert_fails(self.hoq(command, "-Rf", "s/.", "x-" + command), 1,
                              f'"{self.dir}/x-{command}/d" is there, and is no directory')
            self.assertEqual(self.read(f"x-{command}/d"), b"a file")
        self.assertEqual([name for name in self.tree() if b".hoq-" in name], [])

    def test_links_and_devices_below_directories_are_left_out_and_told(self):
        self.make("s/", "s/f=1", "s/l -> f", "s/lost -> nowhere", "s/to-e -> ../e", "e/", "e/g=2")
        os.mkfifo(self.path("s/p"))
        link = "a link, and left out; -L follows links"
        for command in COMMANDS:
            result = self.hoq(command, "-R", "s", "t-" + command)
            self.assertEqual((result.status, sorted(result.err.decode().splitlines())), (1, [
                f'hoq: "{self.dir}/s/{name}" is {what}' for name, what in (
                    ("l", link), ("lost", link), ("p", "no file, and left out"), ("to-e", link))]))
            self.assertEqual(self.tree("t-" + command), {b"f": digest(b"1")})
        os.unlink(self.path("s/p"))
        os.unlink(self.path("s/lost"))
        for command in COMMANDS:
            self.assert_done(self.hoq(command, "-R", "-L", "s", "l-" + command))
            self.assertEqual(self.tree("l-" + command), {
                b"f": digest(b"1"), b"l": digest(b"1"), b"to-e": None, b"to-e/g": digest(b"2")})

    def test_more_files_than_go_into_one_request(self):
        self.make("s/", "s/d/")
        for number in range(1500):
            self.write(f"s/d/{number}", b"%d" % number)
        os.chmod(self.path("s/d/700"), 0o600)
        for command in COMMANDS:
            self.assert_done(self.hoq(command, "-R", "--verify", "s", "t-" + command))
            self.assertEqual(self.tree("t-" + command), self.tree("s"))
            self.assertEqual(oct(self.mode(f"t-{command}/d/700")), "0o600")

    def test_a_directory_is_not_copied_into_itself(self):
        self.make("d/", "d/e/", "d/f=1", "to-d -> d")
        before = self.tree()
        for command in COMMANDS:
            for source, target in (("d", "d"), ("d", "d/new"), ("d", "d/e"), ("d", "to-d"),
                                   ("d/.", "d/e"), ("to-d/", "d/e")):
                with self.subTest(source=source, target=target):
                    result = self.hoq(command, "-R", source, target)
                    self.assertEqual((result.status, result.err.count(b"\n")), (1, 1), result)
                    self.assertRegex(result.err, rb"into itself$")
                    self.assertEqual(self.tree(), before)

    def test_a_file_that_cannot_be_read_does_not_stop_the_others(self):
        self.make("s/", "s/a=1", "s/b=2", "s/c=3", "out/")
        os.chmod(self.path("s/b"), 0)
        os.chmod(self.path("out"), 0o777)
        for command, text in (
                ("put", f'"{self.dir}/s/b", Cannot open file to read: Permission denied[13]'),
                ("get", f'Cannot open source file "{self.dir}/s/b": Permission denied [13]')):
            for target in (command, "."):
                result = self.hoq_as_nobody(command, "-Rf", "s", f"out/{target}")
                self.assert_fails(result, 1, text)
        for made in ("put", "get", "s"):
            self.assertEqual(sorted(self.tree("out/" + made)), [b"a", b"c"])
        self.assertEqual(len(os.listdir(self.path("out"))), 3, "nothing is left over")

    def test_a_target_that_cannot_be_written_to_is_told_once(self):
        self.make("s/", "s/a=1", "s/b=2", "out/")
        for command in COMMANDS:
            result = self.hoq_as_nobody(command, "s/a", "s/b", "out")
            self.assertEqual((result.status, result.err.count(b"\n")), (1, 1), result)
            self.assertIn(b"Permission denied", result.err)


class Streams(ContentsTest):
    def test_standard_input_becomes_a_file(self):
        for size in SIZES:
            for flags in ([], ["--verify"], ["--in-place"]):
                with self.subTest(size=size, flags=flags):
                    result = self.hoq("put", "-f", *flags, "-", "new", stdin=contents(size))
                    self.assert_done(result)
                    self.assertEqual(digest(self.read("new")), digest(contents(size)))
                    self.assertEqual(oct(self.mode("new")), "0o644")
        self.make("d/")
        self.assert_fails(self.hoq("put", "-", "d"), 1,
                          'what comes from standard input needs a name: "d" is a directory')

    def test_files_go_to_standard_output(self):
        for size in SIZES:
            for flags in ([], ["--verify"]):
                with self.subTest(size=size):
                    self.write("f", contents(size))
                    result = self.hoq("get", *flags, "f", "-")
                    self.assertEqual((result.status, digest(result.out), result.err),
                                     (0, digest(contents(size)), b""))
        self.make("a=1", "b=2", "d/")
        self.assert_done(self.hoq("get", "a", "b", "a", "-"), b"121")
        self.assert_fails(self.hoq("get", "-R", "d", "-"), 1, '"d" is a directory')

    def test_an_output_that_cannot_be_written_is_a_failure(self):
        self.write("f", contents(3 * PIECE))
        with open("/dev/full", "wb") as full:
            done = subprocess.run([HOQ, "get", "f", "-"], cwd=self.dir, stdout=full,
                                  stderr=subprocess.PIPE, env=environment(), timeout=60)
        self.assertEqual((done.returncode, done.stderr),
                         (1, b"hoq: cannot write the output: No space left on device\n"))


class Failures(ContentsTest):
    def limited(self, *arguments):
        """Runs hoq where no file may be larger than 2 MiB, as on a disk that is full then."""
        def limit():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 21, 1 << 21))
        return self.hoq(*arguments, preexec_fn=limit)

    def test_a_file_that_cannot_be_finished_leaves_what_was_there(self):
        self.write("f", contents(5 << 20))
        for command in COMMANDS:
            self.write("new", b"old")
            result = self.limited(command, "-f", "f", "new")
            self.assertEqual((result.status, result.out), (1, b""))
            self.assertRegex(result.err.decode(), r"^hoq: .*File too large ?\[27\]\n$")
            self.assertEqual((self.read("new"), sorted(os.listdir(self.dir))),
                             (b"old", ["f", "new"]))

    def test_with_resume_what_has_arrived_stays_for_a_further_run(self):
        data = contents(5 << 20)
        self.write("f", data)
        for command in COMMANDS:
            self.assertEqual(self.limited(command, "--resume", "f", "new").status, 1)
            self.assertEqual((self.exists("new"), len(os.listdir(self.dir))), (False, 2))
            self.assert_done(self.hoq(command, "--resume", "f", "new"))
            self.assertEqual(digest(self.read("new")), digest(data))
            os.unlink(self.path("new"))
            self.assertEqual(os.listdir(self.dir), ["f"])

    def test_a_full_disk_ends_only_what_does_not_fit(self):
        """On a file system of a mebibyte, in a name space of its own."""
        mount = "mount -t tmpfs -o size=1m none full"
        self.make("full/")
        if subprocess.run(["unshare", "-rm", "sh", "-c", mount], cwd=self.dir, check=False,
                          capture_output=True).returncode != 0:
            self.skipTest("file systems cannot be mounted in a name space here")
        self.make("s/")
        for name, size in (("a", 100), ("b", 3 << 20), ("c", 200)):
            self.write("s/" + name, contents(size))
        for command in COMMANDS:
            script = f'{mount} && "{HOQ}" {command} -R s full; echo $?; ' \
                     "cd full && find . -type f -printf '%P %s\\n' | sort; ls -A"
            done = subprocess.run(["unshare", "-rm", "sh", "-c", script], cwd=self.dir,
                                  capture_output=True, env=environment(), timeout=60)
            self.assertEqual(done.stdout, b"1\ns/a 100\ns/c 200\ns\n", done.stderr)
            self.assertRegex(done.stderr, rb"^hoq: .*No space left on device ?\[28\]\n$")

    def test_refusals_of_a_node_that_cannot_be_reached(self):
        self.make("f")
        for command in COMMANDS:
            result = self.hoq(command, "f", "g", env=environment(HOQ_PLUGIN="/nope"))
            self.assertEqual((result.status, result.err.count(b"\n"), self.exists("g")),
                             (1, 1, False))

    def test_a_signal_removes_what_was_begun(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(signal=number):
                process = subprocess.Popen([HOQ, "put", "-", "new"], cwd=self.dir,
                                           stdin=subprocess.PIPE, stderr=subprocess.PIPE,
                                           env=environment())
                process.stdin.write(contents(6 * PIECE))
                process.stdin.flush()
                while not os.listdir(self.dir):
                    pass  # until the place is there
                process.send_signal(number)
                _, err = process.communicate(timeout=60)
                self.assertEqual((process.returncode, err, os.listdir(self.dir)),
                                 (-number, b"", []))

    def test_nobody_who_reads_what_it_says_ends_it_as_a_signal_does(self):
        self.make("s/", *(f"s/l{number} -> nowhere" for number in range(200)), "s/f=x", "t/")
        reading, writing = os.pipe()
        os.close(reading)
        try:
            process = subprocess.run([HOQ, "put", "-R", "s", "t"], cwd=self.dir, stderr=writing,
                                     env=environment(), timeout=60, check=False)
        finally:
            os.close(writing)
        self.assertEqual((process.returncode, os.listdir(self.path("t"))), (-signal.SIGPIPE, []))


class Memory(ContentsTest):
    def peak_of(self, *arguments):
        """KiB, of a run that must succeed."""
        process = subprocess.Popen([HOQ, *arguments], cwd=self.dir, env=environment(),
                                   stdout=subprocess.DEVNULL)
        _, status, used = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        self.assertEqual(process.returncode, 0)
        return used.ru_maxrss

    @unittest.skipIf(os.environ.get("HOQ_SANITIZED"), "a sanitizer's memory is not the program's")
    def test_large_files_and_many_take_no_more_than_small_ones(self):
        self.make("f=x", "s/", "many/")
        with open(self.path("big"), "wb") as file:
            file.truncate(256 << 20)
        for number in range(5000):
            self.write(f"many/{number}", b"x")
        for command in COMMANDS:
            least = self.peak_of(command, "f", "small-" + command)
            for arguments in (["big", "big-" + command], ["--verify", "big", "v-" + command],
                              ["-R", "many", "many-" + command]):
                self.assertLess(self.peak_of(command, *arguments) - least, 32 * 1024, arguments)


class Told(ContentsTest):
    def test_events_are_lines_of_json(self):
        self.make("s/", "s/d/", "s/d/f=12345", "s/g")
        for command in COMMANDS:
            lines = self.lines("--json", command, "-R", "s", "t-" + command)
            events = [json.loads(line)["progress"] for line in lines]
            self.assertEqual(sorted(event["status"] for event in events),
                             [self.dir + "/" + name for name in ("s", "s/d", "s/d/f", "s/g")])
            for event in events:
                self.assertEqual(event["operation"], command)
                self.assertEqual((event["parameters"]["totalItems"],
                                  event["parameters"]["totalBytes"]), (4, 5))
            self.assertEqual(self.lines("--json", "-q", command, "-f", "s/g", "g"), [])

    def test_a_summary_comes_with_verbose(self):
        self.make("s/", "s/f=12345")
        for command in COMMANDS:
            self.assertRegex(self.hoq("-v", command, "-R", "s", "t-" + command).err.decode(),
                             r"^2 items, 5 B(, [\d.]+ \w+/s)?, \d+\.\d{3} s\n$")

    def test_progress_is_one_line_whose_last_state_stays(self):
        self.make("s/", "s/f=12345")
        for command in COMMANDS:
            result = self.hoq("--progress", "always", command, "-R", "s", "t-" + command)
            self.assertEqual((result.status, result.err.count(b"\n")), (0, 1))
            self.assertRegex(result.err.split(b"\r")[-1].decode(), r"^2 of 2 items, 5 B of 5 B")


if __name__ == "__main__":
    unittest.main()
