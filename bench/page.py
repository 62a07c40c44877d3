"""Makes docs/performance.md and its chart of the results of a run."""

import json
import os

import chart
import report
import rows

NAMES = ("performance.json", "performance.md", "performance.svg")

HEAD = """# Performance

Made by `scripts/bench --docs` of [performance.json](performance.json): hoq beside the tools that one
would use instead, in turn in the same run. Medians of {rounds} rounds, output to /dev/null, page cache
warm, trees at {scale:g} times their full size. A ratio is hoq's time by the other's, the median of the
rounds' ratios; where two figures stand together, the first is hoq's.

![ratios](performance.svg)
"""


def write(results, folder):
    """Writes the results, the page and the chart."""
    texts = (json.dumps(results, indent=1) + "\n", markdown(results), svg(results))
    for name, text in zip(NAMES, texts):
        with open(os.path.join(folder, name), "w", encoding="utf-8") as file:
            file.write(text)


def merged(old, new):
    """The old results with the rows that were measured anew in their places, and when that was."""
    def key(row):
        return row["job"], row["against"]

    fresh = {key(row): row for row in new["rows"]}
    jobs = list(dict.fromkeys(row["job"] for row in new["rows"]))
    again = {"date": new["machine"]["date"], "jobs": jobs}
    return {**old, "rows": [fresh.get(key(row), row) for row in old["rows"]],
            "again": [*old.get("again", []), again]}


def svg(results):
    ratios = [row for row in results["rows"] if row["unit"] == "ratio"]
    return chart.draw(ratios, "hoq's time by the other tool's, " + results["machine"]["date"])


def markdown(results):
    parts = [HEAD.format(**results)]
    parts.append("".join(f"- {key}: {value}\n" for key, value in results["machine"].items())
                 + "".join(f"- measured again, {each['date']}: {'; '.join(each['jobs'])}\n"
                           for each in results.get("again", [])))
    for title, lines, left in report.tables(results):
        parts.append(f"## {title}\n\n{table(lines, left)}\n")
        if title == "Jobs":
            parts.extend(_why(results["rows"]))
    if results["not_measured"]:
        parts.append("## Not measured\n\n"
                     + "".join(f"- {_cell(what)}\n" for what in results["not_measured"]))
    return "\n".join(parts)


def table(lines, left):
    """A table of Markdown; columns are pushed to the right but for those of `left`."""
    head, *body = lines
    rule = [":--" if number in left else "--:" for number in range(len(head))]
    return "\n".join("| " + " | ".join(map(_cell, line)) + " |" for line in (head, rule, *body))


def _cell(text):
    return text.replace("|", "\\|").replace("\n", " ")


def _why(results):
    """What stands in the way of each aim that was missed, where that is known."""
    missed = dict.fromkeys(row["job"] for row in results
                           if report.verdict(row["figure"], row["aim"]) == "missed")
    told = [f"- {job}: {rows.WHY[job]}.\n" for job in missed if job in rows.WHY]
    if told:
        yield "### What stands in the way\n\n" + "".join(told)
