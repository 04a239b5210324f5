#!/usr/bin/env python3
"""Lists what packages are made of, as CycloneDX: the packages and the schemas with
their digests, what each package depends on, and all that built them.

usage: sbom.py RELEASE BUILDINFO   the packages lie beside the file
"""

import hashlib
import json
import pathlib
import re
import subprocess
import sys


def fields(text):
    """The fields of a control file, with their continuation lines."""
    return dict(re.findall(r"^([\w-]+):[ ]?((?:.*\n(?:[ ].*\n)*))", text + "\n", re.M))


def digest(path):
    return [{"alg": "SHA-256", "content": hashlib.sha256(path.read_bytes()).hexdigest()}]


def entry(vendor, name, version, **more):
    """A Debian package, under its package URL."""
    escaped = version.replace("+", "%2B").replace(":", "%3A")
    ref = f"pkg:deb/{vendor}/{name}{escaped and '@'}{escaped}?distro={release}"
    return {"type": "library", "bom-ref": ref, "name": name, "version": version, "purl": ref, **more}


release, path = sys.argv[1], pathlib.Path(sys.argv[2])
info = fields(path.read_text())
version = info["Version"].strip()

# Libraries have the same version for each architecture of a build.
built = [
    entry("debian", name, number, scope="excluded")
    for name, number in re.findall(r"^ ([^ :]+)(?::\w+)? \(= (.*)\)", info["Installed-Build-Depends"], re.M)
]
packages, needs = [], {}
for package in sorted(path.parent.glob("*.deb")):
    show = ["dpkg-deb", "-f", package]
    control = fields(subprocess.run(show, check=True, capture_output=True, text=True).stdout)
    packages.append(entry("zorvik", control["Package"].strip(), version, hashes=digest(package)))
    depends = re.findall(r"([a-z0-9][a-z0-9.+-]+)(?::any)?(?: \(\S+ ([^)]+)\))?", control.get("Depends", ""))
    needs[packages[-1]["bom-ref"]] = dict(depends)
known = {component["name"]: component["bom-ref"] for component in built + packages}
# What nothing was built with, in the least version.
for name, least in sorted(item for names in needs.values() for item in names.items()):
    if name not in known:
        built.append(entry("debian", name, least, scope="required"))
        known[name] = built[-1]["bom-ref"]

schemas = [
    {"type": "file", "bom-ref": schema.name, "name": schema.name, "hashes": digest(schema)}
    for schema in sorted(pathlib.Path("proto").glob("*.proto"))
]
json.dump(
    {
        "bomFormat": "CycloneDX",
        "specVersion": "1.5",
        "version": 1,
        "metadata": {
            "component": {"type": "library", "name": "zorvikpbproto", "version": version,
                          "bom-ref": "zorvikpbproto"}
        },
        "components": packages + schemas + built,
        "dependencies": [
            {"ref": ref, "dependsOn": sorted({known[name] for name in names})}
            for ref, names in needs.items()
        ],
    },
    sys.stdout,
    indent=1,
)
print()
