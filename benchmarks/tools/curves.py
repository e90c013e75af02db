# SPDX-License-Identifier: MIT
"""Measures how the cost of an item changes with their number."""

import subprocess

import measure

LONGEST_CALL = 2e9  # ns; what takes longer is not tried with ten times as many items
TIMEOUT = 300  # s, for all repetitions of one point and what they need, such as a million files


def time_curves(rows, route, say):
    """Returns a curve for each contender of each operation: points of items and ns per item."""
    return [curve for group in _by_operation(rows)
            for contender in group[0].contenders
            for curve in [_curve(group, contender, "ns_per_item", _time_point, route, say)]]


def heap_curves(rows, route, say):
    """The same with bytes of heap per item."""
    return [curve for group in _by_operation(rows)
            for contender in group[0].contenders
            for curve in [_curve(group, contender, "bytes_per_item", _heap_point, route, say)]]


def _by_operation(rows):
    groups = {}
    for row in rows:
        groups.setdefault((row.family, row.operation), []).append(row)
    return groups.values()


def _curve(group, contender, unit, point, route, say):
    points = []
    stopped = False
    for row in group:
        items = int(row.size.replace(",", ""))
        try:
            value, whole = point(row, items, contender, route)
        except subprocess.TimeoutExpired:
            stopped = True
            break
        points.append({"items": items, unit: value})
        if whole > LONGEST_CALL and row is not group[-1]:
            stopped = True
            break
    say(f"{group[0].family}/{group[0].operation} {contender}: "
        + " ".join(f"{p[unit]:.4g}" for p in points) + (" stopped" if stopped else ""))
    return {"family": group[0].family, "operation": group[0].operation, "contender": contender,
            "points": points, "stopped": stopped}


def _time_point(row, items, contender, route):
    entries = _entries(row, contender, route, repetitions=3)
    value = min(measure.nanoseconds(e) for e in entries)
    return value, value * entries[0]["items"]


def _heap_point(row, items, contender, route):
    (entry,) = _entries(row, contender, route, repetitions=1)
    return entry["bytes"] / items, entry["real_time"]


def _entries(row, contender, route, repetitions):
    found, _ = measure.samples(row, repetitions=repetitions, seconds=0.01, route=route,
                               contender=contender, timeout=TIMEOUT)
    return found[contender]
