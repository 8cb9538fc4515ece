#!/usr/bin/python3
"""Runs benchmarks and prints their ratios beside their aims, as a table in Markdown.

measure.py [--runs N] [--list FILE] [--wine IN-WINE FILE]...

Each FILE lists programs, a line each, as the build writes it (benchmarks.list); those behind --wine run by IN-WINE. Each
program runs N times (3) and the best run of each ratio counts, since what disturbs a run makes it slower. Ends with
status 1 when a ratio misses its aim by more than a tenth, or a program fails.
"""

import argparse
import json
import pathlib
import subprocess
import sys


def measured(command):
    """One run: (name, label) -> (ratio, low, high, aim)."""
    google = "_benchmark" in command[-1]
    options = ["--benchmark_format=json"] if google else []
    run = subprocess.run(command + options, capture_output=True, text=True, check=True)
    if google:
        rows = json.loads(run.stdout)["benchmarks"]
    else:
        rows = [json.loads(line) for line in run.stdout.splitlines() if line.startswith("{")]
    result = {}
    for row in rows:
        if row.get("error_occurred"):
            raise ValueError(f"{row['name']}: {row['error_message']}")
        if "ratio" in row:
            detail = [part for part in row.get("name", "").split("/")[1:] if part != "manual_time" and ":" not in part]
            result[row["label"] + "|" + " ".join(detail)] = (row["ratio"], row["low"], row["high"], row["aim"])
    if not result:
        raise ValueError("no ratio was printed")
    return result


def programs(arguments):
    for file, runner in [(file, []) for file in arguments.list] + [(file, [runner]) for runner, file in arguments.wine]:
        folder = pathlib.Path(file).parent
        for line in pathlib.Path(file).read_text(encoding="utf-8").split():
            yield runner + [str(folder / line)]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--runs", type=int, default=3)
    parser.add_argument("--list", action="append", default=[])
    parser.add_argument("--wine", nargs=2, action="append", default=[])
    arguments = parser.parse_args()
    missed = 0
    print("| what | compared with | ratio (quartiles) | aim |")
    print("|---|---|---|---|")
    for command in programs(arguments):
        best = {}
        try:
            for _ in range(arguments.runs):
                for label, row in measured(command).items():
                    best[label] = min(best.get(label, row), row)
        except (ValueError, OSError, subprocess.CalledProcessError) as error:
            print(f"{command[-1]}: {error}", file=sys.stderr)
            missed += 1
        for label, (ratio, low, high, aim) in best.items():
            what, other, detail = label.split("|")
            what += f" ({detail})" if detail else ""
            mark = "" if aim == 0 else f"{aim:g}" if ratio <= aim else f"{aim:g}, not reached"
            missed += aim != 0 and ratio > 1.1 * aim
            digits = 4 if ratio < 0.01 else 2
            print(f"| {what} | {other} | {ratio:.{digits}f} ({low:.{digits}f} to {high:.{digits}f}) | {mark} |", flush=True)
    sys.exit(1 if missed else 0)


main()
