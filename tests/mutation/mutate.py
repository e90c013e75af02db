# SPDX-License-Identifier: MIT
"""Changes the library in one place at a time and looks whether a test notices (./dev mutate).

docs/testing.md tells what is changed and what the figures mean."""

import argparse
import fnmatch
import hashlib
import json
import os
import pickle
import random
import re
import sys
import threading
import time
from collections import Counter, defaultdict
from concurrent.futures import ThreadPoolExecutor
from dataclasses import replace
from pathlib import Path

import canary
from equivalents import read_equivalents
from mutants import lacks_a_lock, mutants_of
from programs import Build, measured, run, run_series

HERE = Path(__file__).resolve().parent
SOURCES = HERE.parent.parent
GOAL = 99.0  # per cent
OUTCOMES = ("killed", "survived", "equal object", "does not compile")


def say(line):
    print(line, flush=True)


def arguments():
    parser = argparse.ArgumentParser(prog="./dev mutate", description=__doc__.splitlines()[0])
    parser.add_argument("files", nargs="*", metavar="FILE", help="units; none: all")
    parser.add_argument("--all", action="store_true",
                        help="every mutant, except for those whose verdict is known and holds")
    parser.add_argument("--seed", type=int, help="which sample")
    parser.add_argument("--minutes", type=float, help="at most (20; with --all without end)")
    parser.add_argument("--only", metavar="TEXT", help="only mutants with the text in their line")
    parser.add_argument("--own", action="store_true",
                        help="ask the unit's own tests only and no sanitizer: more survive")
    parser.add_argument("--jobs", type=int, default=len(os.sched_getaffinity(0)), metavar="N",
                        help="how many at a time (one for each processor)")
    parser.add_argument("--list", action="store_true", help="tell the mutants, try none")
    parser.add_argument("--build", type=Path, required=True, help=argparse.SUPPRESS)
    return parser.parse_args()


def pairs_of_the_architecture():
    """Patterns of units with those of the programs that test them, from the page's table."""
    text = (SOURCES / "docs/architecture.md").read_text()
    table = text.split("## From behaviour to unit to test")[1].split("\n## ")[0]
    rows = [line.split("|") for line in table.splitlines() if line.startswith("|")]
    return [(re.findall("`([^`]+)`", row[2]), re.findall("`([^`]+)`", row[3])) for row in rows]


class DoesNotLink(Exception):
    """A program with a mutant that lacks a symbol."""


class Judge:
    """Tries mutants."""

    def __init__(self, build, scratch):
        self.build, self.scratch = build, scratch
        self.pairs = pairs_of_the_architecture()
        self.locks = defaultdict(threading.Lock)
        self.baseline = scratch / "baseline"
        self.baseline.mkdir(parents=True, exist_ok=True)
        self.sanitizers = {}

    def try_mutant(self, mutant, source, directory, only_own=False):
        """Returns the outcome, and by what the mutant was killed."""
        first = self.build.objects[mutant.unit][0]
        changed = self.build.compile(first, mutant.apply(source), directory)
        if changed is None:
            return "does not compile", ""
        if changed.read_bytes() == self.original(first, source):
            return "equal object", ""
        try:
            killer = self.killer(mutant, source, directory, {first.file: changed}, only_own)
        except DoesNotLink as program:
            return "does not compile", f"{program} does not link"
        return ("survived", "") if killer is None else ("killed", killer)

    def killer(self, mutant, source, directory, compiled, only_own):
        """What notices the mutant; null: nothing does."""
        obj = self.build.objects[mutant.unit][0]
        if mutant.kind == "lock" and lacks_a_lock(obj.source, mutant.apply(source).decode(),
                                                  clang_arguments(obj)):
            return "Clang, which checks locks"
        own, others = self.stages(self.build, mutant.unit, only_own)
        killer = self.ask(self.build, mutant, source, directory, own, compiled)
        for preset in () if only_own else ("asan", "tsan"):
            if killer is None:
                sanitized = self.sanitized(preset, mutant.unit)
                watched, _ = self.stages(sanitized, mutant.unit, True)
                killer = self.ask(sanitized, mutant, source, directory / preset, watched, {})
        if killer is None:
            killer = self.ask(self.build, mutant, source, directory, others, compiled)
        return killer

    def original(self, obj, source):
        with self.locks[obj.file]:
            path = self.scratch / "original" / hashlib.sha1(str(obj.file).encode()).hexdigest()
            kept = path / "object"
            unit = str(obj.source.relative_to(SOURCES))
            digest = hashlib.sha1(source + self.build.unit_digest(unit).encode()).hexdigest()
            if not kept.exists() or (path / "digest").read_text() != digest:
                compiled = self.build.compile(obj, source, path)
                if compiled is None:
                    raise SystemExit(f"{obj.source} does not compile unchanged")
                kept.write_bytes(compiled.read_bytes())
                (path / "digest").write_text(digest)
            return kept.read_bytes()

    def stages(self, build, unit, only_own):
        """The unit's own programs, and all others that reach it, each with the object it takes."""
        pairs = [(p, o) for o in build.objects[unit] for p in build.programs.values()
                 if str(o.file) in build.reached(p)]
        own = [pair for pair in pairs if self.is_own(pair[0], unit)]
        return own, [] if only_own else [pair for pair in pairs if pair not in own]

    def ask(self, build, mutant, source, directory, pairs, compiled):
        """Runs the programs' tests, the quick ones first. Stops at a failure. Objects of the mutant
        that are there already are given."""
        linked = {}
        series = [(s, o) for p, o in pairs for s in self.prepared(build, p)]
        series.sort(key=lambda so: (so[0].name.endswith("slow"), so[0].seconds))
        for one, obj in series:
            if obj.file not in compiled:
                compiled[obj.file] = build.compile(obj, mutant.apply(source), directory)
            if compiled[obj.file] is None:
                continue
            name = one.program.name
            if name not in linked:
                linked[name] = directory / name
                if not build.link(one.program, obj, compiled[obj.file], linked[name]):
                    raise DoesNotLink(name)
            failed = run_series(linked[name], one)
            if failed:
                return f"{name}: {failed}"
        for path in linked.values():
            path.unlink(missing_ok=True)
        return None

    def is_own(self, program, unit):
        stem = unit.removeprefix("Bases/").removeprefix("Impl/").removesuffix(".cpp")
        name = program.name.removesuffix("OnMac")
        return any(
            any(fnmatch.fnmatch(stem, u) or fnmatch.fnmatch(stem, u + "_*") for u in units)
            and any(fnmatch.fnmatch(name, t) for t in tests) for units, tests in self.pairs)

    def prepared(self, build, program):
        """The program's series with what they take, measured once for each state of the program."""
        with self.locks[program.path]:
            kept = self.baseline / f"{build.directory.name}-{program.name}"
            if not kept.exists() or kept.stat().st_mtime < program.path.stat().st_mtime:
                executable = self.scratch / "unchanged" / program.name
                executable.parent.mkdir(exist_ok=True)
                if not build.link(program, None, None, executable):
                    raise SystemExit(f"{program.name} does not link")
                parts = []
                for series in program.series:
                    found, lost = measured(executable, series)
                    parts += found
                    if lost:
                        say(f"not asked, as it does not pass unchanged here: "
                            f"{program.name}: {' '.join(lost)}")
                executable.unlink()
                kept.write_bytes(pickle.dumps([replace(p, program=None) for p in parts]))
            parts = pickle.loads(kept.read_bytes())
        return [replace(p, program=program) for p in parts]

    def sanitized(self, preset, unit):
        """The build for a sanitizer, with the unit's own programs."""
        with self.locks[preset]:
            if (preset, unit) not in self.sanitizers:
                directory = SOURCES / "build" / preset
                names = [p.name for p in self.build.programs.values()
                         if self.is_own(p, unit) and "schedules" not in str(p.path)]
                done = run(["cmake", "--preset", preset], cwd=SOURCES).returncode == 0 and \
                    run(["cmake", "--build", directory, "--target", *names],
                        cwd=SOURCES).returncode == 0
                if not done:
                    raise SystemExit(f"the preset {preset} does not build")
                self.sanitizers[preset, unit] = Build(SOURCES, directory, self.scratch / preset,
                                                      names)
            return self.sanitizers[preset, unit]


def clang_arguments(obj):
    """What the analysing compiler needs of the other one's arguments."""
    kept, words = [], iter(obj.command[1:])
    for word in words:
        if word in ("-isystem", "-idirafter", "-include", "-I"):
            kept += [word, next(words)]
        elif word.startswith(("-D", "-I", "-std", "-m", "-isystem")):
            # The name that Clang 14 knows it by, and later ones still do.
            kept.append(word.replace("++23", "++2b"))
    return kept


def instructions_lacking(obj):
    """What the unit is compiled for and this processor has not: the tests of the unit skip it."""
    present = set(Path("/proc/cpuinfo").read_text().replace("_", "").split())
    needed = {word.removeprefix("-m") for word in obj.command if re.match("-m(avx|gfni)", word)}
    return sorted(needed - present)


def runnable_units(build, units):
    found = []
    for unit in units:
        lacking = instructions_lacking(build.objects[unit][0])
        if lacking:
            say(f"not tried: {unit}, since this processor lacks {' '.join(lacking)}")
        else:
            found.append(unit)
    return found


def all_mutants(build, units, scratch):
    """Each unit's mutants. They are kept, since reading the units takes half a minute."""
    found, script = {}, (HERE / "mutants.py").read_bytes()
    for unit in units:
        obj = build.objects[unit][0]
        digest = hashlib.sha1(obj.source.read_bytes() + script).hexdigest()
        kept = scratch / "mutants" / digest
        if not kept.exists():
            kept.parent.mkdir(parents=True, exist_ok=True)
            try:
                kept.write_bytes(pickle.dumps(mutants_of(unit, obj.source, clang_arguments(obj))))
            except SystemExit as unreadable:
                say(f"left out: {unreadable}")
                continue
        found[unit] = pickle.loads(kept.read_bytes())
    return found


class Record:
    """The verdicts, so that a run with --all goes on where others ended. One holds as long as the
    unit and what its judges are made of are the same: the killer's tests, or all those that the
    mutant survived."""

    def __init__(self, path, judge, only_own):
        self.path, self.judge, self.build, self.only_own = path, judge, judge.build, only_own
        self.known, self.lock = {}, threading.Lock()
        for line in path.read_text().splitlines() if path.exists() else []:
            key, *verdict = json.loads(line)
            self.known[tuple(key)] = verdict

    def judges(self, mutant, outcome, killer):
        names = re.findall("^[A-Za-z0-9]+", killer)
        if outcome == "survived":
            stages = self.judge.stages(self.build, mutant.unit, self.only_own)
            names = sorted({program.name for stage in stages for program, _ in stage})
        digests = [self.build.program_digest(n) for n in names if n in self.build.programs]
        return hashlib.sha1(" ".join(digests).encode()).hexdigest()

    def verdict(self, mutant):
        """The outcome and the killer; null: to be tried."""
        outcome, killer, unit, judges = self.known.get(mutant.key(), ("", "", "", ""))
        if unit != self.build.unit_digest(mutant.unit):
            return None
        return (outcome, killer) if judges == self.judges(mutant, outcome, killer) else None

    def note(self, mutant, outcome, killer):
        line = json.dumps([mutant.key(), outcome, killer, self.build.unit_digest(mutant.unit),
                           self.judges(mutant, outcome, killer)])
        with self.lock, self.path.open("a") as file:
            file.write(line + "\n")


def print_table(title, counts):
    say(f"\n{title:42}" + "".join(f"{o:>17}" for o in OUTCOMES))
    for name in sorted(counts):
        say(f"{name:42}" + "".join(f"{counts[name][o]:17}" for o in OUTCOMES))


def report(results, listed):
    kinds, units = defaultdict(Counter), defaultdict(Counter)
    for mutant, (outcome, _) in results.items():
        kinds[mutant.kind][outcome] += 1
        units[mutant.unit][outcome] += 1
    print_table("kind", kinds)
    print_table("unit", units)
    total = sum(kinds.values(), Counter())
    behaving = total["killed"] + total["survived"]
    rate = 100.0 * total["killed"] / behaving if behaving else 100.0
    slow = sum(killer.endswith("time-out") for _, killer in results.values())
    say(f"\n{total['killed']} of {behaving} that change behaviour killed, {rate:.1f} % "
        f"({slow} of them by time-out); {total['equal object']} with an equal object, "
        f"{total['does not compile']} that do not compile, {listed} listed as equivalent")
    for mutant, (outcome, _) in sorted(results.items(), key=lambda r: (r[0].unit, r[0].begin)):
        if outcome == "survived":
            say(f"survived, at line {mutant.line}:\n  unit: {mutant.unit}\n  in: {mutant.function}"
                f"\n  line: {mutant.text}\n  change: {mutant.change}")
    return rate >= GOAL


def choose_units(build, files):
    names = {str(Path(f).resolve().relative_to(SOURCES)) if Path(f).exists() else f for f in files}
    unknown = names - set(build.objects)
    if unknown:
        raise SystemExit(f"no such unit: {' '.join(sorted(unknown))}")
    return sorted(names or build.objects)


def try_all(judge, mutants, deadline, record, jobs):
    """Tries one mutant after the other, several at a time, until the time is over."""
    results, left, lock = {}, iter(mutants), threading.Lock()

    def work(number):
        directory = judge.scratch / f"worker{number}"
        while time.monotonic() < deadline:
            with lock:
                mutant = next(left, None)
            if mutant is None:
                return
            source = judge.build.objects[mutant.unit][0].source.read_bytes()
            outcome = judge.try_mutant(mutant, source, directory, record.only_own)
            record.note(mutant, *outcome)
            with lock:
                results[mutant] = outcome
                if outcome[0] == "survived":
                    say(f"{len(results)}: survived: {mutant.unit}:{mutant.line}: {mutant.change}")

    with ThreadPoolExecutor(jobs) as pool:
        list(pool.map(work, range(jobs)))
    return results


def main():
    options = arguments()
    scratch = SOURCES / "build/mutate"
    scratch.mkdir(parents=True, exist_ok=True)
    build = Build(SOURCES, options.build.resolve(), scratch)
    judge = Judge(build, scratch)
    units = runnable_units(build, choose_units(build, options.files))
    by_unit = all_mutants(build, units, scratch)
    equivalents = read_equivalents(HERE / "equivalent.txt")
    keys = {m.key() for found in by_unit.values() for m in found}
    left_out = [unit for unit in units if unit not in by_unit]
    stale = [key for key in equivalents
             if key not in keys and (key[0] in by_unit or key[0] not in build.objects)]
    for key in stale:
        say(f"no mutant is like this one of equivalent.txt: {' | '.join(key)}")
    mutants = [m for found in by_unit.values() for m in found if m.key() not in equivalents]
    listed = sum(len(found) for found in by_unit.values()) - len(mutants)
    if options.only:
        mutants = [m for m in mutants if options.only in m.text]
    if options.list:
        for m in mutants:
            say(f"{m.unit}:{m.line}: {m.kind}: {m.change}")
        return 0
    if not canary.sings(judge):
        return 1
    seed = random.randrange(10**6) if options.seed is None else options.seed
    random.Random(seed).shuffle(mutants)
    record = Record(scratch / "verdicts.jsonl", judge, options.own)
    say(f"{len(mutants)} mutants; seed {seed}")
    known = {}
    if options.all:
        known = {m: v for m, v in ((m, record.verdict(m)) for m in mutants) if v}
        say(f"{len(known)} of them known")
    minutes = options.minutes or (float("inf") if options.all else 20)
    deadline = time.monotonic() + 60 * minutes
    unknown = [m for m in mutants if m not in known]
    results = known | try_all(judge, unknown, deadline, record, options.jobs)
    good = report(results, listed)
    say(f"{len(results)} of {len(mutants)} mutants tried; again with --seed {seed}")
    if not results:
        say("no mutant was tried")
    return 0 if good and results and not stale and not left_out else 1


if __name__ == "__main__":
    sys.exit(main())
