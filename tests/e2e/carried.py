"""What the tests of hoq put and hoq get share: contents, and trees to compare."""

import hashlib
import os
import random

from hoqtest import HoqTest

PIECE = 512 * 1024


def contents(size, seed=7):
    """Bytes that differ from piece to piece."""
    return random.Random(seed).randbytes(size)


def digest(data):
    """In place of contents, so that a difference is told in a line."""
    return f"{len(data)} bytes, {hashlib.sha256(data).hexdigest()[:16]}"


class CarriedTest(HoqTest):
    def write(self, name, data):
        with open(self.path(name), "wb") as file:
            file.write(data)

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def tree(self, name="."):
        """Relative names with digests of files, targets of links, None for directories."""
        top, found = self.path(name), {}
        for folder, directories, files in os.walk(top):
            for entry in directories + files:
                path = os.path.join(folder, entry)
                relative = os.path.relpath(path, top)
                if os.path.islink(path):
                    found[relative] = os.readlink(path)
                elif os.path.isdir(path):
                    found[relative] = None
                else:
                    found[relative] = os.path.isfile(path) and digest(self.read(path))
        return found
