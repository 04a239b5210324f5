#!/usr/bin/python3
"""The catalogue has the form that its JSON Schema describes, and nothing else;
the JSON Schema takes no less than that; tags and words of the schemas agree.

usage: catalogue_test.py CATALOGUE JSON_SCHEMA SUBSYSTEMS
"""

import json
import re
import sys
import tomllib

import jsonschema

catalogue, schema = (json.load(open(path)) for path in sys.argv[1:3])
groups = [s["slug"] for s in tomllib.load(open(sys.argv[3], "rb"))["subsystem"]]
faults = []


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


check = jsonschema.Draft202012Validator
check.check_schema(schema)
faults += [f"{e.json_path}: {e.message[:200]}"
           for e in check(closed(schema)).iter_errors(catalogue)]

# What each kind of entry has in the catalogue: no member of the JSON Schema is
# missing from all, none that all have may be left out, and none may be empty.
ids, enums, messages = (catalogue[k] for k in ("ids", "enums", "messages"))
kinds = {"schema": catalogue["schemas"], "id": ids, "enum": enums,
         "value": [v for e in enums for v in e["values"]], "message": messages,
         "field": [f for m in messages for f in m["fields"]]}
strict = {kind: check({"$defs": schema["$defs"], "$ref": f"#/$defs/{kind}"})
          for kind in kinds}
for kind, entries in kinds.items():
    stated = schema["$defs"][kind]
    found = set().union(*entries)
    for name in stated["properties"].keys() - found:
        faults.append(f"JSON Schema: no {kind} has the member {name}")
    for name in found:
        entry = next(e for e in entries if name in e)
        needed = all(name in e for e in entries) and name != "fields"
        without = {k: v for k, v in entry.items() if k != name}
        if strict[kind].is_valid(without) and needed:
            faults.append(f"JSON Schema: a {kind} needs no {name}")
        for wrong in (None, "", [], {}):
            if name == "fields" and wrong == [] or wrong == entry[name]:
                continue
            if strict[kind].is_valid(entry | {name: wrong}):
                faults.append(
                    f"JSON Schema: {name} of a {kind} may be {wrong!r}")

# Members that exclude or need each other, at an id of the first kind.
COMPONENT, SETTLED, OPEN = (
    next(i for i in ids
         if (i["kind"] == "component", i.get("settled")) == which)
    for which in ((True, None), (False, True), (False, False)))
name = SETTLED["name"]
for entry, change in (
        (COMPONENT, {"settled": False}), (COMPONENT, {"carries": name}),
        (COMPONENT, {"pairs": name}), (COMPONENT, {"answers": [name]}),
        (COMPONENT, {"answer": {"message": name}}),
        (SETTLED, {"settled": False}),
        (SETTLED, {"carries": "request"}), (SETTLED, {"pairs": name}),
        (SETTLED, {"schema": "a.proto"}), (SETTLED, {"kind": "subject"}),
        (SETTLED, {"number": 0}), (SETTLED, {"answers": [name, name]}),
        (SETTLED, {"open": [""]}), (SETTLED, {"settled": None}),
        (OPEN, {"settled": True}), (OPEN, {"carries": name})):
    entry = {k: v for k, v in (entry | change).items() if v is not None}
    if strict["id"].is_valid(entry):
        faults.append(f"JSON Schema: takes {change} at {entry['name']}")
top = catalogue | dict.fromkeys(("schemas", "ids", "enums", "messages"), [])
for change in ({"format": 2}, {"version": "2"}, {"ids": None}):
    if check(schema).is_valid(top | change):
        faults.append(f"JSON Schema: takes {change}")
for name in top:
    if check(schema).is_valid({k: v for k, v in top.items() if k != name}):
        faults.append(f"JSON Schema: needs no {name}")

# Subsystems and devices.
types = next(e for e in enums if e["name"] == "zorvik.access.payloadType")
devices = {value.get("schema") for value in types["values"]}
faults += [f"{s['name']} is in the subsystem payloads or has a value of "
           "payloadType, and not both" for s in catalogue["schemas"]
           if (s.get("subsystem") == "payloads") != (s["name"] in devices)]
faults += [f"{s['name']} has no @subsystem of those in {sys.argv[3]}"
           for s in catalogue["schemas"] if s.get("subsystem") not in groups]

# Words that state what a tag states, and points left open that a tag settles.
by_name = {i["name"]: i for i in ids}
by_number = {(i["enum"], str(i["number"])): i for i in ids}
opens = {e["name"]: e.get("open", []) for e in (*ids, *enums)}


def named(word, beside):
    """The id of that number or name."""
    package = beside["name"].rpartition(".")[0]
    return by_number.get((beside["enum"], word)) or by_name.get(
        f"{package}.{word}", {"name": f"{word}, which is no id"})


for i in ids:
    def fault(text):
        faults.append(f"{i['name']}: {text}")

    words = " ".join(i["comment"].split())
    answer = i.get("answer", {})
    come = re.search(r"(?:answer|piece) comes (?:on|under) (\w+)", words)
    alike = re.search(r", as (\w+), but", words)
    said = (named(come[1], i)["name"] if come else alike and
            named(alike[1], i).get("answer", {}).get("id"))
    if said != answer.get("id"):
        fault(f"the comment says that the answer comes on {said}, "
              f"@answer_id {answer.get('id')}")
    request = re.match(r"Answer to (\w+)(?: \((.+?)\))?\.", words)
    if request:
        of = named(request[1], i)
        if of["name"] not in i.get("answers", []):
            fault(f"the comment answers {of['name']}, and its @answer_id "
                  "is another")
        elif f" {request[2] or ''}" not in " ".join(of["comment"].split()):
            fault(f"the comment of {of['name']} does not say '{request[2]}'")
    elif "answers" in i and i["kind"] != "report":
        fault("an answer, which the comment does not say")
    if i["kind"] == "component":
        continue
    told = [point for point in opens[i["name"]]
            if re.match("content$|.*(travel under it|is its content)$", point)]
    told += [point for point in opens[i["enum"]]
             if (block := re.match(r"content of the (\w+) topic types", point))
             and f"_{block[1].upper()}_" in i["name"]]
    if bool(told) == ("carries" in i or "pairs" in i):
        fault(f"@open {told[0]}, and a tag names it" if told
              else "neither a tag names its content nor @open content")
    if "message" in answer and "answer" in opens[i["name"]]:
        fault("@open answer, and @answer names it")

# Names in comments are names, or parts of names of ids and values.
elements = {e["name"]: e for e in (*catalogue["schemas"], *enums, *messages,
                                   *kinds["value"])}
elements |= {f"{m['name']}.{f['name']}": f for m in messages
             for f in m["fields"]}
known = {"google.protobuf.Any", "type.googleapis.com", "SdCard", "IsValid",
         "channelTopicType_IsValid", "eUAV", "eUav"}
known |= {s["package"] for s in catalogue["schemas"]}
for name in elements:
    parts = name.split(".")
    known |= {".".join(parts[i:]) for i in range(len(parts))}
for name, element in elements.items():
    text = " ".join([element["comment"], *element.get("open", [])])
    for word in re.findall(r"\w+(?:\.\w+)*", text):
        if not re.search(r"[a-z][A-Z]|_|\.[A-Za-z]", word) or word in known:
            continue
        if not word.isupper() or not any(word in each for each in known):
            faults.append(f"{name}: nothing is called {word}")

if faults:
    print(*faults[:20], sep="\n", file=sys.stderr)
    sys.exit(f"{len(faults)} faults in {sys.argv[1]}")
