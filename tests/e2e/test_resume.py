import os
import signal
import subprocess
import unittest

from carried import PIECE, CarriedTest, contents, digest
from hoqtest import HOQ, environment

SHIM = os.environ.get("HOQ_KILL_AT_CALL", "")
SANITIZED = os.environ.get("HOQ_SANITIZED", "")
MOMENTS = 20


class ContentsTest(CarriedTest):
    def assert_holds(self, name, *allowed):
        """The file has one of these contents; None: it may be missing."""
        there = self.exists(name) and digest(self.read(name)) or None
        self.assertIn(there, [data if data is None else digest(data) for data in allowed])

    def places(self):
        """Directories of unfinished transfers, wherever they are."""
        return [os.path.join(folder, name) for folder, names, _ in os.walk(self.dir)
                for name in names if name.startswith(".hoq-")]

    def assert_nothing_left(self):
        self.assertEqual(self.places(), [])


@unittest.skipIf(SANITIZED, "a sanitizer's library must come before every other one")
@unittest.skipUnless(SHIM, "HOQ_KILL_AT_CALL does not name the library that ends the program")
class KilledAtAnyMoment(ContentsTest):
    """The program is killed before one of its calls that change files, and run again."""

    def preloaded(self, *arguments, **variables):
        return self.hoq(*arguments, env=environment(LD_PRELOAD=SHIM, **variables))

    def calls_of(self, *arguments):
        result = self.preloaded(*arguments, HOQ_COUNT_TO=self.path("count").decode())
        self.assertEqual((result.status, result.err), (0, b""))
        return int(self.read("count"))

    def sweep(self, prepare, arguments, check, half=None):
        """Kills at MOMENTS calls spread over a whole run; check(moment) after the resumed one."""
        prepare()
        calls = self.calls_of(*arguments)
        self.assertGreater(calls, MOMENTS, "there are not as many moments")
        moments = sorted({1 + index * (calls - 1) // (MOMENTS - 1) for index in range(MOMENTS)})
        self.assertEqual(len(moments), MOMENTS)
        resumed = [arguments[0], "--resume", *arguments[1:]]
        for moment in moments:
            with self.subTest(moment=moment, calls=calls):
                prepare()
                killed = self.preloaded(*arguments, HOQ_KILL_AT=str(moment))
                self.assertEqual(killed.status, -signal.SIGKILL, killed)
                if half:
                    half()
                result = self.hoq(*resumed)
                self.assertEqual((result.status, result.err), (0, b""), result)
                check()
                self.assert_nothing_left()

    def clear(self, *names):
        subprocess.run(["rm", "-rf", *(self.path(name) for name in names)], check=True)

    def test_a_large_file_goes_on(self):
        data = contents(30 * PIECE + 12345)
        self.write("big", data)

        for command in ("put", "get"):
            with self.subTest(command=command):
                self.sweep(lambda: self.clear("new"), [command, "big", "new"],
                           lambda: self.assert_holds("new", data),
                           lambda: self.assert_holds("new", None, data))

    def test_a_replaced_file_is_the_old_or_the_new_one(self):
        data = contents(30 * PIECE)
        self.write("big", data)

        # A node takes the old one away right before it puts the new one, whole, in its place.
        for command in ("put", "get"):
            with self.subTest(command=command):
                self.sweep(lambda: self.write("new", b"old"), [command, "-f", "big", "new"],
                           lambda: self.assert_holds("new", data),
                           lambda: self.assert_holds("new", None, b"old", data))

    def make_tree(self):
        self.make("s/", "s/d/", "s/d/e/", "s/empty/", "s/d/none")
        for number in range(12):
            self.write(f"s/d/f{number}", contents(number * 1000, number + 1))
        self.write("s/d/e/large", contents(3 * PIECE + 1))
        self.write("s/top", contents(PIECE))

    def test_a_new_tree_goes_on(self):
        self.make_tree()
        expected = self.tree("s")
        for command in ("put", "get"):
            with self.subTest(command=command):
                self.sweep(lambda: self.clear("new"), [command, "-R", "s", "new"],
                           lambda: self.assertEqual(self.tree("new"), expected))

    def test_a_tree_that_is_merged_goes_on(self):
        self.make_tree()
        expected = {**self.tree("s"), b"d/kept": digest(b"kept"), b"d/e/kept": digest(b"kept")}

        def prepare():
            self.clear("new")
            self.make("new/", "new/d/", "new/d/e/", "new/d/kept=kept", "new/d/e/kept=kept")
        for command in ("put", "get"):
            with self.subTest(command=command):
                self.sweep(prepare, [command, "-R", "s/.", "new"],
                           lambda: self.assertEqual(self.tree("new"), expected))

    def test_without_resume_what_is_left_is_cleaned_up(self):
        data = contents(8 * PIECE)
        self.write("big", data)
        for command in ("put", "get"):
            with self.subTest(command=command):
                self.clear("new")
                killed = self.preloaded(command, "big", "new", HOQ_KILL_AT="8")
                self.assertEqual(killed.status, -signal.SIGKILL)
                self.assertEqual((len(self.places()), self.exists("new")), (1, False))
                self.assertEqual(self.lines(command, "big", "new"), [])
                self.assert_holds("new", data)
                self.assert_nothing_left()

    def test_what_is_left_is_used_only_when_it_is_proven(self):
        data = contents(8 * PIECE)
        for command in ("put", "get"):
            for changed in (b"X" + data[1:], data[:100], b""):
                with self.subTest(command=command, size=len(changed)):
                    self.clear("new")
                    self.write("big", data)
                    killed = self.preloaded(command, "big", "new", HOQ_KILL_AT="10")
                    self.assertEqual(killed.status, -signal.SIGKILL)
                    self.write("big", changed)
                    self.assertEqual(self.lines(command, "--resume", "big", "new"), [])
                    self.assert_holds("new", changed)
                    self.assert_nothing_left()

    def test_names_that_the_source_lost_meanwhile_do_not_arrive(self):
        for command in ("put", "get"):
            with self.subTest(command=command):
                self.clear("new", "s")
                self.make_tree()
                calls = self.calls_of(command, "-R", "s", "new")
                self.clear("new")
                killed = self.preloaded(command, "-R", "s", "new", HOQ_KILL_AT=str(calls - 5))
                self.assertEqual(killed.status, -signal.SIGKILL)
                self.clear("s/d/e", "s/d/f3", "new")
                self.make("s/d/e=now a file")
                self.assertEqual(self.lines(command, "--resume", "-R", "s", "new"), [])
                self.assertEqual(self.tree("new"), self.tree("s"))
                self.assert_nothing_left()


class Resume(ContentsTest):
    def test_a_partial_file_under_the_final_name_goes_on(self):
        data = contents(5 * PIECE + 77)
        self.write("big", data)
        for command in ("put", "get"):
            for flags in ([], ["--in-place"], ["--verify"]):
                for size in (0, 1, PIECE, 3 * PIECE + 1, len(data) - 1, len(data)):
                    with self.subTest(command=command, flags=flags, size=size):
                        self.write("new", data[:size])
                        self.assertEqual(self.lines(command, "--resume", *flags, "big", "new"), [])
                        self.assert_holds("new", data)
                        self.assert_nothing_left()

    def test_another_file_is_left_alone_unless_forced(self):
        data = contents(2 * PIECE)
        self.write("big", data)
        for command in ("put", "get"):
            for flags in ([], ["--in-place"]):
                for other in (b"X" + data[1:1000], data + b"more", b"X" * len(data)):
                    with self.subTest(command=command, flags=flags, size=len(other)):
                        self.write("new", other)
                        self.assert_fails(
                            self.hoq(command, "--resume", *flags, "big", "new"), 1,
                            f'Can\'t overwrite "{self.dir}/new" with "{self.dir}/big" file exists')
                        self.assert_holds("new", other)
                        self.assertEqual(
                            self.lines(command, "--resume", "-f", *flags, "big", "new"), [])
                        self.assert_holds("new", data)

    def test_standard_input_goes_on_when_it_begins_the_same(self):
        data = contents(3 * PIECE + 5)
        self.write("new", data[:PIECE + 3])
        result = self.hoq("put", "--resume", "--verify", "-", "new", stdin=data)
        self.assertEqual((result.status, result.err), (0, b""))
        self.assert_holds("new", data)
        self.write("new", b"X" + data[1:PIECE])
        self.assert_fails(self.hoq("put", "--resume", "-", "new", stdin=data), 1,
                          f'"{self.dir}/new" is no beginning of the input; try again without '
                          '--resume')
        self.assert_holds("new", b"X" + data[1:PIECE])

    def test_an_end_by_a_signal_keeps_what_there_is_only_for_resume(self):
        data = contents(6 * PIECE)
        for flags, kept in (([], 0), (["--resume"], 1)):
            with self.subTest(flags=flags):
                process = subprocess.Popen(
                    [HOQ, "put", *flags, "-", "new"], cwd=self.dir, stdin=subprocess.PIPE,
                    stderr=subprocess.PIPE, env=environment())
                process.stdin.write(data[:5 * PIECE])
                process.stdin.flush()
                self.wait_for_bytes(PIECE)
                process.send_signal(signal.SIGINT)
                _, err = process.communicate(timeout=60)
                self.assertEqual((process.returncode, err), (-signal.SIGINT, b""))
                self.assertEqual((self.exists("new"), len(self.places())), (False, kept))
        result = self.hoq("put", "--resume", "-", "new", stdin=data)
        self.assertEqual((result.status, result.err), (0, b""))
        self.assert_holds("new", data)
        self.assert_nothing_left()

    def wait_for_bytes(self, count):
        """Until so much has arrived somewhere in a place."""
        while True:
            for place in self.places():
                for folder, _, files in os.walk(place):
                    for name in files:
                        try:
                            if os.stat(os.path.join(folder, name)).st_size >= count:
                                return
                        except FileNotFoundError:
                            pass


class Verify(ContentsTest):
    """A file that is changed while it is read: by the other end of a FIFO's data, in lock step."""

    def test_what_arrived_is_compared(self):
        self.make("s/", "s/e/", "s/none")
        for size in (1, 1000, PIECE - 1, PIECE, PIECE + 1, 5 * PIECE):
            self.write(f"s/e/f{size}", contents(size))
        for command in ("put", "get"):
            with self.subTest(command=command):
                self.assertEqual(self.lines(command, "-R", "--verify", "s", "new-" + command), [])
                self.assertEqual(self.tree("new-" + command), self.tree("s"))
        result = self.hoq("get", "--verify", f"s/e/f{5 * PIECE}", "-")
        self.assertEqual((result.status, digest(result.out)), (0, digest(contents(5 * PIECE))))

    def test_a_target_that_is_changed_under_it_is_told_and_not_put_in_place(self):
        data = contents(4 * PIECE)
        process = subprocess.Popen([HOQ, "put", "--verify", "-", "new"], cwd=self.dir,
                                   stdin=subprocess.PIPE, stderr=subprocess.PIPE,
                                   env=environment())
        process.stdin.write(data)
        process.stdin.flush()
        Resume.wait_for_bytes(self, PIECE)
        (place,) = self.places()
        (run,) = os.listdir(place)
        path = os.path.join(place, run, "new")
        with open(path, "r+b") as file:
            file.write(b"changed")
        _, err = process.communicate(timeout=60)  # only now does the input end
        self.assertEqual((process.returncode, err),
                         (1, f'hoq: "{path}" is not what was sent: SHA-256 differs\n'.encode()))
        self.assertFalse(self.exists("new"))
        self.assert_nothing_left()

    def test_a_source_that_is_changed_under_it_is_told(self):
        """Standard output is a pipe: when its first bytes are here, the rest is not yet read."""
        data = contents(40 * PIECE)
        for flags in ([], ["--verify"]):
            with self.subTest(flags=flags):
                self.write("big", data)
                process = subprocess.Popen([HOQ, "get", *flags, "big", "-"], cwd=self.dir,
                                           stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                           env=environment())
                self.assertEqual(process.stdout.read(1), data[:1])
                with open(self.path("big"), "r+b") as file:
                    file.truncate(39 * PIECE)
                _, err = process.communicate(timeout=60)
                self.assertEqual((process.returncode, err), (
                    1, f'hoq: "{self.dir}/big" was changed while it was read\n'.encode()))

    def test_only_verify_sees_a_change_that_leaves_size_and_time(self):
        data = contents(40 * PIECE)
        for flags, status in ((["--verify"], 1), ([], 0)):
            with self.subTest(flags=flags):
                self.write("big", data)
                before = os.stat(self.path("big"))
                process = subprocess.Popen([HOQ, "get", *flags, "big", "-"], cwd=self.dir,
                                           stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                           env=environment())
                self.assertEqual(process.stdout.read(1), data[:1])
                with open(self.path("big"), "r+b") as file:
                    file.write(b"changed")
                os.utime(self.path("big"), ns=(before.st_atime_ns, before.st_mtime_ns))
                _, err = process.communicate(timeout=60)
                self.assertEqual(process.returncode, status, err)
                if status:
                    self.assertEqual(
                        err, f'hoq: "{self.dir}/big" is not what was received: SHA-256 differs\n'
                        .encode())


if __name__ == "__main__":
    unittest.main()
