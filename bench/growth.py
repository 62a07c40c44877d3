"""Jobs over more and more entries: does the time of an entry stay what it is, and the memory?"""

import os
import statistics

import corpus
import measure
import rows


def measure_growth(bench, job):
    """Time of an entry (the start of the program apart) and peak memory at each size.

    In memory, where the file system takes as long for the millionth entry as for the first.
    """
    os.makedirs(bench.grown, exist_ok=True)
    start, _ = _median(bench, job, corpus.obtain(bench.grown, "empty"))
    figures = []
    for size in rows.GROWTH_SIZES:
        tree = corpus.obtain_count(bench.grown, job.tree, max(10, round(size * bench.scale)))
        seconds, peak = _median(bench, job, tree)
        figures.append({"entries": tree.entries, "seconds": seconds, "peak_kib": peak,
                        "us_per_entry": max(0.0, seconds - start) * 1e6 / tree.entries})
    least, most = figures[0], figures[-1]
    return {"job": job.job, "held": job.held, "sizes": figures, "aim": rows.GROWTH_AIM,
            "growth": most["us_per_entry"] / (least["us_per_entry"] or float("inf"))}


def _median(bench, job, tree):
    """(seconds, peak KiB) of the job on the tree."""
    below = os.path.dirname(tree.path)
    paths = {"hoq": bench.hoq, "tree": tree.path, "copy": os.path.join(below, "copy"),
             "new": os.path.join(below, "new")}
    row = rows.Row(job.job, job.tree, job.command, ())
    samples = [measure.one_round(bench, row, job.command, paths, measure.given(job.request, paths))
               for _ in range(min(3, bench.rounds))]
    for made in (paths["copy"], paths["new"]):
        corpus.discard(made)
    return (statistics.median(sample.wall for sample in samples),
            max(sample.peak for sample in samples))
