# SPDX-License-Identifier: MIT
"""Runs the suite of a build in other surroundings and again and again (./dev steady)."""

import argparse
import os
import random
import shutil
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from contextlib import contextmanager
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
from suite import SOURCES, Surroundings, jobs_in, run_all, say

SCRATCH = SOURCES / "build/steady"
FAILURES = SCRATCH / "failures"
SEEDS = range(1, 90000)
OTHER_USER = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "--"]
READ_ONLY_HOME = ["unshare", "--mount", "sh", "-c",
                  'mount --bind "$HOME" "$HOME" && mount -o remount,ro,bind "$HOME" && exec "$@"',
                  "home"]
# They play the platform themselves, so that each run is like the other.
ALIKE = {"SchedulesTest", "SweepTest"}
# Installing writes a list of the files into the build, which another user may not change.
WRITES_INTO_THE_BUILD = {"Consumer.BuildsAndRunsAgainstTheInstalledLibrary"}
# Without an offset, far on either side, off the full hour, and with summer time in the south.
ZONES = ["UTC0", "<+14>-14", "<-11>11", "<+0545>-5:45", "NZST-12NZDT,M9.5.0,M4.1.0/3"]
# Commas in numbers and single bytes, an i without its dot, characters of two bytes.
LOCALES = ["de_DE.ISO-8859-1", "tr_TR.UTF-8", "ko_KR.EUC-KR"]


def make_locale(name):
    """Returns the directory in which the C library finds the locale."""
    place = SCRATCH / "locales" / name
    if not place.exists():
        place.parent.mkdir(parents=True, exist_ok=True)
        language, charset = name.split(".")
        subprocess.run(["localedef", "-i", language, "-f", charset, str(place)], check=True)
    return str(place.parent)


@contextmanager
def busy_processors(count):
    """Keeps the processors busy."""
    busy = [subprocess.Popen(["sh", "-c", "while :; do :; done"]) for _ in range(count)]
    try:
        yield
    finally:
        for process in busy:
            process.kill()
            process.wait()


class Modes:
    """The surroundings by the names of their functions; each returns whether all went well."""

    def __init__(self, jobs, runs, seed):
        self.jobs, self.runs, self.seed = jobs, runs, seed
        self.is_root = os.geteuid() == 0
        self.workers = len(os.sched_getaffinity(0))

    def run(self, name, prefix=(), environment=(), seed=0, jobs=None):
        return run_all(jobs or self.jobs, Surroundings(name, tuple(prefix), environment, seed),
                       self.workers, FAILURES)

    def user(self):
        if not self.is_root:
            return self.run("not root")
        jobs = [job for job in self.jobs if job.name not in WRITES_INTO_THE_BUILD]
        return self.run("another user", OTHER_USER, jobs=jobs)

    def root(self):
        if not self.is_root:
            say("root: left out, it takes the superuser")
            return True
        return self.run("root")

    def home(self):
        """Nothing can be written into the home directory, not even by root."""
        home = SCRATCH / "home"
        home.mkdir(parents=True, exist_ok=True)
        home.chmod(0o555)
        return self.run("read-only home", READ_ONLY_HOME if self.is_root else (),
                        (("HOME", str(home)),))

    def processor(self):
        one = min(os.sched_getaffinity(0))
        return self.run("one processor", ("taskset", "--cpu-list", str(one)))

    def zones(self):
        """Tests that choose a zone themselves would only be repeated."""
        jobs = [job for job in self.jobs if "TZ" not in dict(job.environment)]
        return all([self.run(f"zone {zone}", environment=(("TZ", zone),), jobs=jobs)
                    for zone in ZONES])

    def locales(self):
        return all([self.run(f"locale {name}", environment=(("LOCPATH", make_locale(name)),
                                                            ("LC_ALL", name)))
                    for name in LOCALES])

    def order(self):
        return self.run(f"random order {self.seed}", seed=self.seed)

    def beside(self):
        """Two runs at once, each in an order of its own."""
        with ThreadPoolExecutor(2) as pool:
            return all(list(pool.map(
                lambda seed: self.run(f"beside another, order {seed}", seed=seed),
                (self.seed, self.seed + 1))))

    def load(self):
        """The checks of the tree are left out, since they read files, and what is always alike."""
        programs = [job for job in self.jobs if job.tests and job.name not in ALIKE]
        with busy_processors(self.workers):
            return all([self.run(f"under load, {i + 1} of {self.runs}, order {self.seed + i}",
                                 seed=self.seed + i, jobs=programs) for i in range(self.runs)])


MODES = [name for name, value in vars(Modes).items() if callable(value)
         and name not in ("__init__", "run")]


def arguments(words=None):
    parser = argparse.ArgumentParser(prog="./dev steady", description=__doc__.splitlines()[0])
    parser.add_argument("modes", nargs="*", metavar="MODE", help=f"of {' '.join(MODES)}; none: all")
    parser.add_argument("--runs", type=int, default=5, help="in a row under load (5)")
    parser.add_argument("--seed", type=int, help="of the random orders")
    parser.add_argument("--build", type=Path, required=True, help=argparse.SUPPRESS)
    options = parser.parse_args(words)
    unknown = set(options.modes) - set(MODES)
    if unknown:
        parser.error(f"no such mode: {' '.join(sorted(unknown))}")
    if options.runs < 1:
        parser.error("there is no run to look at")
    if options.seed is not None and options.seed not in SEEDS:
        parser.error(f"seeds are {SEEDS.start} to {SEEDS.stop - 1}")
    return options


def main():
    options = arguments()
    shutil.rmtree(FAILURES, ignore_errors=True)
    seed = options.seed or random.choice(SEEDS)
    modes = Modes(jobs_in(options.build), options.runs, seed)
    say(f"seed {seed}")
    results = [getattr(modes, mode)() for mode in options.modes or MODES]
    say("steady" if all(results) else "not steady")
    return 0 if all(results) else 1


if __name__ == "__main__":
    sys.exit(main())
