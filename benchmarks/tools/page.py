# SPDX-License-Identifier: MIT
"""Puts the figures and pictures of a report into docs/benchmarks.md."""

import re
import shutil
import textwrap

import table
from bounds import Bounds

WIDTH = 100


def update(page, report, goals, pictures):
    text = page.read_text(encoding="utf-8")
    for part, make in PARTS.items():
        text = replace(text, part, make(report, goals))
    page.write_text(text, encoding="utf-8")
    directory = page.parent / "benchmarks"
    directory.mkdir(exist_ok=True)
    for picture in pictures.glob("*.svg"):
        shutil.copy(picture, directory / picture.name)


def replace(text, name, content):
    """Puts the content between the marks of that part of the page."""
    begin, end = f"<!-- {name}: generated -->", f"<!-- {name}: end -->"
    pattern = re.compile(re.escape(begin) + ".*?" + re.escape(end), re.DOTALL)
    if not pattern.search(text):
        raise ValueError(f"the page has no place for {name}")
    return pattern.sub(lambda _: f"{begin}\n{content.strip()}\n{end}", text)


def _machine(report):
    machine = report["machine"]
    facts = [
        f"Measured {report['date']}, revision `{report['revision']}`, route "
        f"`{report['rows'][0]['route']}`, {report['repetitions']} repetitions.",
        f"{machine['processor']}, {machine['processors']} processors "
        f"({', '.join(machine['extensions'])}), Linux {machine['kernel']}, load average "
        f"{machine['load']} at the start and {report['load_at_end']} at the end.",
        f"{report['compiler']}, `{report['flags']}`.",
        ", ".join(f"{name} {version}" for name, version in report["peers"].items()) + ".",
    ]
    if machine["load"] > 0.5:
        facts.append("The machine was busy: these figures are provisional, and those timed by the "
                     "wall clock are rough.")
    return "\n".join(_bullet(fact) for fact in facts)


def _bullet(text):
    return textwrap.fill(text, WIDTH, initial_indent="- ", subsequent_indent="  ",
                         break_long_words=False, break_on_hyphens=False)


PARTS = {
    "machine": lambda report, goals: _machine(report),
    "table": lambda report, goals: table.as_markdown(report["rows"], goals),
    "time": lambda report, goals: table.curves_as_markdown(report["time_curves"], "ns_per_item",
                                                           Bounds()),
    "heap": lambda report, goals: table.curves_as_markdown(report["heap_curves"],
                                                           "bytes_per_item", Bounds()),
}
