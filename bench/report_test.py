"""The report says of every bar what the results say, and knows what the benchmarks are called."""
import json
import os
import subprocess
import sys
import tempfile
import unittest

import bars
import report

BENCHMARKS = sys.argv.pop(1)


def row(**changes):
    return bars.Row("group", "name", "measured/10", "ours", "theirs", bars.at_most(2))._replace(
        **changes
    )


def read_back(contents):
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "results.json")
        with open(path, "w", encoding="utf-8") as file:
            json.dump(contents, file)
        return report.read_results(path)


def results(**counters):
    run = {"name": "measured/10/iterations:5/manual_time", "run_type": "iteration", **counters}
    return read_back({"benchmarks": [run]})


class Verdicts(unittest.TestCase):
    CASES = (
        ("at the limit", row(), {"ours/theirs": 2.0}, "met", 2.0),
        ("above it", row(), {"ours/theirs": 2.01}, "missed", 2.01),
        ("counted the other way round", row(), {"theirs/ours": 0.4}, "missed", 2.5),
        ("times as fast", row(bar=bars.at_least(25)), {"theirs/ours": 26.0}, "met", 26.0),
        ("not as fast", row(bar=bars.at_least(25)), {"ours/theirs": 0.05}, "missed", 20.0),
        ("a time alone", row(beside=None), {"ours": 1.5}, "met", None),
        ("too long a time", row(beside=None), {"ours": 2.5}, "missed", None),
        ("nothing at all", row(beside=None, bar=bars.at_most(0)), {"ours": 0.0}, "met", None),
        ("without a bar", row(bar=None), {"ours/theirs": 9.0}, "", 9.0),
        ("filtered out", row(benchmark="other"), {"ours/theirs": 1.0}, "not run", None),
        ("not finite", row(), {"ours/theirs": float("nan")}, "no figure", None),
        ("a time that is not finite", row(beside=None), {"ours": float("inf")}, "no figure", None),
        ("a text for a figure", row(), {"ours/theirs": "2.0"}, "no figure", None),
        ("no peer", row(tool="git"), {"ours": 1.0}, "no git here", None),
        (
            "an error",
            row(),
            {"error_occurred": True, "error_message": "expect is not installed"},
            "expect is not installed",
            None,
        ),
    )

    def test_follow_the_results(self):
        for name, asked, counters, verdict, ratio in self.CASES:
            with self.subTest(name):
                outcome = report.judge(asked, results(**counters))
                self.assertEqual(outcome.verdict, verdict)
                self.assertEqual(outcome.ratio and round(outcome.ratio, 6), ratio)

    def test_need_results_of_benchmarks(self):
        for contents in ([], 1, {}, {"benchmarks": 1}, {"benchmarks": [1]}, {"benchmarks": [{}]}):
            with self.subTest(contents), self.assertRaises(ValueError):
                read_back(contents)

    def test_are_counted(self):
        judged = [report.Outcome(row(name=word), word, 1, 1, 3.0) for word in ("met", "missed")]
        self.assertEqual(
            report.summary(judged + [report.Outcome(row(), "not run")]),
            "1 of 2 bars met; missed: missed (3.00, at most 2); 1 without a figure",
        )


class Benchmarks(unittest.TestCase):
    @unittest.skipUnless(os.path.exists(BENCHMARKS), "script/bench builds the benchmarks")
    def test_of_all_rows_are_there(self):
        listed = subprocess.run(
            [BENCHMARKS, "--benchmark_list_tests"], capture_output=True, text=True, check=True
        )
        names = {line.split("/iterations:")[0] for line in listed.stdout.splitlines()}
        self.assertEqual({row.benchmark for row in bars.ROWS} - names, set())


if __name__ == "__main__":
    unittest.main()
