# SPDX-License-Identifier: MIT
"""Runs the test programs of a build under valgrind, and replays the corpora of its fuzz targets
(./dev valgrind)."""

import argparse
import math
import os
import random
import shutil
import sys
from dataclasses import replace
from fnmatch import fnmatchcase
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "support"))
from suite import SOURCES, Surroundings, jobs_in, run_all, say

SCRATCH = SOURCES / "build/valgrind"
# The tests have operators of their own in the place of new, which can fail: they stay, and what
# they call is watched. The C library keeps blocks in trees whose pointers are marked in their
# lowest bit, so that they look as if they were lost, possibly. Threads take turns: one that only
# looks again and again would keep the others from running.
COMMAND = ("valgrind", "--quiet", "--fair-sched=try", "--error-exitcode=99", "--num-callers=30",
           "--leak-check=full", "--show-leak-kinds=definite", "--errors-for-leak-kinds=definite",
           "--soname-synonyms=somalloc=nouserintercepts",
           f"--suppressions={HERE / 'suppressions.txt'}", "--log-file=%q{VORN_REPORTS}/%p")
# The C library's functions for AVX2 read whole vectors, also behind the end of what they are given.
ENVIRONMENT = (("GLIBC_TUNABLES", "glibc.cpu.hwcaps=-AVX2"),)
# Of a sample: the tests of a program, and the seconds after which no other program begins.
MOST_TESTS = 5
LONG_ENOUGH = 30


def is_corpus(job):
    return job.name.startswith("Fuzz.ReplaysTheCorpusOf")


def names_in(text):
    return [line for line in text.splitlines() if line and not line.startswith("#")]


def without(jobs, names):
    """The jobs without the programs and tests of those names. A name of nothing is refused."""
    for name in names:
        if not any(fnmatchcase(known, name) for job in jobs for known in (job.name, *job.tests)):
            raise SystemExit(f"there is no {name} to leave out")

    def is_left(name):
        return not any(fnmatchcase(name, pattern) for pattern in names)
    kept = [replace(job, tests=tuple(filter(is_left, job.tests))) for job in jobs
            if is_left(job.name)]
    return [job for job in kept if job.tests or is_corpus(job)]


def once(jobs):
    """Of a program that is to run in several environments, the first: the others, such as zones, are
    alike in what they do to memory."""
    first = {}
    for job in jobs:
        first.setdefault(job.name, job)
    return list(first.values())


def sample(jobs, seed):
    """Some tests of each program, in random order."""
    chance = random.Random(seed)
    return [replace(job, tests=tuple(chance.sample(job.tests, min(len(job.tests), MOST_TESTS))))
            for job in chance.sample(jobs, len(jobs))]


def reporting(jobs, place):
    """The jobs, each with a directory for what is reported of its processes."""
    for i, job in enumerate(jobs):
        reports = place / f"{job.name}-{i}"
        reports.mkdir(parents=True)
        reports.chmod(0o777)  # some tests give up root
        yield replace(job, environment=(*job.environment, ("VORN_REPORTS", str(reports))))


def tell_reports(place):
    """Prints what was reported, also of processes whose end tells nothing of it. Returns whether
    that is nothing."""
    told = [report for report in sorted(place.glob("*/*")) if report.stat().st_size > 0]
    for report in told:
        say(f"REPORTED {report.relative_to(place)}:\n{report.read_text(errors='replace')}")
    return not told


def run_under_valgrind(jobs, scratch, seconds=math.inf):
    """Returns whether all went well."""
    good = run_all(reporting(jobs, scratch / "reports"),
                   Surroundings("valgrind", COMMAND, ENVIRONMENT), len(os.sched_getaffinity(0)),
                   scratch / "failures", seconds)
    return tell_reports(scratch / "reports") and good


def main():
    parser = argparse.ArgumentParser(prog="./dev valgrind", description=__doc__)
    parser.add_argument("--quick", action="store_true", help="a sample, for about a minute")
    parser.add_argument("--seed", type=int, help="of the sample")
    parser.add_argument("--build", type=Path, required=True, help=argparse.SUPPRESS)
    parser.add_argument("programs", nargs="*", metavar="PROGRAM", help="none: all")
    options = parser.parse_args()
    shutil.rmtree(SCRATCH, ignore_errors=True)
    jobs = [job for job in once(jobs_in(options.build)) if job.tests or is_corpus(job)]
    jobs = without(jobs, names_in((HERE / "left-out.txt").read_text()))
    if options.programs:
        jobs = [job for job in jobs if job.name in options.programs]
    if options.quick:
        seed = options.seed or random.randrange(1, 100000)
        say(f"seed {seed}")
        jobs = sample(jobs, seed)
    good = run_under_valgrind(jobs, SCRATCH, LONG_ENOUGH if options.quick else math.inf)
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
