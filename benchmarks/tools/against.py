# SPDX-License-Identifier: MIT
"""Compares two builds of the library by the times of one and the same program."""

import random
import statistics
import time

from scipy.stats import mannwhitneyu

import measure

SLOWER = 1.10  # what is slower by less is not looked at
CERTAINTY = 0.01
ROUNDS = 9
FEWEST_ROUNDS = 5  # on a machine too busy for more; as few can give that certainty
ENOUGH_SECONDS = 8  # for a measurement; then no more than the fewest rounds
REPETITIONS = 3  # in each process, whose quickest counts: what disturbs one only adds to its time
SECONDS = 0.02


def find_slower(rows, old_library, new_library, say):
    """Returns the names of the rows in which the new library is slower, in two measurements.

    Wall-clock rows are left out: between threads the time varies by more than what is looked for.
    """
    slower = []
    for row in [row for row in rows if not row.is_wall_time]:
        ratio, is_slower = _measure(row, old_library, new_library)
        if is_slower:
            ratio, is_slower = _measure(row, old_library, new_library)
        say(f"{row.name}: {ratio:.2f} of the earlier time{', SLOWER' if is_slower else ''}")
        if is_slower:
            slower.append(row.name)
    return slower


def doubt(old, new):
    """How likely times like these are if the new ones are slower by no more than is allowed."""
    return mannwhitneyu(new, [SLOWER * old_time for old_time in old], alternative="greater").pvalue


def _measure(row, old_library, new_library):
    times = {old_library: [], new_library: []}
    deadline = time.monotonic() + ENOUGH_SECONDS
    for done in range(ROUNDS):
        if done >= FEWEST_ROUNDS and time.monotonic() > deadline:
            break
        for library in random.sample(list(times), len(times)):
            found, _ = measure.samples(row, repetitions=REPETITIONS, seconds=SECONDS,
                                       contender="ours", library=library)
            times[library].append(min(measure.nanoseconds(e) for e in found["ours"]))
    old, new = times[old_library], times[new_library]
    return statistics.median(new) / statistics.median(old), doubt(old, new) < CERTAINTY
