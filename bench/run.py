"""Measures hoq side by side with the tools that one would use instead. See scripts/bench."""

import argparse
import json
import os
import re
import sys
import tempfile
from functools import partial

import growth
import machine
import measure
import nodes
import page
import report
import rows

FORMAT = 2  # of the results in JSON


PARTS = ("here", "nodes")


def parse(arguments):
    parser = argparse.ArgumentParser(
        prog="scripts/bench", description=__doc__.split(".")[0] + ".",
        epilog="here: only what is done on one machine. nodes: only what passes between two nodes,"
               " with ssh's tools beside it. compare OLD.json: measure, then show what changed since"
               " OLD.json was written; compare OLD.json NEW.json: without measuring. Ends with 1"
               " when a row regressed.")
    parser.add_argument("what", nargs="*", metavar="here | nodes | compare OLD.json [NEW.json]",
                        help="one part of it; show what changed")
    parser.add_argument("--rounds", type=int, default=5, metavar="N",
                        help="rounds, of one run of each program (default: %(default)s)")
    parser.add_argument("--only", default="", metavar="PATTERN",
                        help="only what matches the regular expression; what is measured is told"
                             " as it is: 'memory: ls -l'")
    parser.add_argument("--json", metavar="FILE", help="write the results there as well")
    parser.add_argument("--docs", action="store_true",
                        help="write docs/performance.json, .md and .svg; with --only, the rows that"
                             " were measured take their places in what is there")
    parser.add_argument("--scale", type=float, default=1.0, metavar="X",
                        help="size of the trees, for trying things out (default: %(default)s)")
    parser.add_argument("--target", choices=("memory", "disk"), default="memory",
                        help="nodes: where files are sent to (default: %(default)s, /dev/shm)")
    parser.add_argument("--build", required=True, help=argparse.SUPPRESS)
    chosen = parser.parse_args(arguments)
    chosen.parts = chosen.what if chosen.what and chosen.what[0] in PARTS else PARTS
    chosen.compare = chosen.what if chosen.what[:1] == ["compare"] else []
    if chosen.what and len(chosen.parts) != 1 and len(chosen.compare) not in (2, 3):
        parser.error("expected nothing, or: here, or: nodes, or: compare OLD.json [NEW.json]")
    if chosen.rounds < 1 or chosen.scale <= 0:
        parser.error("--rounds and --scale must be above 0")
    return chosen


def jobs(bench, results):
    """(what it is called, the function that measures it) for every entry of the tables."""
    def compare(row):
        taken, missing = measure.measure_row(bench, row)
        results["rows"].extend(taken)
        results["not_measured"].extend(missing)

    if not bench.traces:
        results["not_measured"].append("system calls: strace cannot trace here")
    for row in rows.ROWS:
        against = ", ".join(other.label for other in row.others)
        yield f"{row.job}: against {against}", partial(compare, row)
    for probe in rows.MEMORY:
        yield (f"memory: {probe.job}",
               lambda probe=probe: results["memory"].append(measure.measure_memory(bench, probe)))
    for job in rows.GROWTH:
        yield (f"growth: {job.job}",
               lambda job=job: results["growth"].extend(growth.measure_growth(bench, job)))


def measure_all(bench, only, jobs, results):
    """Adds the results of every job that matches. One that fails is told, the others go on."""
    failures = 0
    for name, take in jobs(bench, results):
        if not re.search(only, name):
            continue
        print(name, file=sys.stderr, flush=True)
        try:
            take()
        except measure.Failed as failure:
            failures += 1
            results["not_measured"].append(f"{name}: FAILED: {failure}")
        except KeyboardInterrupt:
            results["not_measured"].append(f"{name}, and what comes after it: interrupted")
            return failures + 1
    return failures


def measure_here(chosen, place, results):
    bench = measure.Bench(os.path.join(chosen.build, "bin/hoq"),
                          os.path.join(chosen.build, "bench/hoq_bench_measure"),
                          place, chosen.scale, chosen.rounds)
    try:
        return measure_all(bench, chosen.only, jobs, results)
    finally:
        bench.clear()


def measure_nodes(chosen, place, results):
    bench = nodes.NodesBench(chosen.build, place, chosen.scale, chosen.rounds,
                             chosen.target == "disk")
    try:
        with bench:
            return measure_all(bench, chosen.only, nodes.jobs, results)
    except measure.Failed as failure:
        results["not_measured"].append(f"nodes: FAILED: {failure}")
        return 1
    finally:
        bench.clear()


def measure_parts(chosen):
    """(the results, how many jobs failed)"""
    place = os.path.abspath(os.environ.get("HOQ_BENCH_DIR")
                            or os.path.join(tempfile.gettempdir(), "hoq-bench"))
    os.makedirs(place, exist_ok=True)
    tools = {"here": ("ls", "find", "du", "rm", "rsync"), "nodes": ("rsync", "ssh")}
    wanted = dict.fromkeys(tool for part in chosen.parts for tool in tools[part])
    results = {"format": FORMAT, "machine": machine.describe(place, wanted),
               "rounds": chosen.rounds, "scale": chosen.scale, "rows": [], "memory": [],
               "growth": [], "rates": [], "idle": [], "not_measured": []}
    measures = {"here": measure_here, "nodes": measure_nodes}
    failures = sum(measures[part](chosen, place, results) for part in chosen.parts)
    return results, failures


def load(path):
    with open(path) as file:
        results = json.load(file)
    if results.get("format") != FORMAT:
        sys.exit(f"scripts/bench: {path}: not a result of this bench")
    return results


def main(arguments):
    chosen = parse(arguments)
    old = load(chosen.compare[1]) if chosen.compare else None
    failures = 0
    if len(chosen.compare) == 3:
        results = load(chosen.compare[2])
    else:
        results, failures = measure_parts(chosen)
        print(report.text(results))
    if chosen.json:
        with open(chosen.json, "w") as file:
            json.dump(results, file, indent=1)
            file.write("\n")
    if chosen.docs:
        folder = os.path.join(os.path.dirname(__file__), "../docs")
        if chosen.only:
            results = page.merged(load(os.path.join(folder, page.NAMES[0])), results)
        page.write(results, folder)
    regressions = 0
    if old:
        table, regressions = report.compare(old, results)
        print(table)
    return 1 if failures or regressions else 0


if __name__ == "__main__":
    try:
        sys.exit(main(sys.argv[1:]))
    except KeyboardInterrupt:
        sys.exit(130)
