#!/usr/bin/python3
"""Says where a test run's time went: whereTimeGoes.py BUILD-FOLDER... < output of ./test

Prints two tables in Markdown: for each build folder, by ninja's log, the seconds spent on precompiled headers, on the
sources of each target and on linking; and, by the output of ./test, what ran for more than five seconds. Times of one
edge are wall time, so build on an idle machine.
"""

import collections
import pathlib
import re
import sys


def kind_of(output):
    """The column and the target of a file that ninja made."""
    if output.endswith((".gch", ".pch")):
        return "headers", ""
    match = re.match(r"(?:.*/)?CMakeFiles/([^/]+)\.dir/.*\.(?:o|obj)$", output)
    if match:
        return "compiling", re.sub(r"_(objects|cases|target|measures)$", "", match[1])
    return ("linking", "") if re.search(r"\.(exe|dll|a)$|^[^./]+$", output) else ("other", "")


def build_table(folders):
    print("| build | precompiled headers | compiling | linking | the targets that take longest to compile |")
    print("|---|---|---|---|---|")
    for folder in map(pathlib.Path, folders):
        last = {}
        for line in (folder / ".ninja_log").read_text(encoding="utf-8").splitlines()[1:]:
            start, end, _, output, command = line.split("\t")
            last[(start, end, command)] = (output, (int(end) - int(start)) / 1000)  # an edge with two outputs counts once
        seconds, targets = collections.Counter(), collections.Counter()
        for output, took in last.values():
            kind, target = kind_of(output)
            seconds[kind] += took
            targets[target] += took if kind == "compiling" else 0
        longest = ", ".join(f"{name} {took:.0f} s" for name, took in targets.most_common(5))
        print(f"| {folder.name} | {seconds['headers']:.0f} s | {seconds['compiling']:.0f} s | {seconds['linking']:.0f} s "
              f"| {longest} |")


def run_table(lines):
    print("\n| suite or check | wall | CPU |\n|---|---|---|")
    rows = []
    for line in lines:
        match = re.match(r"  (?:ok|FAILED): (\S+?),.*\(([\d.]+) s, CPU ([\d.]+) s\)$", line)
        if match:
            rows.append((float(match[2]), float(match[3]), match[1]))
    for wall, cpu, name in sorted(rows, reverse=True):
        if wall > 5:
            print(f"| {name} | {wall:.1f} s | {cpu:.1f} s |")
    print(f"| all {len(rows)} | {sum(row[0] for row in rows):.0f} s | {sum(row[1] for row in rows):.0f} s |")


build_table(sys.argv[1:])
run_table(sys.stdin)
