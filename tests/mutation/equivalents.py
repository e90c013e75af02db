# SPDX-License-Identifier: MIT
"""The list of mutants that behave as the original does, each with its reason."""

FIELDS = ("unit", "in", "line", "change", "why")


def read_equivalents(path):
    """Returns the reasons by the mutants' keys. An entry may have several changes."""
    reasons = {}
    for block in path.read_text().split("\n\n"):
        lines = [line for line in block.splitlines() if line and not line.startswith("#")]
        if not lines:
            continue
        entry = {name: [] for name in FIELDS}
        for line in lines:
            if line.startswith("  "):
                entry[name][-1] += " " + line.strip()
                continue
            name, _, value = line.partition(":")
            if name not in FIELDS:
                raise SystemExit(f"{path}: not understood: {line}")
            entry[name].append(value.strip())
        if not all(entry[name] for name in FIELDS):
            raise SystemExit(f"{path}: incomplete: {block}")
        for change in entry["change"]:
            key = (entry["unit"][0], entry["in"][0], entry["line"][0], change)
            reasons[key] = entry["why"][0]
    return reasons
