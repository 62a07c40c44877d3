"""README and docs: every command that they show does what they show, every path is there."""

import getpass
import grp
import os
import pwd
import re
import socket
import subprocess
import tempfile
import unittest

import repository

CONSOLE = re.compile(r"^```console\n(.*?)^```$", re.MULTILINE | re.DOTALL)
CODE = re.compile(r"(?<!`)`([^`\n]+)`(?!`)")
LINK = re.compile(r"\]\(([^)#\s]+)[^)]*\)")
FENCED = re.compile(r"^```.*?^```$", re.MULTILINE | re.DOTALL)

# What a code span must look like to be taken for a path of the repository.
PATH = re.compile(r"[\w.-]+(/[\w.-]+)*/?")
# Where a path may start from, besides the root: README and docs name the plugin's folders bare.
STARTS = ("", "filemanager", "framework/include")

MARK = "-- the next command --"


def documents():
    return [path for path in repository.files(".md")
            if path.parent.as_posix() in (".", "docs")]


def commands(text):
    """(command, expected output) in order. A command goes on after a backslash at its end, and one
    with a here document in the lines that begin with "> "."""
    found = []
    for block in CONSOLE.findall(text):
        for part in re.split(r"^\$ ", block, flags=re.MULTILINE)[1:]:
            lines = part.split("\n")
            length = 1
            while lines[length - 1].endswith("\\") or (
                    "<<" in lines[0] and lines[length].startswith("> ")):
                length += 1
            command = "\n".join(line[2:] if line.startswith("> ") else line
                                for line in lines[:length])
            found.append((command, "\n".join(lines[length:]).strip("\n")))
    return found


def split_tour(text):
    """What needs no daemon, and the tour of two nodes."""
    before, heading, rest = text.partition("## Two nodes\n")
    tour, after = re.split(r"(?=^## )|\Z", rest, maxsplit=1, flags=re.MULTILINE) if heading else ("", "")
    return before + after, tour


def has_account(name):
    try:
        return bool(pwd.getpwnam(name))
    except KeyError:
        return False


def free_ports(count):
    """Ports that nobody listens on."""
    sockets = [socket.socket() for _ in range(count)]
    for each in sockets:
        each.bind(("127.0.0.1", 0))
    ports = [str(each.getsockname()[1]) for each in sockets]
    for each in sockets:
        each.close()
    return ports


def run(shown, directory):
    """The outputs of the commands, run in turn by one shell, whose directory is shown as /srv."""
    script = ["exec 2>&1", "umask 022"]
    for command, _ in shown:
        # $? stays what the command before left.
        script.append(f"status=$?; echo '{MARK}'; (exit $status)\n{command}")
        daemon = re.search(r"^hoqd .*> (\S+/out) .*&$", command)
        if daemon:  # whoever types takes longer than it does to listen
            script.append(f"timeout 60 tail -n +1 -F {daemon[1]} 2> {daemon[1]}.tail |"
                          " grep -q -m 1 listening")
    bin_directory = str(repository.BUILD / "bin")
    environment = {
        "PATH": bin_directory + os.pathsep + os.environ["PATH"], "HOME": directory,
        "LC_ALL": "C.UTF-8", "TZ": "UTC",
        **{name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}}
    done = subprocess.run(["bash", "-c", "\n".join(script)], cwd=directory, env=environment,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, timeout=120)
    outputs = done.stdout.decode(errors="backslashreplace").split(MARK + "\n")[1:]
    place = os.path.realpath(directory)
    return [output.strip("\n").replace(place, "/srv") for output in outputs]


def comparable(text, owner):
    """The text without what differs from place to place: who runs it, and so columns' widths."""
    for name in owner:
        text = re.sub(rf"\b{re.escape(name)}\b", "user", text)
    text = re.sub(r"until \d{4}-\d\d-\d\d", "until 2036-11-18", text)
    text = re.sub(r"\buser \(\d+\)", "user (1000)", text)
    text = re.sub(r'"(uid|gid)":\d+', r'"\1":1000', text)
    return re.sub(r" {2,}", " ", text)


class DocsTest(unittest.TestCase):
    maxDiff = None

    def check(self, shown, directory):
        owner = {getpass.getuser(), grp.getgrgid(os.getegid()).gr_name}
        outputs = run(shown, directory)
        self.assertEqual(len(outputs), len(shown), "a command ended the shell")
        for (command, expected), output in zip(shown, outputs):
            self.assertEqual(comparable(output, owner), comparable(expected, owner), command)

    def test_the_commands_shown_print_what_is_shown(self):
        for path in documents():
            shown = commands(split_tour(repository.read(path))[0])
            if not shown:
                continue
            with self.subTest(document=str(path)), tempfile.TemporaryDirectory() as directory:
                self.check(shown, directory)

    def test_the_tour_of_two_nodes_prints_what_is_shown(self):
        if not (repository.BUILD / "bin" / "hoqd").exists():
            self.skipTest("this build has no hoqd")
        if os.geteuid() == 0 and not has_account("hoq"):
            self.skipTest("root starts hoqd, and there is no user \"hoq\" that it could become")
        tour = split_tour(repository.read("README.md"))[1]
        shown = commands(tour)
        self.assertIn("7850", tour)
        for port, free in zip(("7850", "7851"), free_ports(2)):
            shown = [(command.replace(port, free), output) for command, output in shown]
        with tempfile.TemporaryDirectory() as directory:
            os.chmod(directory, 0o755)  # as the place is where people type
            self.check(shown, directory)

    def test_the_readme_tour_shows_the_commands(self):
        shown = " ; ".join(command for command, _ in commands(repository.read("README.md")))
        for wanted in ("hoq ls", "hoq ls -l", "hoq ls -R", "--filter", "hoq stat", "hoq mkdir -p",
                       "hoq cp -R", "hoq mv", "hoq put", "hoq get", "hoq chmod", "hoq rm -r",
                       "--json", "hoq call", "hoq cert ca", "hoqd --config", "--node"):
            self.assertIn(wanted, shown)

    def test_the_readme_names_the_two_commands_to_start_with(self):
        text = repository.read("README.md")
        self.assertIn("scripts/quickstart", text)
        self.assertIn("scripts/test", text)

    def test_every_path_named_is_there(self):
        top = {path.parts[0] for path in repository.files()}
        folders = {path.parts[1] for path in repository.files(under="filemanager")}
        missing, seen = [], 0
        for document in documents():
            text = FENCED.sub("", repository.read(document))
            links = [target for target in LINK.findall(text) if "://" not in target]
            for name in [span for span in CODE.findall(text) if PATH.fullmatch(span)] + links:
                is_path = (name in links or name.split("/")[0] in top | folders and "/" in name
                           or re.search(r"\.(h|cpp|md|py|sh|txt|cmake|map)$", name))
                if not is_path:
                    continue
                seen += 1
                starts = (*STARTS, document.parent.as_posix())
                if not any((repository.SOURCE / start / name).exists() for start in starts):
                    missing.append(f"{document}: {name}")
        self.assertEqual(missing, [])
        self.assertGreater(seen, 20, "the documents' paths were not found")


if __name__ == "__main__":
    unittest.main()
