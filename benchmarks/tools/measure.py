# SPDX-License-Identifier: MIT
"""Runs the benchmark programs, a process per row, and gathers their times."""

import json
import os
import statistics
import subprocess
import tempfile
from dataclasses import dataclass
from pathlib import Path

FAMILIES = ["text", "container", "utility", "crypto", "time", "file", "thread", "xml"]


class Failure(Exception):
    """A program ended badly, or a row's contenders disagree."""


@dataclass(frozen=True)
class Row:
    """A row of one program; contenders come in the program's order, ours first."""

    program: Path
    purpose: str  # row, curve or heap
    operation: str
    size: str
    contenders: tuple
    is_wall_time: bool

    @property
    def family(self):
        return self.program.name.removeprefix("bench_")

    @property
    def routed_program(self):
        """The one that has the library in itself and can choose its route."""
        return self.program.with_name(f"routed_{self.family}")

    @property
    def name(self):
        return f"{self.family}/{self.operation}/{self.size}"


def rows_of(program, purpose):
    listing = _run([program, "--benchmark_list_tests"])
    found = {}
    for line in listing.splitlines():
        kind, operation, size, contender, *suffix = line.split("/")
        if kind == purpose:
            contenders, suffixes = found.setdefault((operation, size), ([], suffix))
            contenders.append(contender)
    return [
        Row(program, purpose, operation, size, tuple(contenders), "real_time" in suffix)
        for (operation, size), (contenders, suffix) in found.items()
    ]


def samples(row, *, repetitions, seconds, route=None, contender=None, library=None, timeout=None):
    """Returns each contender's entries of Google Benchmark, in the order of the repetitions."""
    with tempfile.NamedTemporaryFile(suffix=".json") as out:
        command = [row.program if route is None else row.routed_program, f"--row={row.purpose}/{row.operation}/{row.size}",
                   f"--benchmark_repetitions={repetitions}", f"--benchmark_min_time={seconds}",
                   "--benchmark_enable_random_interleaving=true",
                   f"--benchmark_out={out.name}", "--benchmark_out_format=json"]
        command += [f"--route={route}"] if route else []
        command += [f"--contender={contender}"] if contender else []
        _run(command, library, timeout)
        report = json.load(out)
    entries = [e for e in report["benchmarks"] if e["run_type"] == "iteration"]
    found = {}
    for entry in sorted(entries, key=lambda e: e.get("repetition_index", 0)):
        if entry.get("error_occurred"):
            raise Failure(f"{row.name}: {entry['error_message']}")
        found.setdefault(entry["run_name"].split("/")[3], []).append(entry)
    return found, report["context"]


def routes_of(row):
    """The routes that the row can be measured on here, from the portable one up."""
    _, context = samples(row, repetitions=1, seconds=0.001, route="portable", contender="ours")
    return context["routes"].split()


def nanoseconds(entry):
    """The time of one item: of the clock if the row is about that, else of the processor."""
    is_wall = entry["run_name"].endswith(("/real_time", "/manual_time"))
    return entry["real_time" if is_wall else "cpu_time"] / entry["items"]


def compare(row, **options):
    """Measures a row; returns an entry of the report for each peer."""
    found, context = samples(row, **options)
    times = {name: [nanoseconds(e) for e in entries] for name, entries in found.items()}
    ours = times.pop("ours")
    return [_entry(row, context["route"], ours, peer, times[peer]) for peer in row.contenders[1:]]


def _entry(row, route, ours, peer, theirs):
    ratios = [b / a for a, b in zip(ours, theirs)]
    quarter, _, three_quarters = statistics.quantiles(ratios, n=4)
    return {
        "family": row.family, "operation": row.operation, "size": row.size, "route": route,
        "ours_ns": statistics.median(ours), "peer": peer, "peer_ns": statistics.median(theirs),
        "ratio": statistics.median(ratios), "spread": three_quarters - quarter,
    }


def _run(command, library=None, timeout=None):
    environment = dict(os.environ, LC_ALL="C.UTF-8")
    if library:
        environment["LD_LIBRARY_PATH"] = str(library)
    done = subprocess.run([str(part) for part in command], env=environment, timeout=timeout,
                          capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise Failure(f"{command[0]} ended with {done.returncode}: {done.stderr.strip()}")
    return done.stdout
