"""What is measured: one entry of a table each. A new row is a new entry.

Commands are templates. {hoq} is the program under test; {tree} a tree of corpus.MAKERS, {file} one
file in it, {copy} a copy of it that is made, outside the timing, for each single run that leaves none; {new} a place
beside it where nothing is, {across} one on another file system.
"""

import functools
import os
from dataclasses import dataclass
from typing import Callable, Optional


@dataclass(frozen=True)
class Other:
    """A tool to measure against, and how we want to compare with it."""

    command: tuple
    name: str = ""  # by default the command's first word
    ratio: Optional[float] = None  # aim: our time / its time, at most
    extra_ms: Optional[float] = None  # aim instead: our time - its time, at most
    lines: Optional[int] = None  # lines it prints, less the entries of the tree
    rounds: Optional[int] = None  # that it takes part in, the first ones; for what takes minutes

    @property
    def label(self):
        return self.name or self.command[0]


@dataclass(frozen=True)
class Row:
    """One job of hoq and the tools measured in turn with it."""

    job: str
    tree: str
    command: tuple
    others: tuple
    times: int = 1  # runs in a round; for jobs too short to be timed once
    lines: Optional[int] = None  # as in Other: proves that both did the job
    verify: Optional[Callable[[dict], bool]] = None  # asked after each run
    per: str = "entry"  # or "MiB", or "run": what time and system calls are divided by
    request: Optional[dict] = None  # given as JSON on standard input of hoq
    leaves: str = ""  # where {copy} is afterwards, whole as before: so it needs not be made again


@dataclass(frozen=True)
class Memory:
    """Peak memory: in all, and per entry, less what an empty directory takes."""

    job: str
    tree: str
    command: tuple
    request: Optional[dict] = None  # as in Row
    bytes_per_entry: Optional[int] = None  # aim
    peak_mib: Optional[int] = None  # aim


@dataclass(frozen=True)
class Growth:
    """A job over trees of more and more entries."""

    job: str
    command: tuple
    tree: str = "plain"  # of corpus.MAKERS
    request: Optional[dict] = None  # as in Row
    held: bool = False  # what it finds is kept until all is found, so that memory grows with it
    then: Optional["Growth"] = None  # measured behind it each time, on what it has made


def _gone(paths):
    return not os.path.lexists(paths["copy"])


def _count(path):
    return sum(len(names) + len(files) for _, names, files in os.walk(path))


@functools.lru_cache
def _count_of_tree(path):
    return _count(path)  # nothing changes it


def _copied(paths):
    return _count(paths["new"]) == _count_of_tree(paths["tree"])


def _copied_file(paths):
    return os.path.getsize(paths["new"]) == os.path.getsize(paths["file"])


def _moved_across(paths):
    return _gone(paths) and _count(paths["across"]) == _count_of_tree(paths["tree"])


# Whoever runs this may give the files to itself.
OWNER = f"+{os.getuid()}:+{os.getgid()}"

# The fields that hoq's records have, with the owner as numbers and with names as well.
_FIND_NUMBERS = ("find", "{tree}", "-printf", r"%p\t%y\t%m\t%U\t%G\t%s\t%T@\t%n\t%l\n")
_FIND_NAMES = ("find", "{tree}", "-printf", r"%p\t%y\t%m\t%u\t%U\t%g\t%G\t%s\t%T@\t%n\t%l\n")

# A bit for each field of a record.
_CONTENT_TYPE = 0x800
_EVERY_CHEAP_FIELD = _CONTENT_TYPE - 1  # a content type takes a process for each file

_FILES_TYPES = ("sh", "-c", "find {tree} -type f -print0 | xargs -0 -n 1 -P 2 file -ib")

ROWS = (
    Row("list a tree, long", "small", ("{hoq}", "ls", "-lR", "{tree}"),
        (Other(("ls", "-lUR", "{tree}"), "ls -lUR", ratio=0.6),)),
    Row("list a tree, JSON", "small", ("{hoq}", "ls", "-R", "--json", "{tree}"),
        (Other(_FIND_NUMBERS, "find -printf, ids", ratio=1.3, lines=1),
         Other(_FIND_NAMES, "find -printf, names", ratio=0.3, lines=1),
         Other(("bfs", *_FIND_NUMBERS[1:]), "bfs -printf, ids", lines=1)),
        lines=0),
    Row("list a source tree, long", "source", ("{hoq}", "ls", "-lR", "{tree}"),
        (Other(("ls", "-lUR", "{tree}"), "ls -lUR"),), times=5),
    Row("list a chain, long", "deep", ("{hoq}", "ls", "-lR", "{tree}"),
        (Other(("ls", "-lUR", "{tree}"), "ls -lUR"),), times=20),
    Row("list a directory of a million, long", "wide", ("{hoq}", "ls", "-l", "{tree}"),
        (Other(("ls", "-lU", "{tree}"), "ls -lU", ratio=0.7),)),
    Row("sizes of directories", "small", ("{hoq}", "ls", "-s", "{tree}"),
        (Other(("du", "--apparent-size", "-d1", "{tree}"), "du --apparent-size", ratio=1.1),)),
    Row("content types of 1,000 files", "types", ("{hoq}", "call", "list"),
        (Other(_FILES_TYPES, "file -ib each, two at a time", ratio=1.05),),
        request={"paths": ["{tree}"], "fields": _CONTENT_TYPE}),
    Row("remove a tree", "fewer", ("{hoq}", "rm", "-r", "{copy}"),
        (Other(("rm", "-rf", "{copy}"), "rm -rf", ratio=1.1),), verify=_gone),
    Row("copy a tree of small files", "small", ("{hoq}", "cp", "-R", "{tree}", "{new}"),
        (Other(("cp", "-a", "{tree}", "{new}"), "cp -a", ratio=0.9),
         Other(("rsync", "-a", "{tree}/", "{new}"), "rsync -a", ratio=0.7)), verify=_copied),
    Row("copy a source tree", "source", ("{hoq}", "cp", "-R", "{tree}", "{new}"),
        (Other(("cp", "-a", "{tree}", "{new}"), "cp -a"),
         Other(("rsync", "-a", "{tree}/", "{new}"), "rsync -a")), verify=_copied),
    Row("copy a file of 1 GiB", "big", ("{hoq}", "cp", "{file}", "{new}"),
        (Other(("cp", "{file}", "{new}"), ratio=1.05),), verify=_copied_file, per="MiB"),
    Row("copy a file of 1 GiB in blocks", "big",
        ("{hoq}", "--engine", "blocks", "cp", "{file}", "{new}"),
        (Other(("cp", "{file}", "{new}")),), verify=_copied_file, per="MiB"),
    Row("put a file of 1 GiB", "big", ("{hoq}", "put", "{file}", "{new}"),
        (Other(("cp", "{file}", "{new}"), ratio=1.3),), verify=_copied_file, per="MiB"),
    Row("put a file of 1 GiB, compared", "big", ("{hoq}", "put", "--verify", "{file}", "{new}"),
        (Other(("sh", "-c", "cp {file} {new} && cmp {file} {new}"), "cp, cmp"),),
        verify=_copied_file, per="MiB"),
    Row("get a file of 1 GiB", "big", ("{hoq}", "get", "{file}", "{new}"),
        (Other(("cp", "{file}", "{new}"), ratio=1.3),
         Other(("sh", "-c", "cp {file} {new} && sync {new}"), "cp, sync")),
        verify=_copied_file, per="MiB"),
    Row("put a tree of small files", "fewer", ("{hoq}", "put", "-R", "{tree}", "{new}"),
        (Other(("cp", "-a", "{tree}", "{new}"), "cp -a", ratio=1.5),), verify=_copied),
    Row("get a tree of small files", "fewer", ("{hoq}", "get", "-R", "{tree}", "{new}"),
        (Other(("cp", "-a", "{tree}", "{new}"), "cp -a", ratio=1.5),
         Other(("sh", "-c", "cp -a {tree} {new} && sync -f {new}"), "cp -a, sync")),
        verify=_copied),
    Row("move a tree, same file system", "fewer", ("{hoq}", "mv", "{copy}", "{new}"),
        (Other(("mv", "{copy}", "{new}")),), verify=_gone, leaves="new"),
    Row("move a tree to another file system", "fewer", ("{hoq}", "mv", "{copy}", "{across}"),
        (Other(("mv", "{copy}", "{across}"), ratio=1.0),), verify=_moved_across),
    Row("change modes", "fewer", ("{hoq}", "chmod", "-R", "755", "{copy}"),
        (Other(("chmod", "-R", "755", "{copy}"), "chmod -R", ratio=1.1),), leaves="copy"),
    Row("change owners", "fewer", ("{hoq}", "chown", "-R", OWNER, "{copy}"),
        (Other(("chown", "-R", OWNER, "{copy}"), "chown -R", ratio=1.1),), leaves="copy"),
    Row("start, and stat of a file", "source", ("{hoq}", "stat", "{file}"),
        (Other(("stat", "{file}"), extra_ms=5),), times=100, per="run"),
)

_TO_A_NODE = ("the way is of pieces of 4096 bytes, 262,144 reads and as many writes at each end, and each"
              " end's bytes pass TLS in the front and a socket pair to the worker: 6.6 s of processor"
              " time of both nodes, a second of it for the writes to the file, on two cores")
_EACH_ITEM = ("each item is a transfer of its own, with words for its start and its end, 5 newfstatat and"
              " 2 openat where it is sent, and a line of the audit where it arrives; a directory is"
              " waited for before what is in it")

# What stands in the way of an aim, by the job; told where it is missed.
WHY = {
    "sizes of directories": "as many system calls as du has",
    "remove a tree": "as many system calls as rm -rf has",
    "copy a tree of small files": "four of the 12 system calls an entry are what a copy is said to do:"
                                  " the source is examined twice, a new file's mode is set, and a read"
                                  " finds its end",
    "get a file of 1 GiB": "what get has answered is on the disk: it ends with fsync, and cp does not"
                           " (the row below has cp with sync)",
    "change modes": "the tree is listed first, so that links out of it are left alone: its directories"
                    " are read twice",
    "change owners": "the tree is listed first, so that links out of it are left alone: its directories"
                     " are read twice; and set-id bits are put back, which takes a newfstatat an entry",
    "send a file of 1 GiB, node to node": _TO_A_NODE,
    "send a file of 1 GiB, from here": _TO_A_NODE,
    "send a tree of small files, node to node": _EACH_ITEM,
    "send a tree of small files, from here": _EACH_ITEM,
}

MEMORY = (
    Memory("call list", "wide", ("{hoq}", "call", "list"),
           request={"paths": ["{tree}"], "fields": _EVERY_CHEAP_FIELD}, bytes_per_entry=350),
    Memory("ls -l", "wide", ("{hoq}", "ls", "-l", "{tree}")),
    Memory("ls --json", "wide", ("{hoq}", "ls", "--json", "{tree}"), peak_mib=32),
    Memory("ls -lU, the other one", "wide", ("ls", "-lU", "{tree}")),
)

GROWTH_SIZES = (10_000, 100_000, 1_000_000)
GROWTH_AIM = 1.2  # time of an entry among the most, by that among the fewest

# Jobs over the same kind of tree stand together: the trees are made once for them.
_WIDE_REQUEST = {"paths": ["{tree}"], "fields": _EVERY_CHEAP_FIELD}

GROWTH = (
    Growth("ls -l, one directory", ("{hoq}", "ls", "-l", "{tree}"), "wide"),
    Growth("ls --json, one directory", ("{hoq}", "ls", "--json", "{tree}"), "wide"),
    Growth("call list, one directory", ("{hoq}", "call", "list"), "wide", request=_WIDE_REQUEST,
           held=True),
    Growth("ls -lR", ("{hoq}", "ls", "-lR", "{tree}")),
    Growth("ls -R --json", ("{hoq}", "ls", "-R", "--json", "{tree}")),
    Growth("ls -s", ("{hoq}", "ls", "-s", "{tree}")),
    Growth("chmod -R", ("{hoq}", "chmod", "-R", "755", "{tree}")),
    Growth("chown -R", ("{hoq}", "chown", "-R", OWNER, "{tree}")),
    Growth("cp -R", ("{hoq}", "cp", "-R", "{tree}", "{new}"),
           then=Growth("rm -r", ("{hoq}", "rm", "-r", "{new}"))),
    Growth("put -R", ("{hoq}", "put", "-R", "{tree}", "{new}")),
    Growth("get -R", ("{hoq}", "get", "-R", "{tree}", "{new}")),
)
