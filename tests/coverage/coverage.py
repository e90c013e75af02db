# SPDX-License-Identifier: MIT
"""Holds what the tests run of the library to what docs/testing.md says; ./dev coverage calls it.

A line of the library may be marked where something in it cannot be run:

    ... // GCOVR_EXCL_BR_LINE race      the branches of the line that are not taken
    ... // GCOVR_EXCL_LINE race         all of the line

with the reason in one word. Each mark has to hide something, and all together hide at most one
branch in a hundred.
"""

import argparse
import json
import re
import subprocess
import sys
from pathlib import Path

SOURCES = Path(__file__).resolve().parent.parent.parent
PAGE = SOURCES / "docs/testing.md"
GCOVR = ["/usr/bin/gcovr", "--root", str(SOURCES)]
READING = ["--exclude-throw-branches", "--exclude-unreachable-branches"]
MARK = re.compile(r"GCOVR_EXCL_(?:BR_)?LINE\b[ \t]*(.*)")
ROW = re.compile(r"^\| (Lines|Functions|Branches) \| (\d+) of (\d+) \|", re.MULTILINE)
BEGIN, END = "<!-- coverage: generated -->", "<!-- coverage: end -->"


def units_with_assertions():
    return [str(unit.relative_to(SOURCES)) for unit in sorted(SOURCES.glob("Bases/**/*.cpp"))
            if "VORN_ASSERT(" in unit.read_text(encoding="utf-8")]


def gcovr(*options):
    subprocess.run([*GCOVR, *map(str, options)], check=True)


def report_of(directory, *options, html=()):
    """What both builds together run. Of what is never run gcovr cannot tell which branches only
    exceptions take, so of the build without assertions only the units count that it is there for.
    """
    parts = {"with-assertions": ["Bases/"], "without-assertions": units_with_assertions()}
    merging = []
    for build, filters in parts.items():
        part = directory / f"{build}.json"
        gcovr(*READING, *options, *(f"--filter={each}" for each in filters), "--json", part,
              directory / build)
        merging += ["-a", part]
    report = directory / "report.json"
    gcovr(*merging, "--json", report, *html)
    return json.loads(report.read_text(encoding="utf-8"))


def counted_lines(source):
    return [line for line in source["lines"] if not line.get("gcovr/noncode")]


def figures_of(report):
    """For each kind, how many there are, and how many of them are run."""
    figures = {"Lines": [], "Functions": [], "Branches": []}
    for source in report["files"]:
        figures["Functions"] += [each["execution_count"] for each in source.get("functions", [])]
        for line in counted_lines(source):
            figures["Lines"].append(line["count"])
            figures["Branches"] += [branch["count"] for branch in line["branches"]]
    return {kind: (sum(count > 0 for count in counts), len(counts))
            for kind, counts in figures.items()}


def marks_of(source, text, line_marks):
    """What each mark in a source hides, as (place, reason, branches, lines)."""
    lines = {line["line_number"]: line for line in source["lines"]}
    for number, content in enumerate(text.splitlines(), 1):
        found = MARK.search(content)
        if not found:
            continue
        line = lines.get(number, {"count": 1, "branches": []})
        branches = sum(branch["count"] == 0 for branch in line["branches"])
        hidden_line = int("EXCL_LINE" in found.group(0) and line["count"] == 0)
        line_marks.append((f"{source['file']}:{number}", found.group(1), branches, hidden_line))


def faults_of(figures, marks, page):
    """What is wrong, in words."""
    faults = []
    for place, reason, branches, lines in marks:
        if not re.fullmatch(r"[\w-]+", reason):
            faults.append(f"{place}: a mark has one word for a reason, not '{reason}'")
        if branches + lines == 0 and reason != "race":  # which may have happened this time
            faults.append(f"{place}: the mark hides nothing")
    hidden = sum(branches for _, _, branches, _ in marks)
    if 100 * hidden > figures["Branches"][1]:
        faults.append(f"{hidden} branches are hidden by marks, more than one in a hundred")
    said = {kind: (int(run), int(all)) for kind, run, all in ROW.findall(page)}
    for kind, (run, all) in figures.items():
        if kind not in said:
            faults.append(f"the page has no figure for {kind}")
        elif all - run > said[kind][1] - said[kind][0]:
            faults.append(f"{kind}: {all - run} are not run; docs/testing.md says "
                          f"{said[kind][1] - said[kind][0]}")
    return faults


def as_markdown(figures, marks):
    rows = ["| What | Run | |", "|---|---|---|"]
    for kind, (run, all) in figures.items():
        rows.append(f"| {kind} | {run} of {all} | {100 * run / all:.2f} % |")
    rows += ["", "Left out, since they cannot be run:", "",
             "| Place | Reason | Branches | Lines |", "|---|---|---|---|"]
    rows += [f"| `{place.rpartition(':')[0]}` | {reason} | {branches} | {lines} |"
             for place, reason, branches, lines in marks]
    return "\n".join(rows)


def main():
    parser = argparse.ArgumentParser(prog="./dev coverage", description=__doc__.split("\n")[0])
    parser.add_argument("--page", action="store_true", help="put the figures into the docs")
    parser.add_argument("directory", type=Path, help=argparse.SUPPRESS)
    options = parser.parse_args()
    html = options.directory / "html/index.html"
    html.parent.mkdir(exist_ok=True)
    figures = figures_of(report_of(options.directory, html=["--html-details", html]))
    marks = []
    for source in report_of(options.directory, "--exclude-pattern-prefix=NONE")["files"]:
        marks_of(source, (SOURCES / source["file"]).read_text(encoding="utf-8"), marks)
    text = PAGE.read_text(encoding="utf-8")
    table = as_markdown(figures, marks)
    print(table)
    if options.page:
        before, after = text.split(BEGIN)[0], text.split(END)[1]
        text = f"{before}{BEGIN}\n{table}\n{END}{after}"
        PAGE.write_text(text, encoding="utf-8")
    faults = faults_of(figures, marks, text)
    print("\n".join(faults), file=sys.stderr)
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
