# SPDX-License-Identifier: MIT
"""Runs the suite of a build in other surroundings and again and again (./dev steady).

The programs of GoogleTest run as they are, all their tests in one process: ctest starts a process
for each, which takes longer than most of them."""

import argparse
import json
import os
import random
import shutil
import re
import signal
import subprocess
import sys
import threading
import time
from collections import Counter, defaultdict
from concurrent.futures import ThreadPoolExecutor
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path

SOURCES = Path(__file__).resolve().parent.parent.parent
SCRATCH = SOURCES / "build/steady"
SEEDS = range(1, 90000)
PATIENCE = 1200  # seconds for a program, which may be slow beside others
OTHER_USER = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "--"]
READ_ONLY_HOME = ["unshare", "--mount", "sh", "-c",
                  'mount --bind "$HOME" "$HOME" && mount -o remount,ro,bind "$HOME" && exec "$@"',
                  "home"]
# They play the platform themselves, so that each run is like the other.
ALIKE = {"SchedulesTest", "SweepTest"}
# Installing writes a list of the files into the build, which another user may not change.
WRITES_INTO_THE_BUILD = {"Consumer.BuildsAndRunsAgainstTheInstalledLibrary"}
# What keeps compilations of some checks would be written into the home directory.
LAUNCHERS = {"CMAKE_C_COMPILER_LAUNCHER", "CMAKE_CXX_COMPILER_LAUNCHER"}
# Without an offset, far on either side, off the full hour, and with summer time in the south.
ZONES = ["UTC0", "<+14>-14", "<-11>11", "<+0545>-5:45", "NZST-12NZDT,M9.5.0,M4.1.0/3"]
# Commas in numbers and single bytes, an i without its dot, characters of two bytes.
LOCALES = ["de_DE.ISO-8859-1", "tr_TR.UTF-8", "ko_KR.EUC-KR"]


def say(line):
    print(line, flush=True)


# --- What there is to run ------------------------------------------------------------------------

@dataclass(frozen=True)
class Job:
    name: str           # of the program or of the check
    command: tuple
    environment: tuple  # pairs
    directory: str
    skipping: int       # the exit status that says so
    is_program: bool    # of GoogleTest


def environment_of(properties):
    environment = dict(pair.split("=", 1) for pair in properties.get("ENVIRONMENT", []))
    for change in properties.get("ENVIRONMENT_MODIFICATION", []):
        name, value = change.split("=path_list_prepend:")
        environment[name] = f"{value}:{os.environ[name]}"
    return tuple(sorted(environment.items()))


def jobs_of(listed):
    """What ctest lists, with the tests of a program together."""
    jobs, tests = [], defaultdict(list)
    for test in listed["tests"]:
        properties = {p["name"]: p["value"] for p in test["properties"]}
        if properties.get("DISABLED"):
            continue
        command, rest = test["command"], (environment_of(properties),
                                          properties["WORKING_DIRECTORY"],
                                          properties.get("SKIP_RETURN_CODE", -1))
        if command[1:] and command[1].startswith("--gtest_filter="):
            tests[(command[0], rest)].append(command[1].split("=", 1)[1])
        else:
            jobs.append(Job(test["name"], tuple(command), *rest, False))
    for (program, rest), names in tests.items():
        command = (program, "--gtest_filter=" + ":".join(names))
        jobs.append(Job(Path(program).name, command, *rest, True))
    return jobs


# --- One job -------------------------------------------------------------------------------------

@dataclass(frozen=True)
class Surroundings:
    name: str
    prefix: tuple = ()
    environment: tuple = ()
    seed: int = 0  # of a random order; 0: the order of the build


def verdicts_of(job, output, status):
    """Counts what passed and what was skipped, and names what failed."""
    if not job.is_program:
        if status in (0, job.skipping):
            return Counter({"passed" if status == 0 else "skipped": 1}), []
        return Counter(), [job.name]
    found = re.findall(r"^\[ +(RUN|OK|SKIPPED|FAILED) +\] ([^\s,]+)(?:$|, .*\)$| \(\d+ ms\)$)", output,
                       re.MULTILINE)
    last = {name: verdict for verdict, name in found}
    count = Counter({"passed": list(last.values()).count("OK"),
                     "skipped": list(last.values()).count("SKIPPED")})
    failed = [f"{job.name}: {name}" for name, verdict in last.items()
              if verdict == "FAILED" or verdict == "RUN"]
    if status != 0 and not failed:
        failed = [f"{job.name}: exit status {status}"]
    return count, failed


def run_job(job, surroundings):
    """Returns what it printed and its exit status, -1 if it took too long."""
    command = [*surroundings.prefix, *job.command]
    if surroundings.seed and job.is_program:
        command += ["--gtest_shuffle", f"--gtest_random_seed={surroundings.seed}"]
    outer = {name: value for name, value in os.environ.items() if name not in LAUNCHERS}
    environment = {**outer, **dict(surroundings.environment), **dict(job.environment)}
    process = subprocess.Popen(command, cwd=job.directory, env=environment, text=True,
                               errors="replace", stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.STDOUT, start_new_session=True)
    try:
        return process.communicate(timeout=PATIENCE)[0], process.returncode
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        return process.communicate()[0] + "\nIt took too long.\n", -1


# --- A whole run ---------------------------------------------------------------------------------

def run_all(jobs, surroundings, workers):
    """Runs all jobs. Tells what failed; returns whether all went well."""
    began, lock = time.monotonic(), threading.Lock()
    counts, failures = Counter(), []
    jobs = list(jobs)
    if surroundings.seed:
        random.Random(surroundings.seed).shuffle(jobs)

    def work(job):
        output, status = run_job(job, surroundings)
        count, failed = verdicts_of(job, output, status)
        with lock:
            counts.update(count)
            failures.extend(failed)
            if failed:
                log = SCRATCH / "failures" / f"{surroundings.name} {job.name}.txt".replace("/", "-")
                log.parent.mkdir(parents=True, exist_ok=True)
                log.write_text(output)
                for name in failed:
                    say(f"FAILED {surroundings.name}: {name} ({log.relative_to(SOURCES)})")

    with ThreadPoolExecutor(workers) as pool:
        list(pool.map(work, jobs))
    say(f"{surroundings.name}: {counts['passed']} passed, {counts['skipped']} skipped, "
        f"{len(failures)} failed, {time.monotonic() - began:.0f} s")
    return not failures and counts["passed"] > 0


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
                       self.workers)

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
        programs = [job for job in self.jobs if job.is_program and job.name not in ALIKE]
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
    shutil.rmtree(SCRATCH / "failures", ignore_errors=True)
    seed = options.seed or random.choice(SEEDS)
    listed = subprocess.run(["ctest", "--show-only=json-v1"], cwd=options.build, check=True,
                            capture_output=True, text=True).stdout
    modes = Modes(jobs_of(json.loads(listed)), options.runs, seed)
    say(f"seed {seed}")
    results = [getattr(modes, mode)() for mode in options.modes or MODES]
    say("steady" if all(results) else "not steady")
    return 0 if all(results) else 1


if __name__ == "__main__":
    sys.exit(main())
