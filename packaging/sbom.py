#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Writes the bill of materials of the Debian packages in a directory, as SPDX 2.3 in JSON.

sbom.py DIRECTORY FILE: what the library and the programs are linked with is read from their
packages, and every version from the record of the build. The same packages give the same bytes.
"""

import datetime
import hashlib
import json
import re
import subprocess
import sys
from pathlib import Path

LIBRARY = "libvorn-bases1"
LINKED = (LIBRARY, "vorn-bases-tools")

# Compiled in from headers, which no package depends on afterwards.
HEADERS = ("libboost1.74-dev", "libhwy-dev")

TERMS = {
    "libboost1.74-dev": "BSL-1.0",
    "libc6": "LGPL-2.1-or-later",
    "libgcc-s1": "GPL-3.0-or-later WITH GCC-exception-3.1",
    "libhwy-dev": "Apache-2.0",
    "libssl3": "Apache-2.0",
    "libstdc++6": "GPL-3.0-or-later WITH GCC-exception-3.1",
    "libxml2": "MIT",
}


def field(package, name):
    return subprocess.run(["dpkg-deb", "--field", package, name], check=True, text=True,
                          capture_output=True).stdout.strip()


def only(directory, pattern):
    found = sorted(directory.glob(pattern))
    if len(found) != 1:
        sys.exit(f"sbom: {len(found)} files are named {pattern} in {directory}")
    return found[0]


def identifier(name):
    return "SPDXRef-" + re.sub(r"[^A-Za-z0-9.]", "-", name)


def described(name, version, terms, **more):
    return {"SPDXID": identifier(name), "name": name, "versionInfo": version,
            "supplier": "NOASSERTION", "downloadLocation": "NOASSERTION", "filesAnalyzed": False,
            "licenseConcluded": "NOASSERTION", "licenseDeclared": terms,
            "copyrightText": "NOASSERTION", **more}


def our_package(path):
    digest = hashlib.sha256(path.read_bytes()).hexdigest()
    return described(field(path, "Package"), field(path, "Version"), "MIT",
                     packageFileName=path.name,
                     checksums=[{"algorithm": "SHA256", "checksumValue": digest}])


def foreign_package(name, build_record):
    version = re.search(rf"^ {re.escape(name)} \(= ([^)]+)\)", build_record, re.MULTILINE)
    if name not in TERMS or not version:
        sys.exit(f"sbom: terms or version of {name} are not known")
    return described(name, version.group(1), TERMS[name])


def links_of(path):
    """The packages of others that a package of ours is linked with."""
    names = (name.split()[0].split(":")[0] for name in field(path, "Depends").split(","))
    return [name for name in names if name != LIBRARY]


def relationship(element, kind, related):
    return {"spdxElementId": element, "relationshipType": kind, "relatedSpdxElement": related}


def bill(directory):
    debs = sorted(directory.glob("*.deb"))
    build_record = only(directory, "*.buildinfo").read_text()
    links = {name: links_of(only(directory, name + "_*.deb")) for name in LINKED}
    ours = [our_package(path) for path in debs]
    foreign = [foreign_package(name, build_record)
               for name in sorted({*sum(links.values(), []), *HEADERS})]
    relationships = [relationship("SPDXRef-DOCUMENT", "DESCRIBES", p["SPDXID"]) for p in ours]
    relationships += [relationship(identifier(package), "DYNAMIC_LINK", identifier(name))
                      for package, names in links.items() for name in names]
    relationships += [relationship(identifier(LIBRARY), "STATIC_LINK", identifier(name))
                      for name in HEADERS]
    date = int(re.search(r'^ SOURCE_DATE_EPOCH="(\d+)"', build_record, re.MULTILINE).group(1))
    return ours, foreign, relationships, date


def main():
    directory, target = Path(sys.argv[1]), Path(sys.argv[2])
    ours, foreign, relationships, date = bill(directory)
    digests = "".join(p["checksums"][0]["checksumValue"] for p in ours)
    version = ours[0]["versionInfo"]
    created = datetime.datetime.fromtimestamp(date, datetime.timezone.utc)
    target.write_text(json.dumps({
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"vorn-bases-{version}",
        "documentNamespace": "urn:vorn-bases:sbom:"
                             + hashlib.sha256(digests.encode()).hexdigest(),
        "creationInfo": {
            "created": created.strftime("%Y-%m-%dT%H:%M:%SZ"),
            "creators": ["Tool: packaging/sbom.py"],
        },
        "packages": ours + foreign,
        "relationships": relationships,
    }, indent=2) + "\n")


main()
