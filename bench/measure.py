"""Runs the rows' commands and takes their figures."""

import json
import os
import shutil
import statistics
import subprocess
import tempfile
from collections import namedtuple

import corpus

# One run: seconds, seconds of processor time, KiB.
Sample = namedtuple("Sample", "wall cpu peak")


class Failed(Exception):
    """A command that did not do its job, so that its time means nothing."""


class Bench:
    """What all rows share: the program, the trees, and how a command is run.

    Every command prints to /dev/null, finds its tree in the page cache (a run that is not counted
    comes first), and runs in the C locale.
    """

    def __init__(self, hoq, measurer, place, scale=1.0, rounds=5):
        self.hoq = hoq
        self.measurer = measurer
        self.place = place
        self.scale = scale
        self.rounds = rounds
        self.copy = os.path.join(place, "copy")
        self.new = os.path.join(place, "new")
        # Another file system, where the machine has one in memory; else rows over it fail.
        self.across = f"/dev/shm/hoq-bench-{os.getpid()}"
        self.grown = self.across + "-grown"
        self.environment = {**os.environ, "LC_ALL": "C", "TZ": "UTC"}
        self.trees = {}
        self.copied = None  # the job whose run has left its copy whole, and of which tree
        self.traces = strace_works()

    def tree(self, name):
        if name not in self.trees:
            self.trees[name] = corpus.obtain(self.place, name, self.scale)
        return self.trees[name]

    def tree_to_trace(self, name):
        """The tree with few entries."""
        maker = corpus.MAKERS[name]
        return corpus.obtain(self.place, name, min(self.scale, maker.traced / maker.size))

    def paths(self, name, tree=None):
        tree = tree or self.tree(name)
        return {"hoq": self.hoq, "tree": tree.path, "copy": self.copy, "new": self.new,
                "across": self.across, "file": corpus.first_file(tree.path)}

    def run(self, command, times=1, stdin=""):
        """The samples of `times` runs in turn."""
        read, write = os.pipe()
        with tempfile.TemporaryFile() as text, os.fdopen(read) as results:
            text.write(stdin.encode())
            text.seek(0)
            try:
                process = subprocess.run(
                    [self.measurer, str(write), str(times), *command], pass_fds=(write,),
                    stdin=text, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                    env=self.environment)
            finally:
                os.close(write)
            lines = [list(map(int, line.split())) for line in results]
        failed = [status for *_, status in lines if status != 0]
        if process.returncode != 0 or failed or len(lines) != times:
            raise Failed(f"{' '.join(command)}: status {failed or process.returncode}: "
                         + process.stderr.decode(errors="replace").strip()[:300])
        return [Sample(wall / 1e9, (user + system) / 1e9, peak)
                for wall, user, system, peak, _ in lines]

    def clear(self):
        """Removes what runs have made."""
        for made in (self.copy, self.new, self.across, self.grown):
            corpus.discard(made)


def prepare_copy(bench, row, paths):
    """A whole copy of {tree} at {copy}, with nothing of it left to be written."""
    if bench.copied == (row.job, paths["tree"]):  # by the run before
        if row.leaves != "copy":
            os.rename(paths[row.leaves], paths["copy"])
        return
    corpus.discard(paths["copy"])
    subprocess.run(["cp", "-a", paths["tree"], paths["copy"]], check=True)
    os.sync()


def fill(command, paths):
    """The command with its placeholders replaced; other braces are left alone."""
    words = []
    for word in command:
        for name, path in paths.items():
            word = word.replace("{" + name + "}", path)
        words.append(word)
    return words


def measure_row(bench, row):
    """The row's results, one for each tool that it is measured against."""
    paths = bench.paths(row.tree)
    tree = bench.tree(row.tree)
    contenders = [(row.command, row.lines, row.request)]
    missing = [other for other in row.others if shutil.which(other.command[0]) is None]
    present = [other for other in row.others if other not in missing]
    contenders += [(other.command, other.lines, None) for other in present]

    for command, lines, request in contenders:
        warm_up(bench, fill(command, paths), lines, tree, given(request, paths))
    figures = [[] for _ in contenders]
    turns = list(zip(contenders, figures))
    for number in range(bench.rounds):
        first = number % len(turns)  # whoever comes first finds the machine as the last round left it
        for (command, _, request), samples in turns[first:] + turns[:first]:
            samples.append(one_round(bench, row, command, paths, given(request, paths)))
    ours, *theirs = figures
    results = [result(row, other, count_items(row, tree), ours, samples)
               for other, samples in zip(present, theirs)]
    if bench.traces:
        calls = [count_calls(bench, row, command, request) for command, _, request in contenders]
        for each, of_other in zip(results, calls[1:]):
            each["ours"].update(calls[0])
            each["other"].update(of_other)
    return (results,
            [f"{row.job}: {other.label} is not installed" for other in missing])


def _uses(command, name):
    return any("{" + name + "}" in word for word in command)


def given(request, paths):
    """What a command reads on its standard input."""
    if request is None:
        return ""
    return json.dumps({**request, "paths": fill(request["paths"], paths)})


def count_items(row, tree):
    """What the row's figures are divided by."""
    if row.per == "MiB":
        return max(1, os.path.getsize(corpus.first_file(tree.path)) >> 20)
    return 1 if row.per == "run" else tree.entries


def warm_up(bench, command, lines, tree, standard_input=""):
    if any(place in word for place in (bench.copy, bench.new, bench.across) for word in command):
        return  # it needs its places prepared; making a copy reads the tree as well
    try:
        done = subprocess.run(command, input=standard_input.encode(), stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, env=bench.environment)
    except OSError as error:
        raise Failed(f"{' '.join(command)}: {error}") from error
    if done.returncode != 0:
        raise Failed(f"{' '.join(command)}: status {done.returncode}: "
                     + done.stderr.decode(errors="replace").strip()[:300])
    printed = done.stdout.count(b"\n")
    if lines is not None and printed != tree.entries + lines:
        raise Failed(f"{' '.join(command)}: {printed} lines for {tree.entries} entries")


def one_round(bench, row, command, paths, standard_input=""):
    """The round's figure: the median of its runs."""
    if _uses(command, "copy"):
        prepare_copy(bench, row, paths)
        bench.copied = None  # until it is known to be whole again
    for name in ("new", "across"):
        if _uses(command, name) and os.path.lexists(paths[name]):
            corpus.discard(paths[name])
            os.sync()
    if row.per == "MiB" and _uses(command, "new"):
        touch_memory(paths)
    samples = bench.run(fill(command, paths), row.times, standard_input)
    if row.verify and not row.verify(paths):
        raise Failed(f"{' '.join(fill(command, paths))}: the job was not done")
    if row.leaves:
        bench.copied = row.job, paths["tree"]
    return Sample(*(statistics.median(figure) for figure in zip(*samples)))


def touch_memory(paths):
    """Memory that nobody has used for a while may be the host's again, and has to be had from it
    anew: that is to befall none of those who write much, and not only the first."""
    block = bytes(1 << 20)
    with open(paths["new"], "wb") as file:
        for _ in range(os.path.getsize(paths["file"]) >> 20):
            file.write(block)
    os.remove(paths["new"])


def result(row, other, items, ours, theirs):
    ratios = [a.wall / b.wall for a, b in zip(ours, theirs)]
    extra_ms = [(a.wall - b.wall) * 1000 for a, b in zip(ours, theirs)]
    in_ms = other.extra_ms is not None
    figures = extra_ms if in_ms else ratios
    return {
        "job": row.job, "against": other.label, "unit": "ms" if in_ms else "ratio",
        "figure": statistics.median(figures), "lowest": min(figures), "highest": max(figures),
        "aim": other.extra_ms if in_ms else other.ratio,
        "ratio": statistics.median(ratios),
        "items": items, "per": row.per, "ours": _summary(ours), "other": _summary(theirs),
    }


def _summary(samples):
    walls = [sample.wall for sample in samples]
    median = statistics.median(walls)
    return {
        "seconds": median,
        "spread": (max(walls) - min(walls)) / median,
        "cpu_seconds": statistics.median(sample.cpu for sample in samples),
        "peak_kib": max(sample.peak for sample in samples),
        "rounds": walls,
    }


def measure_memory(bench, probe):
    """Peak memory of the command, and what each entry adds to that of an empty directory."""
    peaks = []
    for name in (probe.tree, "empty"):
        paths = bench.paths(name)
        samples = [bench.run(fill(probe.command, paths), stdin=given(probe.request, paths))[0]
                   for _ in range(3)]
        peaks.append(statistics.median(sample.peak for sample in samples))
    entries = bench.tree(probe.tree).entries
    return {"job": probe.job, "entries": entries, "peak_kib": peaks[0], "empty_kib": peaks[1],
            "bytes_per_entry": (peaks[0] - peaks[1]) * 1024 / entries,
            "aim": probe.bytes_per_entry, "aim_mib": probe.peak_mib}


def count_calls(bench, row, command, request):
    """System calls of the command for each item of the row, and the three most frequent of them.

    Over fewer entries, since tracing takes its time; those of the start are among them.
    """
    paths = bench.paths(row.tree, bench.tree_to_trace(row.tree))
    if _uses(command, "copy"):
        bench.copied = None
        prepare_copy(bench, row, paths)
    for name in ("new", "across"):
        corpus.discard(paths[name])
    with tempfile.NamedTemporaryFile("r") as counts:
        done = subprocess.run(["strace", "-f", "-c", "-o", counts.name, *fill(command, paths)],
                              input=given(request, paths).encode(), stdout=subprocess.DEVNULL,
                              stderr=subprocess.PIPE, env=bench.environment)
        if done.returncode != 0:
            raise Failed(f"strace {' '.join(command)}: status {done.returncode}: "
                         + done.stderr.decode(errors="replace").strip()[:300])
        calls = parse_counts(counts)
    items = count_items(row, bench.tree_to_trace(row.tree))
    most = sorted(calls.items(), key=lambda call: (-call[1], call[0]))[:3]
    return {"calls_per_item": sum(calls.values()) / items,
            "calls_chiefly": {name: count / items for name, count in most}}


def parse_counts(lines):
    """The calls by name from what strace -c prints: share, seconds, µs a call, calls, ..., name."""
    calls = {}
    for line in lines:
        words = line.split()
        if len(words) >= 5 and words[0][0].isdigit() and words[-1] != "total":
            calls[words[-1]] = int(words[3])
    return calls


def strace_works():
    """Whether processes may be traced here; many containers do not allow it."""
    if shutil.which("strace") is None:
        return False
    return subprocess.run(["strace", "-f", "-c", "-o", os.devnull, "true"],
                          stderr=subprocess.DEVNULL).returncode == 0
