#!/usr/bin/python3
"""The README states how much there is as the catalogue has it; with --fix, it is
made to.

usage: counts_test.py [--fix] [CATALOGUE README]

Without names, those of this repository and of its build in build/release.
"""

import json
import pathlib
import re
import sys

fix = sys.argv[1:2] == ["--fix"]
names = sys.argv[1 + fix:]
if len(names) not in (0, 2):
    print(__doc__.split("\n\n")[1], file=sys.stderr)
    sys.exit(2)
root = pathlib.Path(__file__).resolve().parents[2]
catalogue, readme = names or (
    root / "build/release/generated/catalogue.json", root / "README.md")
catalogue = json.loads(pathlib.Path(catalogue).read_text())
topics = next(e for e in catalogue["enums"] if e.get("ids") == "topic type")
settled = [i for i in catalogue["ids"]
           if i["kind"] == "topic type" and i["settled"]]

path = pathlib.Path(readme)
text = stated = path.read_text()
wrong = []
for before, number, after in (
    ("", len(catalogue["schemas"]), " protobuf schemas"),
    ("", len(catalogue["messages"]), " messages"),
    ("", len(catalogue["enums"]), " enums"),
    ("", len(settled), " of the \\d+ topic types"),
    (" of the ", len(topics["values"]), " topic types"),
):
    pattern = f"(?<={before})\\d+(?={after})".replace(" ", "\\s")
    found = re.findall(pattern, text)
    if not found:
        sys.exit(f"{readme} does not say how many{after} there are")
    wrong += [f"{n}{after}, not {number}".replace("\\d+ ", "")
              for n in found if n != str(number)]
    text = re.sub(pattern, str(number), text)
if fix:
    path.write_text(text)
elif text != stated:
    sys.exit(f"{readme} counts {'; '.join(wrong)}; "
             f"tests/docs/counts_test.py --fix writes what the catalogue has")
