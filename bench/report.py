"""Shows results, and compares them with earlier ones."""

# Where the results do not say how many there were.
ROUNDS_OF_GROWTH = 3

# Worse than this, and beyond the spread of either run, is a regression.
WORSE_RATIO = 1.10
WORSE_MS = 1.0


def text(results):
    """The whole report for people: the machine, then the tables, ratios first."""
    parts = ["\n".join(f"{key:12} {value}" for key, value in results["machine"].items())]
    parts.append(f"Medians of {results['rounds']} rounds, the programs in turn, output to /dev/null,"
                 " page cache warm.\n"
                 "ratio: hoq's time / the other's, median of the rounds (least to greatest).")
    parts.extend(align(lines, left) for _, lines, left in tables(results))
    parts.extend("not measured: " + what for what in results["not_measured"])
    return "\n\n".join(parts) + "\n"


def tables(results):
    """(what it shows, its lines with the heads first, the columns of words) for each that has any."""
    served = [row for row in results["rows"] + results["rates"] if row.get("servers_peak_kib")]
    traced = [row for row in results["rows"] if "calls_per_item" in row["ours"]]
    for title, make, of in (("Jobs", _rows, results["rows"]),
                            ("System calls", _calls, traced),
                            ("Growth", _growth, results["growth"]),
                            ("Memory", _memory, results["memory"]),
                            ("Calls of a node", _rates, results["rates"]),
                            ("Memory of what serves", _servers, served),
                            ("Memory of what serves, idle", _idle, results["idle"])):
        if of:
            yield title, *make(of)


def figure(row, value):
    return f"{value:+.1f} ms" if row["unit"] == "ms" else f"{value:.2f}"


def verdict(value, aim):
    if aim is None:
        return "-"
    return "met" if value <= aim else "missed"


def _rows(rows):
    """Figures of hoq first, then those of the other."""
    lines = [("ratio", "(range)", "aim", "", "job", "against", "seconds", "spread", "CPU s",
              "peak MiB", "calls", "hoq µs", "per")]
    for row in rows:
        ours, other = row["ours"], row["other"]
        lowest, highest = (f"{row[key]:+.1f}" if row["unit"] == "ms" else f"{row[key]:.2f}"
                           for key in ("lowest", "highest"))
        lines.append((
            figure(row, row["figure"]), f"({lowest} to {highest})",
            "-" if row["aim"] is None else figure(row, row["aim"]),
            verdict(row["figure"], row["aim"]), row["job"], _against(row),
            f"{ours['seconds']:.4f} {other['seconds']:.4f}",
            f"{ours['spread']:.0%} {other['spread']:.0%}",
            f"{ours['cpu_seconds']:.3f} {other['cpu_seconds']:.3f}",
            f"{ours['peak_kib'] / 1024:.1f} {other['peak_kib'] / 1024:.1f}",
            f"{ours['calls_per_item']:.1f} {other['calls_per_item']:.1f}"
            if "calls_per_item" in ours else "-",
            f"{ours['seconds'] * 1e6 / row['items']:.2f}", row["per"]))
    return lines, (3, 4, 5, 12)


def _calls(rows):
    """What hoq's and the other's system calls are, for each item of the job."""
    lines = [("calls of hoq", "of the other", "per", "job", "against", "chiefly", "the other's")]
    for row in rows:
        sides = (row["ours"], row["other"])
        counts = [f"{side['calls_per_item']:.2f}" for side in sides]
        chiefly = [", ".join(f"{name} {count:.2f}" for name, count in side["calls_chiefly"].items())
                   for side in sides]
        lines.append((*counts, row["per"], row["job"], row["against"], *chiefly))
    return lines, (2, 3, 4, 5, 6)


def _growth(jobs):
    lines = [("growth", "aim", "", "job", "entries", "rounds", "µs/entry", "peak MiB",
              "its answer is")]
    for job in jobs:
        def column(show, job=job):
            return " ".join(show(size) for size in job["sizes"])
        lines.append((f"{job['growth']:.2f}", f"{job['aim']:.2f}",
                      verdict(job["growth"], job["aim"]), job["job"],
                      column(lambda size: str(size["entries"])),
                      column(lambda size: str(size.get("rounds", ROUNDS_OF_GROWTH))),
                      column(lambda size: f"{size['us_per_entry']:.2f}"),
                      column(lambda size: f"{size['peak_kib'] / 1024:.1f}"),
                      "held" if job["held"] else "not held"))
    return lines, (2, 3, 8)


def _against(row):
    taken, all_rounds = len(row["other"]["rounds"]), len(row["ours"]["rounds"])
    return row["against"] + (f", {taken} of {all_rounds} rounds" if taken < all_rounds else "")


def _rates(rates):
    lines = [("calls/s", "(range)", "clients", "calls of", "median µs", "p99 µs", "longest µs")]
    for rate in rates:
        lines.append((f"{rate['per_second']:.0f}",
                      f"({rate['lowest']:.0f} to {rate['highest']:.0f})", str(rate["clients"]),
                      rate["job"], f"{rate['median_us']:.0f}", f"{rate['p99_us']:.0f}",
                      f"{rate['longest_us']:.0f}"))
    return lines, (3,)


def _servers(rows):
    """Peaks of what served, once for each of our ways."""
    peaks = {_with_clients(row): row["servers_peak_kib"] for row in rows}
    processes = sorted({process for each in peaks.values() for process in each})
    lines = [("peak resident MiB of", *processes)]
    for job, each in peaks.items():
        lines.append((job, *(f"{each[process] / 1024:.1f}" if process in each else "-"
                             for process in processes)))
    return lines, (0,)


def _with_clients(row):
    return f"{row['job']}, {row['clients']} at a time" if "clients" in row else row["job"]


def _idle(probes):
    lines = [("own MiB", "aim", "", "resident MiB", "peak MiB", "idle process", "")]
    for probe in probes:
        aim = probe["aim_kib"]
        lines.append((f"{probe['own_kib'] / 1024:.1f}",
                      "-" if aim is None else f"{aim / 1024:.0f}",
                      verdict(probe["own_kib"], aim), f"{probe['resident_kib'] / 1024:.1f}",
                      f"{probe['peak_kib'] / 1024:.1f}", probe["process"], probe["when"]))
    return lines, (2, 5, 6)


def _memory(probes):
    lines = [("bytes/entry", "aim", "", "peak MiB", "aim", "", "peak memory of", "entries",
              "empty MiB")]
    for probe in probes:
        peak = probe["peak_kib"] / 1024
        figures = ((f"{probe['bytes_per_entry']:.0f}", probe["bytes_per_entry"], probe["aim"]),
                   (f"{peak:.1f}", peak, probe["aim_mib"]))
        told = [word for shown, value, aim in figures
                for word in (shown, "-" if aim is None else str(aim), verdict(value, aim))]
        lines.append((*told, probe["job"], str(probe["entries"]),
                      f"{probe['empty_kib'] / 1024:.1f}"))
    return lines, (2, 5, 6)


def align(lines, left=()):
    """A table; columns are pushed to the right, those of `left` to the left."""
    widths = [max(map(len, column)) for column in zip(*lines)]
    return "\n".join(
        "  ".join(cell.ljust(width) if number in left else cell.rjust(width)
                  for number, (cell, width) in enumerate(zip(line, widths))).rstrip()
        for line in lines)


def compare(old, new):
    """(text, number of regressions): each figure that both results have, side by side."""
    lines = [("old", "new", "", "job", "against")]
    earlier = {(row["job"], row["against"]): row for row in old["rows"]}
    for row in new["rows"]:
        before = earlier.get((row["job"], row["against"]))
        if before:
            lines.append((figure(before, before["figure"]), figure(row, row["figure"]),
                          change(before, row), row["job"], row["against"]))
    earlier = _counted(old)
    for what, value in _counted(new).items():
        before = earlier.get(what)
        if before is not None:
            grown = value > max(before * WORSE_RATIO, before + 0.05)
            lines.append((f"{before:.2f}", f"{value:.2f}", "REGRESSED" if grown else "", *what))
    return align(lines, left=(2, 3, 4)), sum(line[2] == "REGRESSED" for line in lines)


def _counted(results):
    """Figures that are the same in every round: by what they are of, and their unit."""
    counted = {(probe["job"], "bytes/entry"): probe["bytes_per_entry"]
               for probe in results["memory"]}
    for row in results["rows"]:
        if "calls_per_item" in row.get("ours", {}):
            counted[row["job"], f"calls/{row['per']}"] = row["ours"]["calls_per_item"]
    return counted


def change(before, now):
    """What became of a row."""
    if now["unit"] == "ms":
        worse = now["figure"] > before["figure"] + WORSE_MS
        better = now["figure"] < before["figure"] - WORSE_MS
    else:
        worse = now["figure"] > before["figure"] * WORSE_RATIO
        better = now["figure"] * WORSE_RATIO < before["figure"]
    if worse:
        return "REGRESSED" if now["lowest"] > before["highest"] else "worse, within the spread"
    return "better" if better else ""
