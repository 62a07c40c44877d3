import json
import os
import resource
import signal
import subprocess
import unittest

from hoqtest import HOQ, HoqTest, Terminal, environment

WIPE = b"\r\x1b[K"
LARGEST = 1 << 32  # what an interrupted run may write before it is stopped in any case


class Progress(HoqTest):
    def setUp(self):
        super().setUp()
        self.make("s/", "s/a=" + "x" * 3000, "s/d/", "s/d/b=" + "x" * 96, "s/l -> a", "f=12345",
                  "dst/")

    def test_nothing_is_told_outside_a_terminal(self):
        for command in (["cp", "-R", "s", "t"], ["mv", "t", "u"], ["cp", "f", "g"]):
            self.assertEqual(self.lines(*command), [])

    def test_outside_a_terminal_it_is_one_line_whose_last_state_stays(self):
        rows = [(["cp", "-R", "s", "t"], "5 of 5 items, 3.1 KiB of 3.1 KiB"),
                (["cp", "-R", "s", "f", "dst"], "6 of 6 items, 3.1 KiB of 3.1 KiB"),
                (["cp", "--no-count", "-R", "s", "u"], "5 items, 3.1 KiB"),
                (["cp", "f", "g"], "1 of 1 items, 5 B of 5 B"),
                (["mv", "t", "v"], "1 item, 0 B"),  # renamed as a whole
                (["mv", "g", "h"], "1 item, 5 B")]
        for arguments, last in rows:
            with self.subTest(arguments=arguments):
                result = self.hoq("--progress", "always", *arguments)
                self.assertEqual((result.status, result.out, result.err.count(b"\n")), (0, b"", 1))
                states = result.err.decode().rstrip("\n").split("\r")
                self.assertTrue(states[-1].startswith(last), states)
                for state in states[1:]:
                    self.assertRegex(
                        state, r"^counting, \d+ items$|^\d+ (of \d+ )?items?, [\d.]+ "
                        r"\w+( of [\d.]+ \w+)?(, [\d.]+ \w+/s)?(, [\d:]+( s)?( left)?)?$")

    def test_errors_have_lines_of_their_own(self):
        self.make("dst/f=old")
        result = self.hoq("--progress", "always", "cp", "f", "s/a", "dst")
        self.assertEqual(result.status, 1)
        errors = [line for line in result.err.decode().split("\n") if line.startswith("hoq: ")]
        self.assertEqual(len(errors), 1)
        last = result.err.decode().splitlines()[-1]
        self.assertTrue(last.startswith("1 of 2 items, 3.0 KiB of 3.0 KiB"), last)

    def test_on_a_terminal_the_line_is_wiped_at_the_end(self):
        shown, status = Terminal(["--progress", "always", "cp", "-R", "s", "t"], self.dir).finish()
        self.assertEqual(status, 0)
        self.assertTrue(shown.startswith(WIPE) and shown.endswith(WIPE), shown)
        self.assertTrue(self.exists("t/d/b"))
        shown, status = Terminal(["cp", "-R", "s", "u"], self.dir).finish()
        self.assertEqual((shown, status), (b"", 0), "work that does not last shows nothing")

    def test_events_are_lines_of_json(self):
        lines = self.lines("--json", "cp", "-R", "s", "t")
        events = [json.loads(line)["progress"] for line in lines]
        self.assertEqual(events[0], {
            "status": self.dir + "/s", "operation": "", "percent": 0,
            "parameters": {"items": 0, "bytes": 0, "totalItems": 5, "totalBytes": 3096}})
        self.assertEqual(sorted(event["status"] for event in events),
                         [self.dir + "/" + name for name in ("s", "s/a", "s/d", "s/d/b", "s/l")])
        self.assertEqual([event["parameters"]["items"] for event in events], [0, 1, 2, 3, 4])
        percents = [event["percent"] for event in events]
        self.assertEqual(percents, sorted(percents))
        events = self.lines("--json", "cp", "--no-count", "f", "g")
        self.assertEqual([json.loads(line)["progress"]["parameters"] for line in events],
                         [{"items": 0, "bytes": 0}])
        for quiet in (["-q"], ["--progress", "never"]):
            self.assertEqual(self.lines("--json", *quiet, "cp", "-f", "f", "g"), [])
        with open(self.path(b"\xff"), "wb"):
            pass
        event = json.loads(self.lines("--json", "cp", b"\xff", "g2")[0])["progress"]
        self.assertEqual(list(event["status"]), ["base64"])

    def test_events_that_cannot_be_written_are_a_failure_and_harm_nothing(self):
        with open("/dev/full", "wb") as full:
            done = subprocess.run([HOQ, "--json", "mv", "s/a", "s/d", "dst/new"], cwd=self.dir,
                                  stdout=full, stderr=subprocess.PIPE, env=environment(),
                                  timeout=60)
        self.assertEqual((done.returncode, self.exists("s/a")), (1, True))
        with open("/dev/full", "wb") as full:
            done = subprocess.run([HOQ, "--json", "cp", "-R", "s", "t"], cwd=self.dir, stdout=full,
                                  stderr=subprocess.PIPE, env=environment(), timeout=60)
        self.assertEqual((done.returncode, done.stderr),
                         (1, b"hoq: cannot write the output: No space left on device\n"))
        self.assertTrue(self.exists("t/d/b"), "what was begun is carried to its end")

    def test_a_summary_comes_with_verbose_unless_quiet(self):
        end = r", \d+\.\d{3} s\n$"
        self.assertRegex(self.hoq("-v", "cp", "-R", "s", "t").err.decode(),
                         r"^5 items, 3\.1 KiB(, [\d.]+ \w+/s)?" + end)
        self.assertRegex(self.hoq("-v", "mv", "t", "u").err.decode(), r"^1 item, 0 B" + end)
        self.assertRegex(self.hoq("-v", "cp", "nope", "u").err.decode(),
                         r'^hoq: "nope", No such file or directory\n0 items, 0 B' + end)
        self.assertEqual(self.hoq("-v", "-q", "cp", "f", "g").err, b"")


class Interrupted(HoqTest):
    """Ctrl-C while a large file is carried."""

    def setUp(self):
        super().setUp()
        with open(self.path("big"), "wb") as file:
            file.truncate(1 << 40)

    def interrupt(self, *arguments):
        process = subprocess.Popen(
            [HOQ, "--json", *arguments], cwd=self.dir, stdout=subprocess.PIPE,
            stderr=subprocess.PIPE, env=environment(),
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (LARGEST, LARGEST)))
        line = process.stdout.readline()  # the item has been reached
        process.send_signal(signal.SIGINT)
        out, err = process.communicate(timeout=60)
        self.assertEqual(json.loads(line)["progress"]["status"], self.dir + "/big")
        self.assertEqual((process.returncode, out, err), (-signal.SIGINT, b"", b""))

    def test_the_source_stays_as_it_was(self):
        for arguments in (["cp", "big", "copy"], ["mv", "big", "moved"]):
            with self.subTest(arguments=arguments):
                self.interrupt(*arguments)
                self.assertEqual(os.stat(self.path("big")).st_size, 1 << 40)

    def test_a_large_file_shows_how_far_it_is(self):
        process = subprocess.Popen(
            [HOQ, "--progress", "always", "cp", "big", "copy"], cwd=self.dir,
            stderr=subprocess.PIPE, env=environment(),
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (LARGEST, LARGEST)))
        shown = b""
        while b" MiB of 1.0 TiB, " not in shown and b" GiB of 1.0 TiB, " not in shown:
            piece = os.read(process.stderr.fileno(), 4096)
            self.assertNotEqual(piece, b"", shown)
            shown += piece
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=60)
        self.assertEqual(process.returncode, -signal.SIGINT)

    def test_a_copy_that_cannot_be_finished_is_a_failure_and_the_source_stays(self):
        def limit():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))
        for command in ("cp", "mv"):
            result = self.hoq(command, "big", command + "-new", preexec_fn=limit)
            self.assert_fails(result, 1,
                              f'"{self.dir}/big", Cannot write to file: File too large[27]')
            self.assertEqual(os.stat(self.path("big")).st_size, 1 << 40)


if __name__ == "__main__":
    unittest.main()
