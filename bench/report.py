#!/usr/bin/env python3
"""Prints what the benchmarks have measured beside its bars, and draws it.

usage: report.py RESULTS.json [--plot DIRECTORY]

Exit status: 0, whether bars are met or missed; 2 where the results cannot be read or drawn.
"""
import argparse
import json
import math
import statistics
import sys
from typing import NamedTuple, Optional

import bars
import plots
from figures import number, wanted, with_unit


class Outcome(NamedTuple):
    row: bars.Row
    verdict: str  # "met", "missed", "" without a bar, or why there is no figure
    ours: Optional[float] = None
    beside: Optional[float] = None
    ratio: Optional[float] = None

    @property
    def judged(self):
        return self.ours if self.row.beside is None else self.ratio


def read_results(path):
    """Each benchmark's counters; where it was repeated, their medians."""
    with open(path, encoding="utf-8") as file:
        contents = json.load(file)
    by_name = {}
    for run in list_of_objects(contents):
        if run.get("run_type", "iteration") == "iteration":
            by_name.setdefault(run["name"].split("/iterations:")[0], []).append(run)
    return {name: merged(repetitions) for name, repetitions in by_name.items()}


def list_of_objects(contents):
    runs = contents.get("benchmarks") if isinstance(contents, dict) else None
    if not isinstance(runs, list) or not all(
        isinstance(run, dict) and isinstance(run.get("name"), str) for run in runs
    ):
        raise ValueError("has no list of benchmarks with names")
    return runs


def is_number(value):
    return isinstance(value, (int, float)) and not isinstance(value, bool)


def merged(repetitions):
    """A counter that is not finite in one of the repetitions is no figure."""
    counters = {}
    for key, value in repetitions[0].items():
        if is_number(value):
            values = [run[key] for run in repetitions if key in run]
            if not all(is_number(one) and math.isfinite(one) for one in values):
                continue
            value = statistics.median(values)
        counters[key] = value
    return counters


def figure_of(counters, name):
    value = counters.get(name)
    return value if is_number(value) else None


def ratio_of(counters, row):
    """The median of the ratios of rounds, whichever way round it was counted."""
    ratio = figure_of(counters, f"{row.ours}/{row.beside}")
    if ratio is None:
        inverse = figure_of(counters, f"{row.beside}/{row.ours}")
        ratio = 1 / inverse if inverse else None
    if ratio and row.bar and row.bar.kind == "at least":
        return 1 / ratio
    return ratio


def judge(row, results):
    counters = results.get(row.benchmark)
    if counters is None:
        return Outcome(row, "not run")
    outcome = Outcome(row, "", figure_of(counters, row.ours), figure_of(counters, row.beside),
                      ratio_of(counters, row) if row.beside else None)
    if counters.get("error_occurred"):
        return Outcome(row, counters.get("error_message", "failed"))
    if outcome.judged is None:
        return Outcome(row, f"no {row.tool} here" if row.tool else "no figure")
    if row.bar is None:
        return outcome
    return outcome._replace(verdict="met" if row.bar.is_met_by(outcome.judged) else "missed")


def table(outcomes):
    lines = []
    group = None
    for outcome in outcomes:
        row = outcome.row
        if row.group != group:
            group = row.group
            lines += ["", f"{group:56}{'ours':>10}{'beside':>10}{'ratio':>8}  bar"]
        lines.append(
            f"  {row.name:54}{with_unit(outcome.ours, row.unit):>10}"
            f"{with_unit(outcome.beside, row.unit):>10}{number(outcome.ratio):>8}"
            f"  {wanted(row):16}{outcome.verdict}".rstrip()
        )
    return lines


def summary(outcomes):
    with_bar = [outcome for outcome in outcomes if outcome.row.bar]
    met = sum(outcome.verdict == "met" for outcome in with_bar)
    missed = [outcome for outcome in with_bar if outcome.verdict == "missed"]
    text = f"{met} of {met + len(missed)} bars met"
    if missed:
        text += "; missed: " + "; ".join(
            f"{outcome.row.name} "
            f"({number(outcome.ratio) or with_unit(outcome.ours, outcome.row.unit)},"
            f" {wanted(outcome.row)})"
            for outcome in missed
        )
    without_figure = len(with_bar) - met - len(missed)
    return text + (f"; {without_figure} without a figure" if without_figure else "")


def main():
    parser = argparse.ArgumentParser(description="Benchmarks beside their bars.")
    parser.add_argument("results", metavar="RESULTS.json")
    parser.add_argument("--plot", metavar="DIRECTORY", help="draw one SVG for each group there")
    arguments = parser.parse_args()
    try:
        results = read_results(arguments.results)
    except (OSError, ValueError) as error:
        print(f"report: {arguments.results}: {error}", file=sys.stderr)
        return 2
    outcomes = [judge(row, results) for row in bars.ROWS]
    text = "\n".join(table(outcomes)) + "\n"
    if arguments.plot:
        try:
            text += "\n" + "\n".join(plots.draw(outcomes, arguments.plot)) + "\n"
        except (OSError, RuntimeError) as error:
            print(f"report: {error}", file=sys.stderr)
            return 2
    print(text + "\n" + summary(outcomes))
    return 0


if __name__ == "__main__":
    sys.exit(main())
