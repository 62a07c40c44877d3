"""Shows results, and compares them with earlier ones."""

# Worse than this, and beyond the spread of either run, is a regression.
WORSE_RATIO = 1.10
WORSE_MS = 1.0


def text(results):
    """The whole report for people: the machine, then the tables, ratios first."""
    parts = ["\n".join(f"{key:12} {value}" for key, value in results["machine"].items())]
    parts.append(f"Medians of {results['rounds']} rounds, the programs in turn, output to /dev/null,"
                 " page cache warm.\n"
                 "ratio: hoq's time / the other's, median of the rounds (least to greatest).")
    if results["rows"]:
        parts.append(_rows(results["rows"]))
    if results.get("rates"):
        parts.append(_rates(results["rates"]))
    served = [row for row in results["rows"] + results.get("rates", [])
              if row.get("servers_peak_kib")]
    if served:
        parts.append(_servers(served))
    if results.get("idle"):
        parts.append(_idle(results["idle"]))
    if results["memory"]:
        parts.append(_memory(results["memory"]))
    if results["calls"]:
        parts.append(_calls(results["calls"]))
    parts.extend("not measured: " + what for what in results["not_measured"])
    return "\n\n".join(parts) + "\n"


def figure(row, value):
    return f"{value:+.1f} ms" if row["unit"] == "ms" else f"{value:.2f}"


def verdict(value, aim):
    if aim is None:
        return "-"
    return "met" if value <= aim else "missed"


def _rows(rows):
    lines = [("ratio", "(range)", "aim", "", "job", "against", "hoq s", "other s", "spread",
              "hoq µs/entry", "CPU s", "peak MiB")]
    for row in rows:
        ours, other = row["ours"], row["other"]
        lowest, highest = (f"{row[key]:+.1f}" if row["unit"] == "ms" else f"{row[key]:.2f}"
                           for key in ("lowest", "highest"))
        lines.append((
            figure(row, row["figure"]), f"({lowest} to {highest})",
            "-" if row["aim"] is None else figure(row, row["aim"]),
            verdict(row["figure"], row["aim"]), row["job"], row["against"],
            f"{ours['seconds']:.4f}", f"{other['seconds']:.4f}",
            f"{ours['spread']:.0%} {other['spread']:.0%}",
            f"{ours['seconds'] * 1e6 / row['entries']:.2f}" if row["unit"] == "ratio" else "-",
            f"{ours['cpu_seconds']:.3f} {other['cpu_seconds']:.3f}",
            f"{ours['peak_kib'] / 1024:.1f} {other['peak_kib'] / 1024:.1f}"))
    return align(lines, left=(3, 4, 5))


def _rates(rates):
    lines = [("calls/s", "(range)", "clients", "calls of", "median µs", "p99 µs", "longest µs")]
    for rate in rates:
        lines.append((f"{rate['per_second']:.0f}",
                      f"({rate['lowest']:.0f} to {rate['highest']:.0f})", str(rate["clients"]),
                      rate["job"], f"{rate['median_us']:.0f}", f"{rate['p99_us']:.0f}",
                      f"{rate['longest_us']:.0f}"))
    return align(lines, left=(3,))


def _servers(rows):
    """Peaks of what served, once for each of our ways."""
    peaks = {_with_clients(row): row["servers_peak_kib"] for row in rows}
    processes = sorted({process for each in peaks.values() for process in each})
    lines = [("peak resident MiB of", *processes)]
    for job, each in peaks.items():
        lines.append((job, *(f"{each[process] / 1024:.1f}" if process in each else "-"
                             for process in processes)))
    return align(lines, left=(0,))


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
    return align(lines, left=(2, 5, 6))


def _memory(probes):
    lines = [("bytes/entry", "aim", "", "peak memory of", "entries", "peak MiB", "empty MiB")]
    for probe in probes:
        aim = "-" if probe["aim"] is None else str(probe["aim"])
        lines.append((f"{probe['bytes_per_entry']:.0f}", aim,
                      verdict(probe["bytes_per_entry"], probe["aim"]), probe["job"],
                      str(probe["entries"]), f"{probe['peak_kib'] / 1024:.1f}",
                      f"{probe['empty_kib'] / 1024:.1f}"))
    return align(lines, left=(2, 3))


def _calls(probes):
    lines = [("calls/entry", "system calls of", "chiefly")]
    for probe in probes:
        chiefly = ", ".join(f"{name} {count:.2f}" for name, count in probe["chiefly"].items())
        lines.append((f"{probe['per_entry']:.2f}", probe["job"], chiefly))
    return align(lines, left=(1, 2))


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
    for table, key, unit in (("memory", "bytes_per_entry", "bytes/entry"),
                             ("calls", "per_entry", "calls/entry")):
        earlier = {probe["job"]: probe for probe in old[table]}
        for probe in new[table]:
            before = earlier.get(probe["job"])
            if before:
                grown = probe[key] > max(before[key] * WORSE_RATIO, before[key] + 0.05)
                lines.append((f"{before[key]:.2f}", f"{probe[key]:.2f}",
                              "REGRESSED" if grown else "", probe["job"], unit))
    return align(lines, left=(2, 3, 4)), sum(line[2] == "REGRESSED" for line in lines)


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
