"""Jobs over more and more entries: does the time of an entry stay what it is, and the memory?"""

import os
import statistics

import corpus
import measure
import rows

ROUNDS = 3  # of all but the largest trees, over which one takes long enough


def measure_growth(bench, job):
    """Time of an entry (the start of the program apart) and peak memory at each size, of the job and
    of what is done behind it.

    In memory, where the file system takes as long for the millionth entry as for the first. The trees
    are made once for the jobs over them that stand together; those of others go first, since so many
    files are more than such a file system has room for.
    """
    os.makedirs(bench.grown, exist_ok=True)
    for name in os.listdir(bench.grown):
        if not name.startswith((job.tree + "-", "empty-")):
            corpus.discard(os.path.join(bench.grown, name))
    chain = [job]
    while chain[-1].then:
        chain.append(chain[-1].then)
    trees = [corpus.obtain_count(bench.grown, job.tree, max(10, round(size * bench.scale)))
             for size in rows.GROWTH_SIZES]
    starts = _measure(bench, chain, corpus.obtain(bench.grown, "empty"), ROUNDS)
    taken = [_measure(bench, chain, tree, ROUNDS) for tree in trees[:-1]]
    taken.append(_measure(bench, chain, trees[-1], 1))
    return [_result(each, trees, start, samples)
            for each, start, samples in zip(chain, starts, zip(*taken))]


def _measure(bench, chain, tree, rounds):
    """The samples of each job of the chain, which are run in turn."""
    paths = {"hoq": bench.hoq, "tree": tree.path,
             "new": os.path.join(os.path.dirname(tree.path), "new")}
    taken = [[] for _ in chain]
    for _ in range(min(rounds, bench.rounds)):
        corpus.discard(paths["new"])
        for job, samples in zip(chain, taken):
            samples.extend(bench.run(measure.fill(job.command, paths), 1,
                                     measure.given(job.request, paths)))
    corpus.discard(paths["new"])
    return taken


def _median(samples):
    return statistics.median(sample.wall for sample in samples)


def _result(job, trees, start, taken):
    figures = [{"entries": tree.entries, "seconds": _median(samples),
                "peak_kib": max(sample.peak for sample in samples), "rounds": len(samples),
                "us_per_entry": max(0.0, _median(samples) - _median(start)) * 1e6 / tree.entries}
               for tree, samples in zip(trees, taken)]
    least, most = figures[0], figures[-1]
    return {"job": job.job, "held": job.held, "sizes": figures, "aim": rows.GROWTH_AIM,
            "growth": most["us_per_entry"] / (least["us_per_entry"] or float("inf"))}
