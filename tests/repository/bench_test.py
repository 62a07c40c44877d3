"""The benchmarks' own machinery: figures, verdicts, trees. Nothing here depends on time."""

import json
import os
import sys
import tempfile
import unittest
import xml.dom.minidom
from unittest import mock

import repository

sys.path.insert(0, str(repository.SOURCE / "bench"))

import corpus  # noqa: E402
import growth  # noqa: E402
import measure  # noqa: E402
import nodes  # noqa: E402
import page  # noqa: E402
import report  # noqa: E402
import rows  # noqa: E402

MEASURER = str(repository.BUILD / "bench/hoq_bench_measure")


def row(figure, lowest=None, highest=None, unit="ratio", job="list", against="ls"):
    return {"job": job, "against": against, "unit": unit, "figure": figure,
            "lowest": figure if lowest is None else lowest,
            "highest": figure if highest is None else highest}


def results(*row_list, **more):
    return {"machine": {"date": "today"}, "rounds": 3, "scale": 1.0, "rows": list(row_list), "memory": [],
            "growth": [], "rates": [], "idle": [], "not_measured": [], **more}


def side(**more):
    return {"seconds": 1.5, "spread": 0.1, "cpu_seconds": 1.2, "peak_kib": 2048, "rounds": [1.5],
            **more}


def whole_row(figure, aim, **more):
    traced = {"calls_per_item": 3.0, "calls_chiefly": {"statx": 2.0}}
    return {**row(figure), "aim": aim, "items": 10, "per": "entry",
            "ours": side(**traced), "other": side(**traced), **more}


def listing(path):
    """Every entry below the path with its kind, size, time and contents."""
    found = []
    for directory, names, files in os.walk(path):
        for name in sorted(names + files):
            full = os.path.join(directory, name)
            status = os.lstat(full)
            contents = b""
            if os.path.islink(full):
                contents = os.readlink(full)
            elif name in files:
                with open(full, "rb") as file:
                    contents = file.read()
            time = status.st_mtime if name in files and not os.path.islink(full) else 0
            found.append((os.path.relpath(full, path), status.st_mode, time, contents))
    return sorted(found)


class CorpusTest(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.place = place.name

    def test_a_tree_is_the_same_wherever_it_is_made(self):
        for name in corpus.MAKERS:
            with self.subTest(tree=name):
                one = corpus.obtain(os.path.join(self.place, "one"), name, 0.005)
                two = corpus.obtain(os.path.join(self.place, "two"), name, 0.005)
                self.assertEqual(listing(one.path), listing(two.path))
                self.assertEqual(one.entries, len(listing(one.path)))

    def test_a_complete_tree_is_used_again(self):
        tree = corpus.obtain(self.place, "deep", 0.05)
        with mock.patch.object(corpus, "_make", side_effect=AssertionError("made again")):
            again = corpus.obtain(self.place, "deep", 0.05)
        self.assertEqual((again.path, again.entries, again.files),
                         (tree.path, tree.entries, tree.files))

    def test_a_tree_without_its_stamp_or_of_another_recipe_is_made_anew(self):
        for stamp in (None, f"{corpus.RECIPE + 1} 20 10\n", "nonsense", "1"):
            with self.subTest(stamp=stamp):
                tree = corpus.obtain(self.place, "deep", 0.05)
                before = listing(tree.path)
                os.remove(tree.path + ".complete")
                if stamp is not None:
                    with open(tree.path + ".complete", "w") as file:
                        file.write(stamp)
                os.remove(corpus.first_file(tree.path))
                self.assertEqual(listing(corpus.obtain(self.place, "deep", 0.05).path), before)


class MeasureTest(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.bench = measure.Bench("/bin/true", MEASURER, place.name, scale=0.001, rounds=3)
        self.bench.traces = False

    def test_each_round_runs_every_program_once_and_each_comes_first_in_its_turn(self):
        log = os.path.join(self.bench.place, "log")

        def append(word):
            return ("sh", "-c", f"echo {word} >> {log}")

        job = rows.Row("job", "deep", append("ours"), (rows.Other(append("other")),))
        (result,), missing = measure.measure_row(self.bench, job)
        with open(log) as file:
            self.assertEqual(file.read().split(), ["ours", "other",  # to warm up
                                                   "ours", "other", "other", "ours", "ours", "other"])
        self.assertEqual(missing, [])
        self.assertEqual(len(result["ours"]["rounds"]), 3)
        self.assertGreater(result["ours"]["peak_kib"], 0)

    def test_who_writes_a_large_file_finds_memory_and_an_empty_place(self):
        self.bench.scale = 1 / 1024
        job = rows.Row("job", "big", ("cp", "-n", "{file}", "{new}"), (), per="MiB",
                       verify=rows._copied_file)
        with mock.patch("measure.touch_memory", wraps=measure.touch_memory) as touched:
            measure.measure_row(self.bench, job)
        self.assertEqual(touched.call_count, 3)

    def test_a_tool_that_is_not_installed_is_named_and_left_out(self):
        job = rows.Row("job", "deep", ("true",), (rows.Other(("no-such-tool-here",)),))
        self.assertEqual(measure.measure_row(self.bench, job),
                         ([], ["job: no-such-tool-here is not installed"]))

    def test_a_program_that_fails_or_does_not_do_its_job_is_not_measured(self):
        for job in (
            rows.Row("fails", "deep", ("false",), ()),
            rows.Row("is killed", "deep", ("sh", "-c", "kill -9 $$"), ()),
            rows.Row("cannot be run", "deep", ("/",), ()),
            rows.Row("prints too little", "deep", ("true",), (), lines=0),
            rows.Row("leaves the tree", "deep", ("ls", "{copy}"), (), verify=rows._gone),
        ):
            with self.subTest(job=job.job), self.assertRaises(measure.Failed):
                measure.measure_row(self.bench, job)

    def test_every_run_on_a_copy_gets_a_fresh_one(self):
        job = rows.Row("remove", "deep", ("rm", "-r", "{copy}"),
                       (rows.Other(("rm", "-rf", "{copy}")),), verify=rows._gone)
        (result,), _ = measure.measure_row(self.bench, job)
        self.assertEqual(len(result["other"]["rounds"]), 3)

    def test_a_copy_that_a_run_leaves_whole_serves_the_next_one(self):
        copies = os.path.join(self.bench.place, "copies")
        remember = 'ls -id "$1" >> ' + copies + '; shift; "$@"'
        for leaves, command in (("new", ("mv", "{copy}", "{new}")), ("copy", ("test", "-d", "{copy}"))):
            with self.subTest(leaves=leaves):
                whole = ("sh", "-c", remember, "sh", "{copy}", *command)
                measure.measure_row(self.bench, rows.Row(f"leaves {leaves}", "deep", whole,
                                                         (rows.Other(whole),), leaves=leaves))
                with open(copies) as file:
                    seen = file.read().splitlines()
                os.remove(copies)
                self.assertEqual((len(seen), len(set(seen))), (6, 1))

    def test_what_a_command_reads_names_the_tree(self):
        log = os.path.join(self.bench.place, "log")
        job = rows.Row("job", "deep", ("sh", "-c", f"cat > {log}"), (rows.Other(("true",)),),
                       request={"paths": ["{tree}"], "fields": 1})
        measure.measure_row(self.bench, job)
        with open(log) as file:
            self.assertEqual(json.load(file), {"paths": [self.bench.tree("deep").path], "fields": 1})

    @unittest.skipUnless(measure.strace_works(), "strace is not there, or may trace nothing")
    def test_system_calls_are_counted_for_each_item(self):
        self.bench.traces = True
        job = rows.Row("job", "deep", ("true",), (rows.Other(("true",)),), per="run")
        (result,), _ = measure.measure_row(self.bench, job)
        self.assertEqual(result["ours"]["calls_chiefly"].keys(),
                         result["other"]["calls_chiefly"].keys())
        self.assertGreater(result["ours"]["calls_per_item"], 1)

    def test_placeholders_are_replaced_and_other_braces_kept(self):
        self.assertEqual(measure.fill(("{tree}/{x}", "{}"), {"tree": "/t"}), ["/t/{x}", "{}"])

    def test_the_counts_of_strace_are_read(self):
        printed = """% time     seconds  usecs/call     calls    errors syscall
------ ----------- ----------- --------- --------- ----------------
 90.00    0.001000           1      1000           statx
 10.00    0.000100           2        50         3 openat
------ ----------- ----------- --------- --------- ----------------
100.00    0.001100           1      1050         3 total
"""
        self.assertEqual(measure.parse_counts(printed.splitlines()), {"statx": 1000, "openat": 50})


class NodesTest(unittest.TestCase):
    def bench(self, hoq="/bin/true"):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        bench = nodes.NodesBench(place.name, place.name, scale=0.001, rounds=3, on_disk=True)
        bench.hoq, bench.measurer = hoq, MEASURER
        return bench

    def test_each_of_ours_stands_against_each_of_the_others(self):
        group = nodes.Group("job", "deep",
                            (rows.Other(("{hoq}", "1"), "one"), rows.Other(("{hoq}", "2"), "two")),
                            (rows.Other(("true",), "yes", ratio=0.5),
                             rows.Other(("{hoq}",), "ours here"),
                             rows.Other(("no-such-tool-here",))))
        taken, missing = nodes.measure_group(self.bench(), group)
        self.assertEqual([(each["job"], each["against"], each["aim"]) for each in taken],
                         [("job, one", "yes", 0.5), ("job, one", "ours here", None),
                          ("job, two", "yes", 0.5), ("job, two", "ours here", None)])
        self.assertEqual([len(each["ours"]["rounds"]) for each in taken], [3] * 4)
        self.assertEqual(missing, ["job: no-such-tool-here is not installed"])

    def test_what_takes_minutes_takes_part_in_the_first_rounds_only_and_the_report_says_so(self):
        group = nodes.Group("job", "deep", (rows.Other(("{hoq}",), "one"),),
                            (rows.Other(("true",), "slow", rounds=1), rows.Other(("true",), "yes")))
        taken, _ = nodes.measure_group(self.bench(), group)
        self.assertEqual([len(each["other"]["rounds"]) for each in taken], [1, 3])
        first = taken[0]["ours"]["rounds"][0] / taken[0]["other"]["rounds"][0]
        self.assertEqual(taken[0]["figure"], first, "ours of the same round")
        text = report.text(results(*taken))
        self.assertIn("slow, 1 of 3 rounds", text)
        self.assertNotIn("yes, ", text)

    def test_peaks_of_what_serves_are_taken_while_ours_runs(self):
        bench = self.bench()
        group = nodes.Group("job", "deep", (rows.Other(("{hoq}",), "one"),),
                            (rows.Other(("true",), "yes"),))
        with mock.patch.object(bench, "processes", return_value=[("front A", os.getpid())]):
            taken, _ = nodes.measure_group(bench, group)
        self.assertGreater(taken[0]["servers_peak_kib"]["front A"], 0)
        idle = nodes.measure_idle(bench, "fresh")
        self.assertIn("front A", report.text(results(*taken, idle=idle)))

    def test_memory_that_a_process_takes_shows(self):
        before = nodes.memory_of(os.getpid())
        taken = bytearray(b"x" * (16 << 20))
        after = nodes.memory_of(os.getpid())
        for key in ("own_kib", "resident_kib", "peak_kib"):
            self.assertGreater(after[key], len(taken) >> 10, key)
        self.assertGreater(after["own_kib"], before["own_kib"] + (8 << 10))

    def test_a_server_that_does_not_start_is_told_with_what_it_said(self):
        bench = self.bench()
        server = nodes.servers.Server(["sh", "-c", "echo no such port >&2"],
                                      os.path.join(bench.place, "log"))
        self.addCleanup(server.stop)
        with self.assertRaisesRegex(measure.Failed, "no such port"):
            server.line("listening ")


class ReportTest(unittest.TestCase):
    def test_what_became_of_a_row(self):
        cases = (
            # before, now, what is said
            (row(1.0), row(1.05), ""),
            (row(1.0), row(1.2), "REGRESSED"),
            (row(1.0, 0.9, 1.2), row(1.2, 1.1, 1.3), "worse, within the spread"),
            (row(1.0), row(0.8), "better"),
            (row(2.0, unit="ms"), row(2.5, unit="ms"), ""),
            (row(2.0, unit="ms"), row(3.5, unit="ms"), "REGRESSED"),
            (row(2.0, unit="ms"), row(0.5, unit="ms"), "better"),
        )
        for before, now, said in cases:
            with self.subTest(before=before["figure"], now=now["figure"]):
                self.assertEqual(report.change(before, now), said)

    def test_a_comparison_counts_regressions_and_leaves_out_what_is_new(self):
        text, regressions = report.compare(
            results(row(1.0), row(1.0, job="remove")),
            results(row(1.5), row(1.0, job="remove"), row(9.0, job="added")))
        self.assertEqual(regressions, 1)
        self.assertNotIn("added", text)

    def test_an_aim_is_met_missed_or_absent(self):
        self.assertEqual([report.verdict(*pair) for pair in ((1.2, 1.2), (1.3, 1.2), (5, None))],
                         ["met", "missed", "-"])

    def test_what_is_counted_is_compared_as_well(self):
        before, now = ({"job": "ls", "bytes_per_entry": each} for each in (300, 400))
        text, regressions = report.compare(results(memory=[before]), results(memory=[now]))
        self.assertEqual((regressions, text.splitlines()[1].split()[:3]),
                         (1, ["300.00", "400.00", "REGRESSED"]))

    def test_columns_line_up(self):
        self.assertEqual(report.align([("1", "a", "x"), ("100", "bcd", "y")], left=(1,)),
                         "  1  a    x\n100  bcd  y")


class PageTest(unittest.TestCase):
    def test_a_missed_aim_is_explained_and_a_met_one_is_not(self):
        for figure, told in ((1.2, 1), (0.9, 0)):
            with self.subTest(figure=figure), mock.patch.dict(rows.WHY, list="It is told why"):
                text = page.markdown(results(whole_row(figure, 1.0)))
                self.assertEqual(text.count("It is told why."), told)

    def test_what_is_measured_again_takes_its_place_and_says_when(self):
        old = results(whole_row(1.2, 1.0), {**whole_row(2.0, 1.0), "against": "another"})
        new = results(whole_row(0.9, 1.0))
        new["machine"] = {**new["machine"], "date": "later"}
        both = page.merged(old, new)
        self.assertEqual([row["figure"] for row in both["rows"]], [0.9, 2.0])
        self.assertEqual(both["machine"], old["machine"])
        again = page.merged(both, new)
        self.assertEqual(page.markdown(again).count(f"- measured again, later: {old['rows'][0]['job']}"),
                         2)

    def test_what_is_explained_is_measured(self):
        jobs = {row.job for row in rows.ROWS}
        jobs.update(f"{group.job}, {way.label}" for group in nodes.GROUPS for way in group.ours)
        self.assertLessEqual(rows.WHY.keys(), jobs)

    def test_the_page_of_this_project_is_made_of_its_results(self):
        docs = repository.SOURCE / "docs"
        with open(docs / "performance.json", encoding="utf-8") as file:
            measured = json.load(file)
        for name, text in (("performance.md", page.markdown(measured)),
                           ("performance.svg", page.svg(measured))):
            with self.subTest(name=name):
                self.assertEqual((docs / name).read_text(encoding="utf-8"), text)

    def test_every_table_has_its_columns_in_every_line(self):
        shown = results(whole_row(1.2, 1.0), growth=[{
            "job": "ls", "held": False, "growth": 1.0, "aim": 1.2,
            "sizes": [{"entries": 10, "us_per_entry": 1.0, "peak_kib": 1024, "seconds": 1.0}]}])
        titles = []
        for title, lines, _ in report.tables(shown):
            titles.append(title)
            self.assertEqual({len(line) for line in lines}, {len(lines[0])}, title)
        self.assertEqual(titles, ["Jobs", "System calls", "Growth"])

    def test_the_chart_is_a_picture_whatever_the_figures(self):
        for figure in (0.001, 1.0, 50.0):
            drawn = xml.dom.minidom.parseString(
                page.svg(results(whole_row(figure, None, job="a < b & c"))))
            self.assertIn("a < b & c", "".join(
                text.firstChild.data for text in drawn.getElementsByTagName("text")))


class GrowthTest(unittest.TestCase):
    def test_each_size_is_measured_on_a_tree_of_its_own(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        bench = measure.Bench("/bin/true", MEASURER, place.name, scale=0.001, rounds=1)
        bench.grown = os.path.join(place.name, "grown")
        log = os.path.join(place.name, "log")
        job = rows.Growth("list", ("sh", "-c", "find {tree} -type f | wc -l >> " + log))
        result, = growth.measure_growth(bench, job)
        with open(log) as file:
            self.assertEqual(file.read().split(), ["0", "10", "100", "1000"])
        self.assertEqual([len(result["sizes"]), result["held"]], [3, False])

    def test_what_is_done_behind_a_job_finds_what_that_has_made(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        bench = measure.Bench("/bin/true", MEASURER, place.name, scale=0.001, rounds=2)
        bench.grown = os.path.join(place.name, "grown")
        job = rows.Growth("copy", ("cp", "-a", "{tree}", "{new}"),
                          then=rows.Growth("remove", ("rm", "-r", "{new}")))
        taken = growth.measure_growth(bench, job)
        self.assertEqual([each["job"] for each in taken], ["copy", "remove"])
        self.assertEqual([size["rounds"] for size in taken[1]["sizes"]][:2], [2, 2])
        self.assertFalse(os.path.exists(os.path.join(bench.grown, "new")))


if __name__ == "__main__":
    unittest.main()
