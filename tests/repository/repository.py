"""Where the repository and the build lie, and what belongs to the repository."""

import os
import pathlib

SOURCE = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("HOQ_BUILD", SOURCE / "build/debug"))

# Directories that are made here and never committed.
_MADE = {".git", ".cache", "__pycache__"}


def files(*suffixes, under="."):
    """The repository's files as paths relative to its root, those with the suffixes if any."""
    found = []
    for directory, names, members in os.walk(SOURCE / under):
        here = pathlib.Path(directory).relative_to(SOURCE)
        names[:] = sorted(name for name in names
                          if name not in _MADE and (here / name) != pathlib.Path("build"))
        found.extend(here / member for member in sorted(members))
    return [path for path in found if not suffixes or path.suffix in suffixes]


def read(path):
    return (SOURCE / path).read_text(encoding="utf-8")
