# SPDX-License-Identifier: MIT
"""What stands beside the figures: the machine, the compiler, the peers' versions."""

import json
import os
import platform
import subprocess

PEERS = ["libssl3", "libboost-dev", "libfmt9", "libpocofoundation80", "libglib2.0-0", "libuuid1",
         "libpugixml1v5", "libxml2", "libc6", "libstdc++6", "libbenchmark1debian"]
EXTENSIONS = ["ssse3", "sse4_1", "popcnt", "aes", "avx2", "vaes", "gfni", "avx512f", "avx512vbmi"]


def describe(build_directory, source_directory):
    build = json.loads((build_directory / "benchmarks/build.json").read_text())
    return {
        "machine": _machine(),
        "compiler": build["compiler"],
        "flags": build["flags"],
        "peers": _versions(),
        "revision": _output("git", "-C", source_directory, "describe", "--always", "--dirty"),
    }


def _machine():
    fields = {}
    with open("/proc/cpuinfo", encoding="utf-8") as lines:
        for line in lines:
            key, _, value = line.partition(":")
            fields.setdefault(key.strip(), value.strip())
    present = set(fields.get("flags", "").split())
    return {
        "processor": fields.get("model name", platform.processor()),
        "processors": os.cpu_count(),
        "extensions": [name for name in EXTENSIONS if name in present],
        "kernel": platform.release(),
        "load": round(os.getloadavg()[0], 2),
    }


def _versions():
    listing = _output("dpkg-query", "-W", "-f", "${Package} ${Version}\n", *PEERS)
    return dict(line.split() for line in listing.splitlines())


def _output(*command):
    try:
        return subprocess.run(command, capture_output=True, text=True, check=False).stdout.strip()
    except FileNotFoundError:
        return ""
