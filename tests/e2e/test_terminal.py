import os
import signal
import unittest

from hoqtest import HoqTest, Terminal, environment

WIPE = b"\r\x1b[K"


class OnATerminal(HoqTest):
    def run_on(self, *arguments, columns=80):
        shown, status = Terminal(arguments, self.dir, columns).finish()
        self.assertEqual(status, 0, shown)
        return shown.replace(b"\r\n", b"\n")

    def test_names_stand_in_columns(self):
        self.make(*(f"name{i}" for i in range(10)))
        self.assertEqual(self.run_on("ls", columns=24).split(b"\n")[0], b"name0  name4  name8")
        self.assertEqual(self.run_on("ls", columns=24).count(b"\n"), 4)
        self.assertEqual(self.run_on("ls", columns=10).count(b"\n"), 10)
        self.assertEqual(self.run_on("ls", columns=200).count(b"\n"), 1)

    def test_control_characters_are_escaped(self):
        for name in (b"a\x1b[31m\n", b"b\xff", "c\u202e".encode(), b"d\x7f\t"):
            with open(self.path(name), "wb"):
                pass
        expected = [b"a\\x1b[31m\\n", b"b\\xff", b"c\\u202e", b"d\\x7f\\t"]
        self.assertEqual(self.run_on("ls", columns=10).split(), expected)
        for arguments in (["ls", "-l"], ["ls", "-R"], ["ls", "-lR"], ["ls", "-s"]):
            shown = self.run_on(*arguments)
            with self.subTest(arguments=arguments):
                for name in expected:
                    self.assertIn(name + b"\n", shown)
        self.assertEqual(self.hoq("ls").out, b"a\x1b[31m\n\nb\xff\nc\xe2\x80\xae\nd\x7f\t\n")

    def test_errors_and_targets_are_escaped(self):
        os.symlink("to\x1b[2J", self.path("l"))
        self.assertIn(b"l -> to\\x1b[2J\n", self.run_on("ls", "-l", "--color", "never"))
        self.assertIn(b"Target: to\\x1b[2J\n", self.run_on("stat", "l"))
        shown, status = Terminal(["ls", "no\x1b[2J"], self.dir).finish()
        self.assertEqual((shown, status),
                         (b'hoq: "no\\x1b[2J", No such file or directory\r\n', 1))

    def test_json_is_json_on_a_terminal_too(self):
        self.make("f")
        self.assertTrue(self.run_on("ls", "--json").startswith(b'{"path":"./f",'))

    def test_colors_tell_kinds_apart(self):
        self.make("d/", "f", "l -> f")
        self.assertIn(b"\x1b[1;34md\x1b[0m", self.run_on("ls"))
        self.assertIn(b"\x1b[1;36ml\x1b[0m", self.run_on("ls", "-l"))
        self.assertNotIn(b"\x1b", self.run_on("ls", "--color", "never"))
        self.assertNotIn(b"\x1b", self.hoq("ls").out)
        self.assertIn(b"\x1b[1;34md\x1b[0m\n", self.hoq("ls", "--color", "always").out)

    def test_progress_is_wiped_before_anything_else_is_shown(self):
        self.make("f")
        terminal = Terminal(["--progress", "always", "ls", "f", "nope"], self.dir)
        shown, status = terminal.finish()
        self.assertEqual(status, 1)
        self.assertRegex(shown, rb"^\r\x1b\[K0 items, 0 s")
        self.assertIn(WIPE + b'hoq: "nope"', shown)
        self.assertTrue(shown.endswith(b"\r\nf\r\n"), shown)

    def test_an_interrupt_wipes_the_progress_line(self):
        # The command that tells content types blocks until the end of this test.
        self.make("f", "tools/")
        os.mkfifo(self.path("never"))
        with open(self.path("tools/file"), "wb") as script:
            script.write(b'#!/bin/sh\nread line < "' + self.path("never") + b'"\n')
        os.chmod(self.path("tools/file"), 0o755)
        env = environment(PATH=self.path("tools").decode() + ":/usr/bin:/bin")
        terminal = Terminal(["--progress", "always", "stat", "-t", "f"], self.dir, env=env)
        terminal.wait_for(b" items, ")
        released = os.open(self.path("never"), os.O_RDWR)  # lets the command reach its read
        self.addCleanup(os.close, released)
        terminal.process.send_signal(signal.SIGINT)
        shown, status = terminal.finish()
        self.assertEqual(status, -signal.SIGINT)
        self.assertTrue(shown.endswith(WIPE), shown)


if __name__ == "__main__":
    unittest.main()
