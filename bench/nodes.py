"""What is measured between nodes: two hoqd on this machine's loopback, against ssh's tools.

Both ends, and what carries the bytes between them, share this machine's cores. Commands are
templates as in rows.py; {a} and {b} are the nodes' addresses, {files} the client's certificate.
"""

import json
import os
import shutil
import subprocess
import tempfile
from contextlib import ExitStack
from dataclasses import dataclass

import machine
import measure
import rows
import servers

CLIENT = "bench"


@dataclass(frozen=True)
class Group:
    """Ways to do one job, run in turn: each of ours is shown against each of the others."""

    job: str
    tree: str
    ours: tuple  # of rows.Other, whose ratio is not looked at
    others: tuple
    verify: object = None
    per: str = "entry"  # as in rows.Row


def _hoq(*words):
    return ("{hoq}", "--ca", "{ca}", "--cert", "{cert}", "--key", "{key}", *words)


def _sftp(put):
    """A batch of one line."""
    return ("sh", "-c", f"echo 'put {put}' | sftp -q -F {{ssh}} -b - node")


_RSYNC = ("rsync", "-a", "-e", "ssh -F {ssh}")

GROUPS = (
    Group("send a file of 1 GiB", "big",
          (rows.Other(_hoq("--node", "{a}", "cp", "{file}", "{b}:{new}"), "node to node"),
           rows.Other(_hoq("cp", "{file}", "{b}:{new}"), "from here")),
          (rows.Other(("scp", "-q", "-F", "{ssh}", "{file}", "node:{new}"), "scp", ratio=0.6),
           rows.Other(_sftp("{file} {new}"), "sftp put", ratio=1.0),
           rows.Other((*_RSYNC, "{file}", "node:{new}"), "rsync -a, ssh", ratio=0.7)),
          rows._copied_file, "MiB"),
    Group("send a tree of small files", "fewer",
          (rows.Other(_hoq("--node", "{a}", "cp", "-R", "{tree}", "{b}:{new}"), "node to node"),
           rows.Other(_hoq("cp", "-R", "{tree}", "{b}:{new}"), "from here")),
          (rows.Other(("scp", "-q", "-r", "-F", "{ssh}", "{tree}", "node:{new}"), "scp -r",
                      ratio=0.1, rounds=1),
           rows.Other(_sftp("-R {tree} {new}"), "sftp put -R", ratio=1.0, rounds=1),
           rows.Other((*_RSYNC, "{tree}/", "node:{new}"), "rsync -a, ssh", ratio=1.0)),
          rows._copied),
    Group("list a tree", "small",
          (rows.Other(_hoq("--node", "{a}", "ls", "-R", "{tree}"), "through a node"),),
          (rows.Other(("{hoq}", "ls", "-R", "{tree}"), "in process", ratio=2.0),)),
    Group("list a tree, long", "small",
          (rows.Other(_hoq("--node", "{a}", "ls", "-lR", "{tree}"), "through a node"),),
          (rows.Other(("{hoq}", "ls", "-lR", "{tree}"), "in process", ratio=2.0),)),
)

CLIENTS = (1, 64)  # at a time, of the node whose calls are counted
CALLS_MS = 2000

IDLE_WORKER_KIB = 16 * 1024  # aim


class NodesBench(measure.Bench):
    """A bench whose commands find two nodes and an sshd. A context: they run within it."""

    def __init__(self, build, place, scale, rounds, on_disk):
        super().__init__(os.path.join(build, "bin/hoq"),
                         os.path.join(build, "bench/hoq_bench_measure"), place, scale, rounds)
        self.hoqd = os.path.join(build, "bin/hoqd")
        self.caller = os.path.join(build, "bench/hoq_bench_calls")
        if not on_disk:  # else what the file system does would be the most of it
            self.new = self.across
        self.peaks = None  # KiB by what the process is, while somebody wants to know
        self.more = {}
        self.nodes = ()

    def __enter__(self):
        with ExitStack() as stack:
            folder = stack.enter_context(tempfile.TemporaryDirectory(dir=self.place))
            authority = servers.Authority(self.hoq, folder)
            certificate, key = authority.issue(CLIENT)

            def start(server):
                stack.callback(server.stop)
                return server

            # A node shows its own certificate to the other one.
            self.nodes = tuple(start(servers.Node(self.hoqd, authority, name, (CLIENT, other),
                                                  folder))
                               for name, other in (("a", "b"), ("b", "a")))
            sshd = start(servers.Sshd(folder))
            self.more = {"a": self.nodes[0].address, "b": self.nodes[1].address,
                         "ca": authority.ca, "cert": certificate, "key": key,
                         "ssh": sshd.config}
            self._stack = stack.pop_all()
        return self

    def __exit__(self, *failure):
        self._stack.close()

    def paths(self, name):
        return {**super().paths(name), **self.more}

    def start_workers(self):
        for node in self.nodes:
            self.run(measure.fill(_hoq("--node", node.address, "ping"),
                                  {"hoq": self.hoq, **self.more}))

    def run(self, command, times=1, stdin=""):
        if self.peaks is None or command[0] != self.hoq:
            return super().run(command, times, stdin)
        for _, process in self.processes():
            _forget_peak(process)
        try:
            return super().run(command, times, stdin)
        finally:
            for what, process in self.processes():
                self.peaks[what] = max(self.peaks.get(what, 0), memory_of(process)["peak_kib"])

    def processes(self):
        """(what it is, its process id) of everything that runs for the nodes."""
        return [(f"{what} {node}", process) for node, server in zip("AB", self.nodes)
                for what, process in server.processes()]


def measure_group(bench, group):
    """(a result for each of ours against each of the others, what is not installed)."""
    paths = bench.paths(group.tree)
    tree = bench.tree(group.tree)
    missing = [other for other in group.others if shutil.which(other.command[0]) is None
               and other.command[0] != "{hoq}"]
    ways = [way for way in (*group.ours, *group.others) if way not in missing]
    peaks = {way.label: {} for way in group.ours}
    samples = {way.label: [] for way in ways}
    row = rows.Row(group.job, group.tree, (), (), verify=group.verify)
    _read(tree.path)
    for way in ways:
        measure.warm_up(bench, measure.fill(way.command, paths), None, tree)
    for taken in range(bench.rounds):
        for way in ways:
            if way.rounds is not None and taken >= way.rounds:
                continue
            bench.peaks = peaks.get(way.label)
            samples[way.label].append(measure.one_round(bench, row, way.command, paths))
            bench.peaks = None
    results = []
    for ours in group.ours:
        for other in group.others:
            if other in missing:
                continue
            named = rows.Row(f"{group.job}, {ours.label}", group.tree, (), (), per=group.per)
            result = measure.result(named, other, measure.count_items(named, tree), samples[ours.label],
                                    samples[other.label])
            results.append({**result, "servers_peak_kib": peaks[ours.label]})
    return results, [f"{group.job}: {other.label} is not installed" for other in missing]


def _read(path):
    """Every file of the tree, so that it is in the page cache."""
    subprocess.run(["grep", "-rq", "-e", "no line is like this one", path], check=False)


def measure_calls(bench, clients):
    """Calls of `stat` on one node, a second, by so many clients with a connection each."""
    paths = bench.paths("fewer")
    lasts = max(100, round(CALLS_MS * min(1, bench.scale)))
    taken = []
    peaks = {}
    for _ in range(bench.rounds):
        for _, process in bench.processes():
            _forget_peak(process)
        done = subprocess.run([bench.caller, paths["a"], paths["ca"], paths["cert"], paths["key"],
                               paths["file"], str(clients), str(lasts)],
                              stdin=subprocess.DEVNULL, capture_output=True)
        if done.returncode != 0:
            raise measure.Failed(done.stderr.decode(errors="replace").strip()[:300])
        taken.append(json.loads(done.stdout))
        for what, process in bench.processes():
            peaks[what] = max(peaks.get(what, 0), memory_of(process)["peak_kib"])
    rates = sorted(each["calls"] / each["seconds"] for each in taken)
    return {"job": "stat over a kept connection", "clients": clients,
            "per_second": rates[len(rates) // 2], "lowest": rates[0], "highest": rates[-1],
            "median_us": _median(taken, "median_us"), "p99_us": _median(taken, "p99_us"),
            "longest_us": max(each["longest_us"] for each in taken), "servers_peak_kib": peaks}


def _median(taken, key):
    return sorted(each[key] for each in taken)[len(taken) // 2]


def measure_idle(bench, when):
    """Memory of every process that serves, while it has nothing to do."""
    return [{"process": what, "when": when, **memory_of(process),
             "aim_kib": IDLE_WORKER_KIB if what.startswith("worker") else None}
            for what, process in bench.processes()]


def memory_of(process):
    """KiB: the most that was resident, and what is the process's own now."""
    figures = {}
    with open(f"/proc/{process}/status") as file:
        figures.update(line.split()[:2] for line in file if line.startswith("Vm"))
    with open(f"/proc/{process}/smaps_rollup") as file:
        figures.update(line.split()[:2] for line in file if line.startswith("Private_"))
    return {"peak_kib": int(figures["VmHWM:"]), "resident_kib": int(figures["VmRSS:"]),
            "own_kib": int(figures["Private_Clean:"]) + int(figures["Private_Dirty:"])}


def _forget_peak(process):
    try:
        with open(f"/proc/{process}/clear_refs", "w") as file:
            file.write("5")
    except OSError:
        pass  # then it is the peak since the process began


def jobs(bench, results):
    """(what it is called, the function that measures it), as run.jobs()."""
    results["machine"]["sent to"] = machine.file_system(os.path.dirname(bench.new))
    results["rates"] = []
    results["idle"] = []

    def compare(group):
        taken, missing = measure_group(bench, group)
        results["rows"].extend(taken)
        results["not_measured"].extend(missing)

    def idle(when):
        bench.start_workers()
        results["idle"].extend(measure_idle(bench, when))

    yield "idle: before", lambda: idle("fresh")
    for group in GROUPS:
        against = ", ".join(other.label for other in group.others)
        yield f"{group.job}: against {against}", lambda group=group: compare(group)
    for clients in CLIENTS:
        yield (f"calls: {clients} at a time",
               lambda clients=clients: results["rates"].append(measure_calls(bench, clients)))
    yield "idle: after", lambda: idle("after all of it")
