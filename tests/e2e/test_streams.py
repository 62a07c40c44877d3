import os
import signal
import subprocess
import unittest

from hoqtest import HOQ, HoqTest, environment

COMMANDS = [["ls", "-a"], ["ls", "-la"], ["ls", "-aR"], ["ls", "--json"], ["stat", "."],
            ["stat", "--json", "."], ["--help"], ["ls", "--help"], ["--version"]]


class Streams(HoqTest):
    def setUp(self):
        super().setUp()
        self.make("f", "d/", "d/g")

    def start(self, arguments, **popen):
        return subprocess.Popen([HOQ, *arguments], cwd=self.dir, env=environment(),
                                stderr=subprocess.PIPE, **popen)

    def finish(self, process):
        _, err = process.communicate(timeout=60)
        return process.returncode, err

    def test_an_output_that_cannot_be_written_is_a_failure(self):
        for arguments in COMMANDS:
            with self.subTest(arguments=arguments), open("/dev/full", "wb") as full:
                self.assertEqual(self.finish(self.start(arguments, stdout=full)), (
                    1, b"hoq: cannot write the output: No space left on device\n"))

    def test_a_closed_output_is_a_failure(self):
        for arguments in COMMANDS:
            with self.subTest(arguments=arguments):
                process = self.start(arguments, preexec_fn=lambda: os.close(1))
                self.assertEqual(self.finish(process), (
                    1, b"hoq: cannot write the output: Bad file descriptor\n"))

    def test_a_closed_output_does_not_matter_where_nothing_is_written(self):
        process = self.start(["mkdir", "new"], preexec_fn=lambda: os.close(1))
        self.assertEqual(self.finish(process), (0, b""))
        self.assertTrue(self.exists("new"))

    def test_closed_standard_streams_harm_nothing(self):
        def close_all():
            for descriptor in (0, 1, 2):
                os.close(descriptor)
        process = self.start(["rm", "-r", "d"], preexec_fn=close_all)
        self.assertEqual(self.finish(process)[0], 0)
        self.assertFalse(self.exists("d"))
        self.assertTrue(self.exists("f"))

    def broken_pipe(self):
        reading, writing = os.pipe()
        os.close(reading)
        self.addCleanup(os.close, writing)
        return writing

    def test_a_broken_pipe_ends_the_program_quietly(self):
        for arguments in COMMANDS:
            with self.subTest(arguments=arguments):
                process = self.start(arguments, stdout=self.broken_pipe())
                self.assertEqual(self.finish(process), (-signal.SIGPIPE, b""))

    def test_a_broken_pipe_is_a_failure_where_its_signal_is_ignored(self):
        process = self.start(["ls"], stdout=self.broken_pipe(), restore_signals=False)
        self.assertEqual(self.finish(process),
                         (1, b"hoq: cannot write the output: Broken pipe\n"))

    def test_shells_see_the_statuses_that_tools_use(self):
        script = f'"{HOQ}" ls; echo $?'
        done = subprocess.run(["/bin/sh", "-c", script], cwd=self.dir, capture_output=True,
                              env=environment(), timeout=60)
        self.assertEqual(done.stdout, b"d\nf\n0\n")
        script = f'("{HOQ}" ls; echo $? >&2) >&3'
        pipe = self.broken_pipe()
        done = subprocess.run(["/bin/bash", "-c", script.replace(">&3", f">&{pipe}")],
                              cwd=self.dir, capture_output=True, env=environment(),
                              pass_fds=[pipe], timeout=60)
        self.assertEqual(done.stderr, b"141\n")

    def test_an_interrupt_ends_the_program_quietly(self):
        process = self.start(["call", "list"], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        process.send_signal(signal.SIGINT)  # it waits for its request, or has not even begun
        self.assertEqual(self.finish(process), (-signal.SIGINT, b""))

    def test_results_and_errors_go_their_own_ways(self):
        result = self.hoq("ls", "f", "nope")
        self.assertEqual((result.status, result.out, result.err),
                         (1, b"f\n", b'hoq: "nope", No such file or directory\n'))

    def test_nothing_is_shown_of_progress_outside_a_terminal(self):
        self.assertEqual(self.hoq("ls", "-R").err, b"")
        self.assertEqual(self.hoq("ls", "--progress", "never", "-R").err, b"")

    def test_progress_is_shown_anywhere_when_asked(self):
        for arguments, items in ((["ls", "-R"], 1), (["rm", "-r", "d"], 3)):
            lines = self.hoq("--progress", "always", *arguments).err.decode().splitlines()
            self.assertGreaterEqual(len(lines), 2)
            for line in lines:
                self.assertRegex(line, r"^\d+ items, \d+ s$")
            counts = [int(line.split()[0]) for line in lines]
            self.assertEqual(counts, sorted(counts))
            self.assertGreaterEqual(counts[-1], min(items, 1))

    def test_a_summary_comes_with_verbose_unless_quiet(self):
        self.assertRegex(self.hoq("-v", "ls").err.decode(), r"^\d+ items, \d+\.\d{3} s\n$")
        self.assertEqual(self.hoq("-v", "-q", "ls").err, b"")
        self.assertEqual(self.hoq("-q", "ls", "nope").err,
                         b'hoq: "nope", No such file or directory\n')


if __name__ == "__main__":
    unittest.main()
