"""The goals of the table: what ratio to which peer is wanted, by the library's route."""

from pathlib import Path

FILE = Path(__file__).parent.parent / "goals.txt"


class Goals:
    def __init__(self, file=FILE):
        self._goals = {}
        self.guarded = set()  # names of the rows that --against --small compares
        for line in file.read_text(encoding="utf-8").splitlines():
            if line and not line.startswith("#"):
                self._add(*[column.strip() for column in line.split("|")])

    def _add(self, name, peer, goals, mark=""):
        by_route = {}
        for goal in filter(None, goals.split(",")):
            ratio, route = goal.split()
            by_route[route] = float(ratio)
        self._goals[name, peer] = by_route
        if mark == "*":
            self.guarded.add(name)

    def keys(self):
        return self._goals.keys()

    def of(self, entry):
        """The ratio that is wanted of the entry's route, or None."""
        goals = self._all(entry)
        return goals.get(entry["route"], goals.get("any"))

    def text(self, entry):
        """All goals of the entry's row."""
        goals = self._all(entry)
        return ", ".join(f"{ratio:g}" + (f" {route}" if route != "any" else "")
                         for route, ratio in goals.items())

    def _all(self, entry):
        name = f"{entry['family']}/{entry['operation']}/{entry['size']}"
        return self._goals.get((name, entry["peer"]), {})
