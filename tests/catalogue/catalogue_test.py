#!/usr/bin/python3
"""The catalogue has the form that its JSON Schema describes, and nothing else,
knows every payload device by a payload type, and puts every schema into a
subsystem.

usage: catalogue_test.py CATALOGUE JSON_SCHEMA SUBSYSTEMS
"""

import copy
import json
import sys
import tomllib

import jsonschema


def closed(schema):
    """The schema with no members but those that it names."""
    if isinstance(schema, list):
        return [closed(item) for item in schema]
    if not isinstance(schema, dict):
        return schema
    out = {key: closed(value) for key, value in schema.items()}
    if schema.get("type") == "object":
        out["unevaluatedProperties"] = False
    return out


catalogue, schema = (json.load(open(path)) for path in sys.argv[1:3])
groups = [s["slug"] for s in tomllib.load(open(sys.argv[3], "rb"))["subsystem"]]
check = jsonschema.Draft202012Validator
check.check_schema(schema)
faults = [f"{e.json_path}: {e.message[:200]}"
          for e in check(closed(schema)).iter_errors(catalogue)]

# The schema is strict where it matters.
settled = next(i for i, id in enumerate(catalogue["ids"]) if id.get("settled"))
for breaks in (
    lambda c: c.update(format=2),
    lambda c: c["ids"][settled].pop("carries"),
    lambda c: c["ids"][settled].update(settled=False),
    lambda c: c["ids"][settled].update(kind="subject"),
    lambda c: c["ids"][settled].update(number=0),
    lambda c: c["messages"][0].pop("comment"),
    lambda c: c["messages"][0]["fields"][0].update(number="1"),
):
    broken = copy.deepcopy(catalogue)
    breaks(broken)
    if check(schema).is_valid(broken):
        faults.append("the JSON Schema takes a broken catalogue")

types = next(e for e in catalogue["enums"]
             if e["name"] == "zorvik.access.payloadType")
devices = {value.get("schema") for value in types["values"]}
faults += [f"{s['name']} is a payload device without a value of payloadType"
           for s in catalogue["schemas"]
           if s.get("subsystem") == "payloads" and s["name"] not in devices]
faults += [f"{s['name']} has no @subsystem of those in {sys.argv[3]}"
           for s in catalogue["schemas"] if s.get("subsystem") not in groups]

sys.exit("\n".join(faults) if faults else 0)
