# SPDX-License-Identifier: MIT
"""The goals of the table: what ratio to which peer is wanted, by the library's route."""

import re
from pathlib import Path

FILE = Path(__file__).parent.parent / "goals.txt"
TABLE = Path(__file__).parent.parent.parent / "Bases/Impl/Route/Route.h"
ROUTES = re.findall(r'\{Route::\w+, "(\w+)"\}', TABLE.read_text(encoding="utf-8"))


class Goals:
    def __init__(self, file=FILE):
        self._goals = {}
        self.guarded = set()  # names of the rows that --against --small compares
        for line in file.read_text(encoding="utf-8").splitlines():
            if line and not line.startswith("#"):
                self._add(*[column.strip() for column in line.split("|")])

    def _add(self, name, peer, goals, mark=""):
        by_route = {}
        for goal in goals.split(","):
            ratio, route = (goal.split() + ["portable"])[:2]
            by_route[ROUTES.index(route)] = float(ratio)
        self._goals[name, peer] = by_route
        if mark == "*":
            self.guarded.add(name)

    def keys(self):
        return self._goals.keys()

    def of(self, entry):
        """The ratio that is wanted of the entry's route, or None."""
        goals = self._all(entry)
        route = max((r for r in goals if r <= ROUTES.index(entry["route"])), default=None)
        return goals.get(route)

    def routes(self, name):
        """The routes that the row has a goal of its own for, if there is more than one goal."""
        routes = {route for (row, _), goals in self._goals.items() if row == name
                  for route in goals if len(goals) > 1}
        return [ROUTES[route] for route in sorted(routes)]

    def text(self, entry):
        goal = self.of(entry)
        return "" if goal is None else f"{goal:g}"

    def _all(self, entry):
        name = f"{entry['family']}/{entry['operation']}/{entry['size']}"
        return self._goals.get((name, entry["peer"]), {})
