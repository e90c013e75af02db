# SPDX-License-Identifier: MIT
"""Mutants whose outcome is known, one for each: whoever cannot tell them apart proves nothing."""

from mutants import Mutant, lacks_a_lock
from programs import SANDBOX, run

UNIT = "Bases/Impl/Endian.cpp"
# No test calls this function; `killed` is tried on the unit's first one, which all of its tests
# call.
UNTESTED = b"""
int VornMutationCanary(int value);
int VornMutationCanary(int value) { return value + 1; }
"""
PLANTED = ((b"value + 1", "value + 2", "survived"), (b"value + 1", "1 + value", "equal object"),
           (b"value + 1", "no + 1", "does not compile"))

UNLOCKED = """
struct __attribute__((capability("mutex"))) Mutex {} mutex;
int value __attribute__((guarded_by(mutex)));
int Value() { return value; }
"""


def planted(source, old, new):
    begin = source.rindex(old)
    return Mutant(UNIT, "", "canary", 0, "", "", begin, begin + len(old), new)


def is_shut_in(directory):
    """Whether what runs like a mutant cannot write into the directory."""
    return run([*SANDBOX, str(directory), "sh", "-c", "! touch canary.written"]).returncode == 0


def sings(judge):
    """Whether each has the outcome that it should, and no mutant could write into the sources."""
    if not is_shut_in(judge.scratch):
        print("mutants can write where the sources are", flush=True)
        return False
    if not lacks_a_lock("unlocked.cpp", UNLOCKED, []):
        print("a lock that is left out is not noticed", flush=True)
        return False
    source = judge.build.objects[UNIT][0].source.read_bytes() + UNTESTED
    cases = [(planted(source, *case[:2]), case[2]) for case in PLANTED]
    begin = source.index(b"return ") + len(b"return ")
    end = source.index(b";", begin)
    cases.append((Mutant(UNIT, "", "canary", 0, "", "", begin, end, "{}"), "killed"))
    for mutant, expected in cases:
        outcome, _ = judge.try_mutant(mutant, source, judge.scratch / "canary", only_own=True)
        if outcome != expected:
            print(f"the canary `{mutant.new}` is {outcome}, not {expected}", flush=True)
            return False
    return True
