# SPDX-License-Identifier: MIT
"""The tests of a build, as ctest lists them, and how to run them in other surroundings.

The programs of GoogleTest run as they are, all their tests in one process: ctest starts a process
for each, which takes longer than most of them."""

import json
import math
import os
import random
import re
import signal
import subprocess
import threading
import time
from collections import Counter, defaultdict
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass
from pathlib import Path

SOURCES = Path(__file__).resolve().parent.parent.parent
# What keeps compilations of some checks would be written into the home directory.
LAUNCHERS = {"CMAKE_C_COMPILER_LAUNCHER", "CMAKE_CXX_COMPILER_LAUNCHER"}


def say(line):
    print(line, flush=True)


# --- What there is to run ------------------------------------------------------------------------

@dataclass(frozen=True)
class Job:
    name: str           # of the program or of the check
    command: tuple      # without the names of tests
    environment: tuple  # pairs
    directory: str
    skipping: int       # the exit status that says so
    tests: tuple = ()   # of the program; none: it is none of GoogleTest's

    def words(self):
        return [*self.command, *(["--gtest_filter=" + ":".join(self.tests)] if self.tests else [])]


def environment_of(properties):
    environment = dict(pair.split("=", 1) for pair in properties.get("ENVIRONMENT", []))
    for change in properties.get("ENVIRONMENT_MODIFICATION", []):
        name, value = change.split("=path_list_prepend:")
        environment[name] = f"{value}:{os.environ[name]}"
    return tuple(sorted(environment.items()))


def jobs_of(listed, partial=False):
    """What ctest lists, with the tests of a program together. Programs that are not built are left
    out if the build may be partial, and otherwise an error."""
    jobs, tests = [], defaultdict(list)
    for test in listed["tests"]:
        properties = {p["name"]: p["value"] for p in test["properties"]}
        if properties.get("DISABLED") or (partial and "command" not in test):
            continue
        command, rest = test["command"], (environment_of(properties),
                                          properties["WORKING_DIRECTORY"],
                                          properties.get("SKIP_RETURN_CODE", -1))
        if command[1:] and command[1].startswith("--gtest_filter="):
            tests[(command[0], rest)].append(command[1].split("=", 1)[1])
        else:  # a script may start a program, too
            jobs.append(Job(test["name"], tuple(command), *rest))
    for (program, rest), names in tests.items():
        jobs.append(Job(Path(program).name, (program,), *rest, tuple(names)))
    return jobs


def jobs_in(build, partial=False):
    listed = subprocess.run(["ctest", "--show-only=json-v1"], cwd=build, check=True,
                            capture_output=True, text=True).stdout
    return jobs_of(json.loads(listed), partial)


# --- One job -------------------------------------------------------------------------------------

@dataclass(frozen=True)
class Surroundings:
    name: str
    prefix: tuple = ()
    environment: tuple = ()
    seed: int = 0         # of a random order; 0: the order of the build
    patience: int = 1200  # seconds for a program, which may be slow beside others


def verdicts_of(job, output, status):
    """Counts what passed and what was skipped, and names what failed."""
    if not job.tests:
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
    command = [*surroundings.prefix, *job.words()]
    if surroundings.seed and job.tests:
        command += ["--gtest_shuffle", f"--gtest_random_seed={surroundings.seed}"]
    outer = {name: value for name, value in os.environ.items() if name not in LAUNCHERS}
    environment = {**outer, **dict(surroundings.environment), **dict(job.environment)}
    process = subprocess.Popen(command, cwd=job.directory, env=environment, text=True,
                               errors="replace", stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.STDOUT, start_new_session=True)
    try:
        return process.communicate(timeout=surroundings.patience)[0], process.returncode
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        return process.communicate()[0] + "\nIt took too long.\n", -1


# --- A whole run ---------------------------------------------------------------------------------

def run_all(jobs, surroundings, workers, logs, seconds=math.inf):
    """Runs all jobs, or those that begin within so many seconds. Tells what failed, with the output
    below logs; returns whether all went well."""
    began, lock = time.monotonic(), threading.Lock()
    counts, failures = Counter(), []
    jobs = list(jobs)
    if surroundings.seed:
        random.Random(surroundings.seed).shuffle(jobs)

    def work(job):
        if time.monotonic() - began > seconds:
            return
        output, status = run_job(job, surroundings)
        count, failed = verdicts_of(job, output, status)
        with lock:
            counts.update(count)
            failures.extend(failed)
            if failed:
                log = logs / f"{surroundings.name} {job.name}.txt".replace("/", "-")
                log.parent.mkdir(parents=True, exist_ok=True)
                log.write_text(output)
                for name in failed:
                    say(f"FAILED {surroundings.name}: {name} ({log.relative_to(SOURCES)})")

    with ThreadPoolExecutor(workers) as pool:
        list(pool.map(work, jobs))
    say(f"{surroundings.name}: {counts['passed']} passed, {counts['skipped']} skipped, "
        f"{len(failures)} failed, {time.monotonic() - began:.0f} s")
    return not failures and counts["passed"] > 0
