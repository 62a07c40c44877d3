"""The trees that the benchmarks run over.

Each is made from its recipe alone (no clock, no chance from outside), so that every machine
measures the same files. A tree that is complete is used again; one that was interrupted, or made
by another recipe, is made anew.
"""

import os
import random
import subprocess
from dataclasses import dataclass
from typing import Callable

# Part of every tree's stamp: raise it when a maker below makes other files.
RECIPE = 1

# Files get times long past, one after the other, so that every tool prints dates of one form.
FIRST_TIME = 1_500_000_000


class Tree:
    """A finished tree: where it lies, how many entries are below it, and one of its files."""

    def __init__(self, path, entries, files):
        self.path = path
        self.entries = entries
        self.files = files


def obtain(place, name, scale=1.0):
    """The tree `name` (see MAKERS) below the directory `place`, made if it is not there."""
    return obtain_count(place, name, max(1, round(MAKERS[name].size * scale)))


def obtain_count(place, name, count):
    """As obtain(), with so many files."""
    maker = MAKERS[name].make
    path = os.path.join(place, f"{name}-{count}")
    stamp = path + ".complete"
    try:
        with open(stamp) as file:
            recipe, entries, files = map(int, file.read().split())
        if recipe == RECIPE and os.path.isdir(path):
            return Tree(path, entries, files)
    except (FileNotFoundError, ValueError):
        pass
    return _make(maker, count, path, stamp)


def _make(maker, count, path, stamp):
    for left in (stamp, path, path + ".partial"):
        discard(left)
    os.makedirs(path + ".partial")
    entries, files = maker(path + ".partial", count)
    os.rename(path + ".partial", path)
    with open(stamp, "w") as file:
        file.write(f"{RECIPE} {entries} {files}\n")
    return Tree(path, entries, files)


def first_file(path):
    """The name of a file in the tree, or of the tree itself when it has none."""
    for directory, names, files in os.walk(path):
        names.sort()
        if files:
            return os.path.join(directory, min(files))
    return path


def discard(path):
    """Removes whatever is there."""
    if os.path.isdir(path) and not os.path.islink(path):
        subprocess.run(["rm", "-rf", "--", path], check=True)  # thrice as fast as doing it here
    elif os.path.lexists(path):
        os.remove(path)


class _Writer:
    """Writes files with contents and times that follow from their order."""

    def __init__(self, root):
        self.root = os.open(root, os.O_RDONLY | os.O_DIRECTORY)
        self.random = random.Random("hoq")
        self.block = self.random.randbytes(1 << 18)
        self.entries = 0
        self.files = 0

    def __enter__(self):
        return self

    def __exit__(self, *failure):
        os.close(self.root)

    def directory(self, name):
        os.mkdir(name, 0o755, dir_fd=self.root)
        self.entries += 1

    def link(self, target, name):
        os.symlink(target, name, dir_fd=self.root)
        self.entries += 1

    def file(self, name, size):
        file = os.open(name, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o644, dir_fd=self.root)
        try:
            while size > 0:
                start = self.random.randrange(len(self.block) // 2)
                size -= os.write(file, self.block[start:start + size])
            time = FIRST_TIME + 61 * self.entries
            os.utime(file, (time, time))
        finally:
            os.close(file)
        self.entries += 1
        self.files += 1

    def file_of(self, name, contents):
        with os.fdopen(os.open(name, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o644,
                               dir_fd=self.root), "wb") as file:
            file.write(contents)
        time = FIRST_TIME + 61 * self.entries
        os.utime(name, (time, time), dir_fd=self.root)
        self.entries += 1
        self.files += 1

    def made(self):
        return self.entries, self.files


def _small(root, count, least=1024, most=3072):
    """Files of 1 to 3 KiB, 100 in a directory, 24 directories in each of those at the top."""
    with _Writer(root) as tree:
        directory = ""
        for number in range(count):
            if number % 100 == 0:
                top, below = divmod(number // 100, 25)
                directory = f"d{top:03}" if below == 0 else f"d{top:03}/d{below:02}"
                tree.directory(directory)
            tree.file(f"{directory}/file-{number:06}.txt", tree.random.randint(least, most))
        return tree.made()


def _plain(root, count):
    """As _small, of empty files."""
    return _small(root, count, 0, 0)


def _wide(root, count):
    """Empty files in one directory."""
    with _Writer(root) as tree:
        for number in range(count):
            tree.file(f"entry-{number:07}", 0)
        return tree.made()


def _deep(root, count):
    """A chain of directories with a file in each."""
    with _Writer(root) as tree:
        directory = "."
        for level in range(count):
            directory += f"/level-{level:03}"
            tree.directory(directory)
            tree.file(directory + "/file", 100)
        return tree.made()


def _source(root, count):
    """What a source tree is like: names, depths and sizes vary, and some entries are links."""
    words = "core util net test data view main base list map parse format cache store index".split()
    endings = (".c", ".h", ".cpp", ".py", ".md", ".txt", ".json", "")
    with _Writer(root) as tree:
        pick = tree.random.choice
        directories = ["."]
        for number in range(count):
            if number % 12 == 0:
                above = pick(directories[-40:])
                if above.count("/") > 8:
                    above = "."
                directories.append(f"{above}/{pick(words)}{number // 12}")
                tree.directory(directories[-1])
            name = f"{pick(directories[-6:])}/{pick(words)}_{pick(words)}{number}{pick(endings)}"
            if number % 50 == 49:
                tree.link("../README.md", name)
            else:
                tree.file(name, min(int(tree.random.lognormvariate(8.2, 1.4)), 1 << 20))
        return tree.made()


def _types(root, count):
    """Files of one directory, each of another kind than the one before it."""
    kinds = (("txt", b"Some lines of text,\nas people write them.\n"), ("sh", b"#!/bin/sh\nexit 0\n"),
             ("json", b'{"name": "value", "list": [1, 2, 3]}\n'), ("gz", b"\x1f\x8b\x08\0\0\0\0\0"),
             ("png", b"\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\0\0\x10\0\0\0\x10\x08\x02\0\0\0"),
             ("c", b"#include <stdio.h>\n\nint main(void) { return 0; }\n"), ("empty", b""),
             ("html", b"<!DOCTYPE html>\n<html><body>text</body></html>\n"),
             ("pdf", b"%PDF-1.7\n"), ("data", bytes(range(128, 256))))
    with _Writer(root) as tree:
        for number in range(count):
            ending, contents = kinds[number % len(kinds)]
            tree.file_of(f"file-{number:05}.{ending}", contents)
        return tree.made()


def _big(root, kib):
    """One file."""
    with _Writer(root) as tree:
        tree.file("file", kib << 10)
        return tree.made()


@dataclass(frozen=True)
class Maker:
    make: Callable
    size: int  # files at full scale (levels, for the chain; KiB, for the one file)
    traced: int  # and where each single system call is looked at


MAKERS = {
    "small": Maker(_small, 100_000, 5_000),
    "fewer": Maker(_small, 20_000, 5_000),  # for what takes a fresh copy for each run
    "plain": Maker(_plain, 100_000, 5_000),
    "wide": Maker(_wide, 1_000_000, 5_000),
    "deep": Maker(_deep, 200, 200),
    "source": Maker(_source, 10_000, 5_000),
    "types": Maker(_types, 1_000, 100),
    "big": Maker(_big, 1 << 20, 1 << 16),
    "empty": Maker(lambda root, count: (0, 0), 1, 1),
}
