import os
import shutil
import subprocess
import unittest

from hoqtest import BIN, HoqTest, environment

# The words of a line, the last of them still being typed, and what it may become. None: a path.
ROWS = [
    (["l"], {"ls", "ln"}, set()),
    ([""], {"ls", "cp", "ping", "completion"}, set()),
    (["--js"], {"--json"}, set()),
    (["ls", "--rec"], {"--recursive"}, {"--json"}),
    (["ls", "-"], {"-R", "--filter", "--json"}, {"--force"}),
    (["-C", "ls", "c"], {"cp", "chmod", "call"}, set()),
    (["--node", "a:1", "cp", "--fo"], {"--force"}, set()),
    (["--color", "a"], {"auto", "always"}, {"never"}),
    (["ls", "--progress", "n"], {"never"}, {"auto"}),
    (["cert", ""], {"ca", "issue"}, {"ls"}),
    (["completion", "z"], {"zsh"}, {"bash"}),
    (["call", "re"], {"remove", "readlink"}, {"list"}),
    (["call", "--rights", "r"], {"read"}, {"readlink"}),
]
# Where a path is completed: these words never come.
PATHS = [["ls", ""], ["cp", "a", ""], ["cert", "issue", ""], ["ls", "--ca", ""]]


class Completion(HoqTest):
    def script(self, shell):
        result = self.hoq("completion", shell)
        self.assertEqual((result.status, result.err), (0, b""))
        path = os.path.join(self.dir, "_hoq")
        with open(path, "wb") as file:
            file.write(result.out)
        return path

    def ask(self, *words):
        done = subprocess.run(words, cwd=self.dir, stdin=subprocess.DEVNULL, capture_output=True,
                              timeout=60, text=True,
                              env=environment(PATH=BIN + ":/usr/bin:/bin", HOME=self.dir))
        self.assertEqual((done.returncode, done.stderr), (0, ""), words)
        return {line.split("\t")[0] for line in done.stdout.splitlines()}

    def check(self, complete):
        for words, wanted, unwanted in ROWS:
            with self.subTest(words=words):
                found = complete(words)
                self.assertLessEqual(wanted, found)
                self.assertFalse(unwanted & found, found)
        for words in PATHS:
            with self.subTest(words=words):
                self.assertFalse(complete(words) & {"ls", "cp", "ca", "--json"})

    def test_bash(self):
        script = self.script("bash")

        def complete(words):
            code = ('. "$1"; shift; COMP_WORDS=(hoq "$@"); COMP_CWORD=$#; _hoq;'
                    ' ((${#COMPREPLY[@]})) && printf "%s\\n" "${COMPREPLY[@]}" || true')
            return self.ask("bash", "-c", code, "bash", script, *words)
        self.check(complete)

    @unittest.skipUnless(shutil.which("fish"), "fish is not installed")
    def test_fish(self):
        script = self.script("fish")

        def complete(words):
            line = " ".join(["hoq", *words])
            return self.ask("fish", "--no-config", "-c", f"source {script}; complete -C '{line}'")
        self.check(complete)

    @unittest.skipUnless(shutil.which("zsh"), "zsh is not installed")
    def test_zsh_reads_its_text(self):
        script = self.script("zsh")
        code = f"autoload -U compinit; compinit -u -D; source {script}; print -l ${{(k)_comps[(I)hoq]}}"
        self.assertEqual(self.ask("zsh", "-f", "-c", code), {"hoq"})

    def test_other_shells_are_refused(self):
        for arguments in ([], ["tcsh"], ["bash", "zsh"]):
            with self.subTest(arguments=arguments):
                result = self.hoq("completion", *arguments)
                self.assertEqual((result.status, result.out, result.err),
                                 (2, b"", b"hoq: completion takes one of bash, zsh and fish\n"))


if __name__ == "__main__":
    unittest.main()
