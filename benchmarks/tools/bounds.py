# SPDX-License-Identifier: MIT
"""The bounds of the curves: what an item may cost where there are very many."""

from pathlib import Path

FILE = Path(__file__).parent.parent / "bounds.txt"
FEW, MANY = 10**4, 10**5


class Bounds:
    def __init__(self, file=FILE):
        self._bounds = {}
        for line in file.read_text(encoding="utf-8").splitlines():
            if line and not line.startswith("#"):
                name, bound = [column.strip() for column in line.split("|")]
                number, unit = bound.split()
                self._bounds[name, unit] = float(number)

    def keys(self):
        return self._bounds.keys()

    def text(self, curve):
        """The bound of our curves, and whether it is kept."""
        if curve["contender"] != "ours":
            return ""
        mark = "✓" if self.is_kept(curve) else "✗"
        return f"{mark} {self._bounds[_key(curve)]:g} {_unit(curve)}"

    def is_kept(self, curve):
        return not curve["stopped"] and _cost(curve) <= self._bounds[_key(curve)]

    def broken(self, curves):
        """Our curves that go beyond."""
        return [f"{name} ({unit})" for curve in curves if curve["contender"] == "ours"
                for name, unit in [_key(curve)] if not self.is_kept(curve)]


def _unit(curve):
    return "times" if "ns_per_item" in curve["points"][0] else "bytes"


def _key(curve):
    return f"{curve['family']}/{curve['operation']}", _unit(curve)


def _cost(curve):
    if _unit(curve) == "bytes":
        return max(p["bytes_per_item"] for p in curve["points"] if p["items"] >= MANY)
    few, = (p["ns_per_item"] for p in curve["points"] if p["items"] == FEW)
    return curve["points"][-1]["ns_per_item"] / few
