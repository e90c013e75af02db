# SPDX-License-Identifier: MIT
"""The units and the test programs of a build, and how to run them with one unit changed."""

import hashlib
import json
import os
import re
import shlex
import shutil
import signal
import subprocess
import sys
import threading
from collections import defaultdict
from dataclasses import dataclass, field
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
from suite import jobs_in

QUICK = 0.1  # seconds: tests that take less run before the others
FIRST_INCLUDES = re.compile(r"(?:[ \t]*(?://[^\n]*|#include [^\n]*)?\n)*")
# What a mutant does stays inside: it sees its own processes only, can write to memory only, has no
# network, and cannot set the clock.
READ_ONLY = """
awk '$6 ~ /^rw/ && $5 !~ /^\\/proc(\\/|$)/ { print $5 }' /proc/self/mountinfo | while read -r place
do
    place=$(printf '%b' "$place")
    mount -o remount,ro,bind "$place" || [ ! -w "$place" ] || exit 1
done"""
SANDBOX = [
    "unshare", *([] if os.geteuid() == 0 else ["--map-root-user"]), "--mount", "--pid", "--ipc",
    "--net", "--fork", "--kill-child", "--mount-proc", "sh", "-c",
    f"{READ_ONLY} && mount -t tmpfs tmpfs /tmp && mount -t tmpfs tmpfs /dev/shm && "
    "cd \"$1\" && shift && "
    "setpriv --bounding-set=-sys_time,-sys_boot,-sys_module \"$@\"; exit $?", "sandbox"]


@dataclass
class Object:
    """A unit as one of the targets compiles it."""
    file: Path       # the object, as the build knows it
    source: Path
    command: list    # the compiler and its arguments, without input and output
    primary: bool    # the library's own


@dataclass
class Series:
    """Tests of a program that run together."""
    program: "Program"
    name: str
    tests: list
    environment: dict
    directory: str
    seconds: float = 0


@dataclass
class Program:
    name: str
    path: Path
    link: list       # the command
    objects: set     # those of units
    series: list = field(default_factory=list)


def run(command, **options):
    return subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                          errors="replace", **options)


def finish(command, seconds, **options):
    """Runs in a sandbox. Returns what was printed and the exit status; null: it took too long."""
    # In a process group of its own: a mutant may send a signal to all of its group, which a
    # namespace does not confine.
    process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.STDOUT, text=True, errors="replace",
                               start_new_session=True, **options)
    try:
        return process.communicate(timeout=seconds)[0], process.returncode
    except subprocess.TimeoutExpired:
        process.kill()  # and with it all that is in the sandbox
        return process.communicate()[0], None


class Build:
    """A configured and built preset. If only some programs are built, `only` names them, and it is
    used as it is, without optimisation of ours."""

    def __init__(self, sources, directory, scratch, only=None):
        self.sources, self.directory, self.scratch, self.only = sources, directory, scratch, only
        self.lock = threading.Lock()
        self.reaching = threading.Lock()
        self.stripped, self.known_symbols, self.known_reached = {}, {}, {}
        self.unit_digests, self.program_digests, self.digesting = {}, {}, threading.Lock()
        self.precompiling = threading.Lock()
        self.objects = defaultdict(list)  # by unit
        self.programs = {}
        self.read_objects()
        self.read_programs()

    def read_objects(self):
        for entry in json.loads((self.directory / "compile_commands.json").read_text()):
            source = Path(entry["file"])
            if (self.sources / "Bases") not in source.parents:
                continue
            command = shlex.split(entry["command"])
            output = command[command.index("-o") + 1]
            plain = [a for a in command[:command.index("-o")] if a not in ("-g", "-g1", "-Werror")]
            primary = "VornBasesObjects" in output
            if self.only is None and "-O1" not in plain:
                plain.append("-O2")
            self.objects[str(source.relative_to(self.sources))].append(
                Object(Path(output), source, plain + ["-w"], primary))
        for objects in self.objects.values():
            objects.sort(key=lambda o: not o.primary)

    def read_programs(self):
        jobs = [job for job in jobs_in(self.directory, self.only is not None)
                if job.tests and (self.only is None or job.name in self.only)]
        units = {str(o.file) for objects in self.objects.values() for o in objects}
        links = self.link_commands({job.command[0] for job in jobs})
        for job in jobs:
            path = job.command[0]
            if job.name not in self.programs:
                link = links[path]
                self.programs[job.name] = Program(job.name, Path(path), link, set(link) & units)
            program = self.programs[job.name]
            name = " ".join("=".join(pair) for pair in job.environment)
            program.series.append(Series(program, name, list(job.tests), dict(job.environment),
                                         job.directory))

    def link_commands(self, paths):
        paths = {str(Path(p).relative_to(self.directory)): p for p in paths}
        printed = run(["ninja", "-t", "commands", *paths], cwd=self.directory).stdout
        links = {}
        for line in printed.splitlines():
            found = re.search(r" -o (\S+) ", line)
            if found and found[1] in paths:
                links[paths[found[1]]] = shlex.split(line.removeprefix(": && ")
                                                     .removesuffix(" && :"))
        return links

    def lean(self, name):
        """The object or archive without what only debuggers read."""
        with self.lock:
            if name not in self.stripped:
                original = self.directory / name
                copy = self.scratch / "lean" / name
                copy.parent.mkdir(parents=True, exist_ok=True)
                if not copy.exists() or copy.stat().st_mtime < original.stat().st_mtime:
                    run(["objcopy", "--strip-debug", original, copy], check=True)
                self.stripped[name] = str(copy)
            return self.stripped[name]

    def symbols(self, name):
        """What an object defines and what it needs."""
        if name not in self.known_symbols:
            defined, needed = set(), set()
            for line in run(["nm", "--extern-only", self.lean(name)]).stdout.splitlines():
                kind, symbol = line.split()[-2:]
                (needed if kind in "Uvw" else defined).add(symbol.removeprefix("__wrap_"))
            self.known_symbols[name] = defined, needed
        return self.known_symbols[name]

    def reached(self, program):
        """The units' objects that the program's tests can reach, by the linker's symbols."""
        with self.reaching:
            if program.name not in self.known_reached:
                parts = [w for w in program.link if w.endswith(".o")]
                found = [w for w in parts if w not in program.objects]
                needed = set().union(*(self.symbols(w)[1] for w in found))
                rest = set(program.objects)
                while True:
                    more = {w for w in rest if self.symbols(w)[0] & needed}
                    if not more:
                        break
                    rest -= more
                    needed |= set().union(*(self.symbols(w)[1] for w in more))
                self.known_reached[program.name] = program.objects - rest
            return self.known_reached[program.name]

    def unit_digest(self, unit):
        """Changes with the unit, with what it includes and with how it is compiled; not with
        comments."""
        with self.digesting:
            if unit not in self.unit_digests:
                digest = hashlib.sha1()
                for obj in self.objects[unit]:
                    text = run([*obj.command, "-E", "-P", obj.source], cwd=self.directory,
                               check=True).stdout
                    digest.update(repr((obj.command, text)).encode())
                self.unit_digests[unit] = digest.hexdigest()
            return self.unit_digests[unit]

    def program_digest(self, name):
        """Changes with the tests of the program and with what they share, not with the library."""
        with self.digesting:
            if name not in self.program_digests:
                program, digest = self.programs[name], hashlib.sha1()
                for word in program.link:
                    own = word.endswith(".o") or (word.endswith(".a") and not word.startswith("/"))
                    if own and word not in program.objects:
                        digest.update(Path(self.lean(word)).read_bytes())
                self.program_digests[name] = digest.hexdigest()
            return self.program_digests[name]

    def headers(self, obj):
        """What the unit includes first of all, precompiled: most of a mutant's time went there.
        Null for objects whose command includes something before it."""
        if "-include" in obj.command:
            return None
        unit = obj.source.relative_to(self.sources)
        digest = self.unit_digest(str(unit))
        with self.precompiling:
            kept = self.scratch / "headers" / str(obj.file).replace("/", "!")
            header = kept / f"{digest}.h"
            if not header.exists():
                shutil.rmtree(kept, ignore_errors=True)
                kept.mkdir(parents=True)
                text = FIRST_INCLUDES.match(obj.source.read_text())[0]
                (kept / "draft.h").write_text(text)
                run([*obj.command, "-iquote", obj.source.parent, "-x", "c++-header",
                     kept / "draft.h", "-o", f"{header}.gch"], cwd=self.directory, check=True)
                header.write_text(text)
            return header

    def compile(self, obj, text, directory):
        """Compiles the unit with this text. Returns the object; null: it does not compile."""
        unit = obj.source.relative_to(self.sources)
        source, output = directory / unit, directory / f"{obj.file.name}.{len(str(obj.file))}.o"
        source.parent.mkdir(parents=True, exist_ok=True)
        source.write_bytes(b'#line 1 "%s"\n' % str(obj.source).encode() + text)
        headers = self.headers(obj)
        # Some units include themselves, by their name below the sources.
        command = obj.command[:1] + (["-include", headers] if headers else [])
        command += ["-I", directory, "-iquote", obj.source.parent]
        command += obj.command[1:] + ["-o", output, "-c", source]
        return output if run(command, cwd=self.directory).returncode == 0 else None

    def link(self, program, obj, compiled, output):
        """Links the program with another object in the place of the unit's, or as it is."""
        command = []
        for word in program.link:
            if obj and word == str(obj.file):
                word = str(compiled)
            elif word.endswith(".o") or (word.endswith(".a") and not word.startswith("/")):
                word = self.lean(word)
            elif word == str(program.path.relative_to(self.directory)):
                word = str(output)
            command.append(word)
        command[1:1] = ["-fuse-ld=lld", "-Wl,--threads=1"]
        return run(command, cwd=self.directory).returncode == 0


def environment_of(series):
    return {**os.environ, **series.environment, "TMPDIR": "/tmp", "GTEST_BRIEF": "1"}


def run_series(executable, series):
    """Returns null if all tests pass, otherwise which failed, or that they took too long. Whoever
    spins is over sooner than whoever waits, since processor time does not depend on the load."""
    out, status = finish(
        [*SANDBOX, series.directory, "prlimit", f"--cpu={3 + int(10 * series.seconds)}:",
         str(executable), "--gtest_fail_fast", "--gtest_filter=" + ":".join(series.tests)],
        10 + 10 * series.seconds, env=environment_of(series))
    if status == 0:
        return None
    if status in (None, 128 + signal.SIGXCPU):
        return "time-out"
    failed = re.findall(r"\[  FAILED  \] (\S+?)[ ,]", out)
    return failed[0] if failed else f"status {status}"


def measured(executable, series):
    """Splits a series into quick and slow tests, and names those that do not pass like this."""
    out, _ = finish([*SANDBOX, series.directory, str(executable),
                     "--gtest_filter=" + ":".join(series.tests)],
                    600, env={**environment_of(series), "GTEST_BRIEF": "0"})
    times = {name: int(ms) / 1000 for name, ms in
             re.findall(r"\[       OK \] (\S+?)(?:, where .*)? \((\d+) ms\)", out)}
    parts = []
    for slow in (False, True):
        tests = [t for t in series.tests if t in times and (times[t] >= QUICK) == slow]
        if tests:
            parts.append(Series(series.program, series.name + (" slow" if slow else ""),
                                sorted(tests, key=times.get), series.environment,
                                series.directory, sum(times[t] for t in tests)))
    lost = [t for t in series.tests if t not in times and f"[  SKIPPED ] {t}" not in out]
    return parts, lost
