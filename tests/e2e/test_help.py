import glob
import os
import re
import subprocess
import unittest

from hoqtest import BIN, HoqTest, environment

COMMANDS = ["ls", "stat", "rm", "mkdir", "chmod", "chown", "cp", "mv", "ln", "readlink", "put",
            "get", "call", "cert", "completion"]


class Help(HoqTest):
    def test_every_command_stands_in_the_programs_help(self):
        text = "\n".join(self.lines("--help"))
        for command in COMMANDS:
            self.assertRegex(text, rf"(?m)^  {command} +\w")

    def test_the_examples_run(self):
        for command in [None, *COMMANDS]:
            arguments = [command, "--help"] if command else ["--help"]
            lines = self.lines(*arguments)
            examples = [line[4:] for line in lines[lines.index("Examples:"):]
                        if line.startswith("  $ ")]
            self.assertGreaterEqual(len(examples), 2, command)
            self.make("src/", "src/sub/", "src/a.c=int x;", "src/b.c", "notes.txt=hello",
                      "old.tmp")
            for example in examples:
                with self.subTest(example=example):
                    done = subprocess.run(
                        ["/bin/sh", "-c", example], cwd=self.dir, capture_output=True, timeout=60,
                        env=environment(PATH=BIN + ":/usr/bin:/bin"))
                    self.assertEqual((done.returncode, done.stderr), (0, b""), done.stdout)
                    if not re.search(r"hoq (rm|mkdir|chmod|chown|cp|mv|ln|put|get)", example):
                        self.assertNotEqual(done.stdout, b"")

    def test_help_works_before_and_after_the_command(self):
        self.assertEqual(self.lines("--help", "ls"), self.lines("ls", "--help"))
        self.assertEqual(self.lines("ls", "nope", "--help"), self.lines("ls", "--help"))

    def test_help_needs_neither_node_nor_plugin(self):
        env = environment(HOQ_NODE="nowhere:1", HOQ_PLUGIN="/nope")
        self.assertEqual(self.hoq("ls", "--help", env=env).status, 0)
        self.assertEqual(self.hoq("--version", env=env).status, 0)

    def test_the_version_is_told(self):
        self.assertRegex(self.lines("--version")[0], r"^hoq \d+\.\d+\.\d+ \(framework \d+\.\d+\)$")


class Usage(HoqTest):
    ROWS = [
        ([], "no command given (see hoq --help)"),
        (["lss"], 'unknown command "lss"; did you mean ls? (see hoq --help)'),
        (["zzz"], 'unknown command "zzz" (see hoq --help)'),
        (["--jsn", "ls"], "unknown option --jsn; did you mean --json? (see hoq ls --help)"),
        (["ls", "--recursiv"],
         "unknown option --recursiv; did you mean --recursive? (see hoq ls --help)"),
        (["ls", "-C"], "-C: 1 required TEXT missing (see hoq ls --help)"),
        (["--progress", "maybe", "ls"], '--progress takes auto, always or never, not "maybe"'),
        (["ls", "--color=red"], '--color takes auto, always or never, not "red"'),
        (["--engine", "steam", "ls"], '--engine takes blocks or kernel, not "steam"'),
        (["stat"], "stat needs a PATH (see hoq stat --help)"),
        (["mkdir", "-p"], "mkdir needs a PATH (see hoq mkdir --help)"),
    ]

    def test_wrong_usage_is_one_line_that_says_what_next(self):
        for arguments, error in self.ROWS:
            with self.subTest(arguments=arguments):
                self.assert_fails(self.hoq(*arguments), 2, error)

    def test_global_options_stand_anywhere_and_the_commands_own_win(self):
        self.make("d/", "d/f=" + "x" * 2048)
        expected = self.lines("--json", "-C", "d", "ls", "f")
        self.assertEqual(self.lines("ls", "--json", "f", "-C", "d"), expected)
        self.assertEqual(self.lines("ls", "-C", "nope", "f", "--json", "-C", "d"), expected)
        self.assertIn("2.0K", self.lines("ls", "-lh", "d")[0])
        for engine in ("blocks", "kernel"):
            self.assertEqual(self.lines("ls", "--engine", engine, "d"), ["f"])

    def test_two_dashes_end_the_options(self):
        self.make("-l", "--json", "f")
        self.assertEqual(self.lines("ls", "--", "-l", "--json"), ["--json", "-l"])
        self.assertEqual(self.lines("rm", "f", "--", "-l"), [])
        self.assertEqual(sorted(os.listdir(self.dir)), ["--json"])

    def test_a_command_is_a_name_like_others_behind_a_command(self):
        self.make("ls", "[a,b]", "rm")
        self.assertEqual(self.lines("ls", "ls", "rm", "[a,b]"), ["[a,b]", "ls", "rm"])

    def test_another_node_needs_certificates(self):
        if not glob.glob(os.path.join(BIN, "..", "lib", "libhoqtransport.so.*")):
            self.skipTest("built without what reaches other nodes")
        error = ('Cannot connect to node "far:7850": --ca, --cert and --key are needed for it '
                 "(hoq cert --help says how to make them)")
        self.assert_fails(self.hoq("--node", "far:7850", "ls"), 3, error)
        self.assert_fails(self.hoq("ls", env=environment(HOQ_NODE="far:7850")), 3, error)
        self.assert_fails(self.hoq("call", "list", "--node", "far:7850", stdin=b'{"paths":[]}'), 3,
                          error)
        self.assert_fails(self.hoq("ping"), 2,
                          "ping asks another node: name it with --node ADDRESS")


if __name__ == "__main__":
    unittest.main()
