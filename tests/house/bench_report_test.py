"""Tests of bench/report.py with results made by hand. Usage: bench_report_test.py DIRECTORY_OF_BENCH"""

import pathlib
import sys
import tempfile
import unittest
import xml.etree.ElementTree

sys.path.insert(0, sys.argv.pop(1))
import report  # noqa: E402


def row(name, threads, milliseconds, copies=None):
    return {"name": f"{name}/threads:{threads}/manual_time", "real_time": milliseconds, "copies": copies}


def results(*rows):
    return report.Results({"benchmarks": list(rows)})


GUIDED, GUIDED_PEER = (name.format(report.LARGE) for name in (report.PEERS[0][1], report.PEERS[0][3]))
GROWN = [row(f"growth/pixels/guided:{w}x{h}", 2, ms) for w, h, ms in ((1000, 1000, 2), (2000, 1000, 4))] + [
    row("growth/radius/guided:1", 2, 3), row("growth/radius/guided:16", 2, 3.3),
    row("growth/threads/guided", 1, 60), row("growth/threads/guided", 2, 40)]
RUN = results(row(GUIDED, 1, 100, 4.5), row(GUIDED, 2, 50, 5), row(GUIDED_PEER, 1, 300), row(GUIDED_PEER, 2, 200),
              *GROWN)


class Ratios(unittest.TestCase):
    def test_a_peer_that_takes_thrice_the_time_counts_three_times_as_fast(self):
        self.assertEqual(RUN.ratio(GUIDED_PEER, GUIDED, 1), 3)
        self.assertEqual(RUN.ratio(GUIDED_PEER, GUIDED, 2), 4)

    def test_a_peer_without_threads_is_compared_with_all_of_ours(self):
        run = results(row("ours", 1, 10), row("ours", 2, 5), row("peer", 1, 40))
        self.assertEqual(run.ratio("peer", "ours", 2), 8)

    def test_the_fastest_repetition_counts_and_no_aggregate(self):
        aggregate = {"name": "ours/threads:1/manual_time_mean", "real_time": 1, "run_type": "aggregate"}
        run = results(row("ours", 1, 11), row("ours", 1, 10), row("ours", 1, 12), aggregate)
        self.assertEqual(run.milliseconds("ours", 1), 10)

    def test_what_was_not_measured_has_no_ratio(self):
        self.assertIsNone(RUN.ratio("missing", GUIDED, 1))
        self.assertIsNone(RUN.speed_up("missing"))

    def test_copies_are_those_of_one_thread_and_the_speed_up_is_one_to_all(self):
        self.assertEqual(RUN.copies(GUIDED), 4.5)
        self.assertEqual(RUN.speed_up(GUIDED), 2)


class Choice(unittest.TestCase):
    def test_all_rows_and_the_growth_are_measured_unless_some_are_chosen(self):
        self.assertIn(report.regex_of([GUIDED]), report.filter_of(""))
        self.assertTrue(report.filter_of("").endswith("|^growth/"))
        self.assertEqual(report.filter_of("^growth"), "^growth/")
        self.assertEqual(report.filter_of(f"^{report.regex_of([GUIDED])}$"), f"^({report.regex_of([GUIDED])})/threads:")

    def test_a_choice_of_nothing_is_refused(self):
        with self.assertRaises(SystemExit):
            report.filter_of("growth/radius")


class Growth(unittest.TestCase):
    def test_points_are_megapixels_radii_and_threads_by_milliseconds(self):
        self.assertEqual(RUN.growth("pixels"), {"guided": [(1, 2), (2, 4)]})
        self.assertEqual(RUN.growth("radius"), {"guided": [(1, 3), (16, 3.3)]})
        self.assertEqual(RUN.growth("threads"), {"guided": [(1, 60), (2, 40)]})


class Page(unittest.TestCase):
    def test_has_the_pair_the_machine_and_well_formed_plots(self):
        machine = {"date": "2024-05-06", "processor": "A", "processors": 2, "caches": "L1", "system": "B", "load": 0.25,
                   "versions": ["C"]}
        with tempfile.TemporaryDirectory() as scratch:
            out = pathlib.Path(scratch)
            report.write(RUN, machine, 61, out)
            page = (out / "README.md").read_text(encoding="utf-8")
            for plot in ("peers", "copies", "pixels", "radius", "threads"):
                xml.etree.ElementTree.parse(out / f"{plot}.svg")
                self.assertIn(f"({plot}.svg)", page)
        self.assertIn("| Guided filter, radius 8 | 100 / 50.0 | ximgproc::guidedFilter | 300 / 200 | 3.00 / 4.00 "
                      "| 4.50 | 2.00 |", page)
        self.assertIn("2024-05-06", page)
        self.assertIn("Not in this run: ", page)


if __name__ == "__main__":
    unittest.main()
