"""The rules of the tree: who may include whom, who may touch paths, names, sizes."""

import os
import pathlib
import re
import subprocess
import unittest

import repository

# A folder may include itself, the folders that its row names, and what those may include.
MAY_INCLUDE = {
    "framework": (),
    "filemanager/routine": ("framework",),
    "filemanager/engine": ("filemanager/routine",),
    "filemanager/filer": ("filemanager/engine",),
    "filemanager/haul": ("filemanager/filer",),
    "filemanager/operations": ("filemanager/haul",),
    "filemanager/updownload": ("filemanager/haul",),
    "filemanager/plugin": ("filemanager/operations", "filemanager/updownload"),
    "transport": ("framework",),
    "agent": ("transport",),
    "cli": ("transport",),
}

# Directories that a quoted include is looked up in, besides the including file's own.
INCLUDE_ROOTS = ("filemanager", "cli", "agent", "transport", "framework/include")

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.MULTILINE)

# System calls that take a path, written as calls of the global function.
PATH_CALL = re.compile(
    r"(?<![\w>])::\s*(open|open64|openat|openat2|creat|stat|lstat|stat64|lstat64|fstatat|statx"
    r"|access|faccessat|mkdir|mkdirat|mknod|rmdir|unlink|unlinkat|remove|rename|renameat|renameat2"
    r"|link|linkat|symlink|symlinkat|readlink|readlinkat|chmod|fchmodat|chown|lchown|fchownat"
    r"|utimensat|truncate|opendir|scandir|nftw|chdir)\s*\(")

# Files outside filemanager/routine that call the system on paths, and why they may.
MAY_CALL_ON_PATHS = {
    "agent/config/ConfigurationFile.cpp": "the daemon's own file, and who could write it",
    "agent/front/Privileges.cpp": "the daemon's own folders, before it gives root up",
    "agent/spawner/Confinement.cpp": "what a confined worker sees, before it serves anybody",
    "agent/spawner/ControlGroups.cpp": "groups for workers",
    "agent/spawner/Landlock.cpp": "where a confined worker may write",
    "agent/spawner/WorkerBirth.cpp": "opens /dev/null, goes to /",
    "cli/ProgramFolder.cpp": "where this program lies, and what lies beside it",
    "cli/contents/LocalSide.cpp": "the client's own files, which put and get carry",
    "cli/listing/TemporaryFile.cpp": "a temporary file of the client's own",
    "cli/output/Output.cpp": "opens /dev/null",
    "filemanager/operations/CopyMoveOperate.cpp": "renames a directory that is moved",
    "framework/src/HOQFile.cpp": "opens a file to write, for plugins and hosts",
    "transport/tls/PemFile.cpp": "reads this node's own certificates and key",
    "transport/tls/Sockets.cpp": "names of UNIX sockets that are listened on",
    "transport/tls/UnixSocketFolder.cpp": "looks whether others could replace such a name",
}

# Headers of functions, constants, macros and kindred templates, named after their subject.
NAMED_AFTER_A_SUBJECT = {
    "filemanager/engine/PathHelpers.h",
    "filemanager/routine/ContentType.h",
    "filemanager/routine/FilterMatch.h",
    "framework/include/hoq/HOQAssert.h",
    "framework/include/hoq/HOQChannelMemory.h",
    "framework/include/hoq/HOQErrorMessage.h",
    "framework/include/hoq/HOQExport.h",
    "framework/include/hoq/HOQFunctionalFactory.h",
    "framework/include/hoq/HOQIdentity.h",
    "framework/include/hoq/HOQNodeIdentity.h",
    "framework/include/hoq/HOQResultCodes.h",
    "framework/include/hoq/HOQVersion.h",
}

MOST_LINES = 700


def folder(path):
    """The row of MAY_INCLUDE that the file belongs to, or None."""
    text = path.as_posix()
    return next((name for name in MAY_INCLUDE if text.startswith(name + "/")), None)


def reachable(name):
    found = {name}
    for below in MAY_INCLUDE[name]:
        found |= reachable(below)
    return found


def resolve(path, bracket, target):
    """The repository's file that an include line means; None for a file from elsewhere."""
    roots = ["framework/include"]
    if bracket == '"':
        roots = [path.parent.as_posix(), *INCLUDE_ROOTS]
    for root in roots:
        if (repository.SOURCE / root / target).is_file():
            full = os.path.normpath(repository.SOURCE / root / target)
            return pathlib.Path(full).relative_to(repository.SOURCE)
    return None


def without_comments(text):
    return re.sub(r"//[^\n]*|/\*.*?\*/", "", text, flags=re.DOTALL)


class TreeTest(unittest.TestCase):
    def product_sources(self):
        sources = [path for path in repository.files(".h", ".cpp") if folder(path)]
        self.assertGreater(len(sources), 40, "the products' sources were not found")
        return sources

    def test_includes_point_one_way(self):
        wrong, seen = [], 0
        for path in self.product_sources():
            allowed = reachable(folder(path))
            for bracket, target in INCLUDE.findall(repository.read(path)):
                meant = resolve(path, bracket, target)
                if meant is None:
                    if bracket == '"':
                        wrong.append(f'{path}: "{target}" is not there')
                    continue
                seen += 1
                if folder(meant) not in allowed:
                    wrong.append(f"{path}: includes {meant}")
        self.assertEqual(wrong, [])
        self.assertGreater(seen, 100, "the include lines were not found")

    def test_every_folder_of_the_plugin_has_its_place_in_the_order(self):
        folders = {f"filemanager/{path.parts[1]}"
                   for path in repository.files(".h", ".cpp", under="filemanager")}
        self.assertLessEqual(folders, set(MAY_INCLUDE))

    def test_only_the_routine_calls_the_system_on_paths(self):
        found = {}
        for path in self.product_sources():
            if folder(path) == "filemanager/routine":
                continue
            calls = PATH_CALL.findall(without_comments(repository.read(path)))
            if calls:
                found[path.as_posix()] = sorted(set(calls))
        unexpected = {path: calls for path, calls in found.items() if path not in MAY_CALL_ON_PATHS}
        self.assertEqual(unexpected, {})
        self.assertEqual(set(MAY_CALL_ON_PATHS) - set(found), set(), "exceptions that nobody needs")

    def test_the_routine_is_where_the_search_for_path_calls_finds_them(self):
        text = repository.read("filemanager/routine/HOQFileRoutineLin.cpp")
        self.assertGreater(len(set(PATH_CALL.findall(without_comments(text)))), 8)

    def test_a_header_is_named_as_what_it_declares(self):
        wrong = []
        headers = (repository.files(".h", under="filemanager")
                   + repository.files(".h", under="framework/include"))
        for path in headers:
            declared = re.search(
                rf"\b(class|struct|union|enum|enum class|using|#define)\s+(HOQ_EXPORT\s+)?{path.stem}\b"
                rf"|\b{path.stem}\s*\(", repository.read(path))
            if not declared and path.as_posix() not in NAMED_AFTER_A_SUBJECT:
                wrong.append(str(path))
        self.assertEqual(wrong, [])

    def test_a_header_is_read_once(self):
        for path in repository.files(".h"):
            with self.subTest(path=str(path)):
                self.assertIn("#pragma once", repository.read(path))

    def test_no_file_is_long(self):
        code = repository.files(".h", ".cpp", ".py", ".cmake", ".txt")
        long = {str(path): lines for path in code
                if (lines := repository.read(path).count("\n")) > MOST_LINES}
        self.assertEqual(long, {})

    def test_nothing_names_the_place_of_a_working_copy(self):
        private = re.compile(r"/(?:home|root|Users)/[\w.-]+|" + re.escape(str(repository.SOURCE)))
        wrong = []
        for path in repository.files():
            try:
                text = repository.read(path)
            except UnicodeDecodeError:
                continue  # not a text
            wrong.extend(f"{path}: {found}" for found in private.findall(text))
        self.assertEqual(wrong, [])

    def test_texts_end_with_one_line_break_and_have_no_blanks_at_line_ends(self):
        wrong = []
        for path in repository.files(".h", ".cpp", ".py", ".cmake", ".txt", ".md", ".json", ""):
            data = (repository.SOURCE / path).read_bytes()
            if not data:
                continue
            if not data.endswith(b"\n") or data.endswith(b"\n\n"):
                wrong.append(f"{path}: its end")
            if b"\r" in data or re.search(rb"[ \t]+$", data, re.MULTILINE):
                wrong.append(f"{path}: blanks or returns at the end of a line")
        self.assertEqual(wrong, [])

    def test_scripts_can_be_run_and_are_well_formed(self):
        runnable = ("scripts/quickstart", "scripts/test", "scripts/bench", ".ci/run")
        for name in (*runnable, "scripts/lib.sh"):
            with self.subTest(script=name):
                path = repository.SOURCE / name
                self.assertEqual(os.access(path, os.X_OK), name in runnable)
                checked = subprocess.run(["bash", "-n", path], capture_output=True, text=True)
                self.assertEqual((checked.returncode, checked.stderr), (0, ""))


if __name__ == "__main__":
    unittest.main()
