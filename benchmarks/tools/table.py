# SPDX-License-Identifier: MIT
"""The table of the rows, for a terminal and for a page."""


def as_text(entries, goals):
    lines = [f"{'row':<54} {'route':<11} {'peer':<34} {'ours':>9} {'peer':>9} {'ratio':>7} {'':2}goal"]
    for entry in entries:
        name = f"{entry['operation']}, {entry['size']}"
        lines.append(f"{name:<54} {entry['route']:<11} {entry['peer']:<34} {time_text(entry['ours_ns']):>9} "
                     f"{time_text(entry['peer_ns']):>9} {ratio_text(entry['ratio']):>7} "
                     f"{_mark(entry, goals):2}{goals.text(entry)}")
    reached, wanted = count(entries, goals)
    lines.append(f"{reached} of {wanted} goals reached")
    return "\n".join(lines)


def as_markdown(entries, goals):
    lines = []
    for family in dict.fromkeys(entry["family"] for entry in entries):
        lines += [f"### {family.capitalize()}", "", "| Operation | Size | Route | Peer | Ours | Peer's | Ratio | Goal |",
                  "|---|---|---|---|---:|---:|---:|---|"]
        for entry in [e for e in entries if e["family"] == family]:
            lines.append("| " + " | ".join([
                entry["operation"], entry["size"], entry["route"], entry["peer"], time_text(entry["ours_ns"]),
                time_text(entry["peer_ns"]), ratio_text(entry["ratio"]),
                (_mark(entry, goals) + " " + goals.text(entry)).strip()]) + " |")
        lines.append("")
    return "\n".join(lines)


def curves_as_markdown(curves, unit, bounds):
    sizes = sorted({p["items"] for c in curves for p in c["points"]})
    lines = ["| | | " + " | ".join(f"10^{len(str(size)) - 1}" for size in sizes) + " | Bound |",
             "|---|---|" + "---:|" * len(sizes) + "---|"]
    for curve in curves:
        values = {p["items"]: f"{p[unit]:.3g}" for p in curve["points"]}
        rest = "stopped" if curve["stopped"] else ""
        lines.append(f"| {curve['operation']} | {curve['contender']} | "
                     + " | ".join(values.get(size, rest) for size in sizes)
                     + f" | {bounds.text(curve)} |")
    return "\n".join(lines)


def count(entries, goals):
    """How many of the goals are reached, and how many there are."""
    wanted = [e for e in entries if goals.of(e) is not None]
    return sum(e["ratio"] >= goals.of(e) for e in wanted), len(wanted)


def time_text(nanoseconds):
    for unit in ["ns", "us", "ms"]:
        if nanoseconds < 1000:
            return f"{nanoseconds:.3g} {unit}"
        nanoseconds /= 1000
    return f"{nanoseconds:.3g} s"


def ratio_text(ratio):
    return f"{ratio:.4f}" if ratio < 0.01 else f"{ratio:.2f}"


def _mark(entry, goals):
    goal = goals.of(entry)
    if goal is None:
        return ""
    return "✓" if entry["ratio"] >= goal else "✗"
