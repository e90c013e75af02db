# SPDX-License-Identifier: MIT
"""Draws bars of the ratios, a picture per family, and the curves."""

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402 (the backend comes first)
from matplotlib.ticker import LogLocator, NullLocator  # noqa: E402

# Read on white as on black: nothing behind, and lines and letters in a grey between the two.
INK = "#7a7a7a"
AHEAD, BEHIND, THEIRS, GOAL = "#2a9d8f", "#e07a3f", "#8f86d6", "#d1495b"
plt.rcParams.update({
    "svg.fonttype": "none", "svg.hashsalt": "Vorn", "font.family": "sans-serif", "font.size": 9,
    "text.color": INK, "axes.labelcolor": INK, "axes.edgecolor": INK, "xtick.color": INK,
    "ytick.color": INK, "axes.spines.top": False, "axes.spines.right": False,
    "figure.constrained_layout.use": True, "legend.frameon": False,
})


def draw_all(report, goals, directory):
    for family in dict.fromkeys(e["family"] for e in report["rows"]):
        _save(_bars([e for e in report["rows"] if e["family"] == family], goals),
              directory / f"ratio-{family}.svg")
    for curves, unit, label, name in [(report.get("time_curves"), "ns_per_item", "ns", "scale-time"),
                                      (report.get("heap_curves"), "bytes_per_item", "bytes",
                                       "scale-heap")]:
        if curves:
            _save(_panels(curves, unit, label), directory / f"{name}.svg")


def _bars(entries, goals):
    figure, axes = plt.subplots(figsize=(8, 0.8 + 0.24 * len(entries)))
    best = entries[0]["route"]
    labels = [f"{e['operation']}, {e['size']}" + (f", {e['route']}" if e["route"] != best else "")
              + f" : {e['peer']}" for e in entries]
    places = range(len(entries))
    ratios = [e["ratio"] for e in entries]
    axes.barh(places, [ratio - 1 for ratio in ratios], left=1, height=0.7,
              color=[AHEAD if ratio >= 1 else BEHIND for ratio in ratios])
    wanted = [(place, goals.of(e)) for place, e in zip(places, entries) if goals.of(e)]
    axes.plot([goal for _, goal in wanted], [place for place, _ in wanted], "|", color=GOAL,
              markersize=9, markeredgewidth=2)
    for place, ratio in zip(places, ratios):
        axes.annotate(f"{ratio:.2g}", (ratio, place), (4 if ratio >= 1 else -4, 0), va="center",
                      ha="left" if ratio >= 1 else "right", textcoords="offset points")
    axes.axvline(1, color=INK, linewidth=1)
    axes.set_xscale("log")
    axes.set_yticks(list(places), labels)
    axes.invert_yaxis()
    axes.set_xlim(min(ratios + [1]) / 2, max(ratios + [goal for _, goal in wanted] + [1]) * 2)
    axes.xaxis.set_major_locator(LogLocator(subs=(1, 2, 5)))
    axes.xaxis.set_major_formatter(lambda value, _: f"{value:g}")
    axes.xaxis.set_minor_locator(NullLocator())
    axes.set_xlabel("the peer's time / ours; right of 1 ours is faster; | is the goal")
    return figure


def _panels(curves, unit, label):
    operations = list(dict.fromkeys(c["operation"] for c in curves))
    rows = (len(operations) + 2) // 3
    figure, grid = plt.subplots(rows, 3, figsize=(9, 2.1 * rows), squeeze=False)
    for axes in grid.flat[len(operations):]:
        axes.set_visible(False)
    for axes, operation in zip(grid.flat, operations):
        _panel(axes, [c for c in curves if c["operation"] == operation], unit)
        axes.set_title(f"{operation} ({label})", fontsize=8, color=INK)
    return figure


def _panel(axes, curves, unit):
    for curve, line in zip(curves, ["o-", "o--", "o:"]):
        is_ours = curve["contender"] == "ours"
        axes.plot([p["items"] for p in curve["points"]], [p[unit] for p in curve["points"]],
                  line, color=AHEAD if is_ours else THEIRS, markersize=3,
                  label=curve["contender"] + (", stopped" if curve["stopped"] else ""))
    axes.set_xscale("log")
    axes.set_yscale("log")
    low, high = axes.get_ylim()
    middle = (low * high) ** 0.5
    axes.set_ylim(min(low, middle / 10), max(high, middle * 10))  # noise is not to look like slope
    axes.legend(fontsize=7)


def _save(figure, path):
    figure.savefig(path, transparent=True, metadata={"Date": None})
    plt.close(figure)
