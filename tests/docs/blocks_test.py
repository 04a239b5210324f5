#!/usr/bin/python3
"""Every block of code in the README and in docs/ is run or compared from its text
by tests/examples/run_page or run_live, in a step of .ci/run or in a script of its
own, or is in the table below with the reason. Prints where each part of a page is
run. Of what is not run, the shell's syntax is right, and there are the scripts,
options and presets that it names.

usage: blocks_test.py ROOT
"""

import collections
import json
import pathlib
import re
import subprocess
import sys

# Blocks that run_page does not take: how many, and what holds them.
OTHERS = {
    ("docs/performance.md", "How it is measured"):
        (1, "takes minutes and writes the page; .ci/run has scripts/bench --quick"),
    ("docs/performance.md", "Merge in place"): (1, "tests/build/pages_test.cmake compiles it"),
    ("docs/security.md", "Loading"): (1, "tests/library/private_copy_test.cc expects it"),
}
RUNNERS = {
    "scripts/test": "tests/build/pages_test.cmake",
    "scripts/test-packages": "scripts/test-packages",
    "scripts/test-site": "scripts/test-site",
    "scripts/test-tools": "scripts/test-tools",
}
# Beside .ci/run, as they take minutes.
MEASUREMENTS = {"scripts/test-measurements": "scripts/test-measurements"}

root = pathlib.Path(sys.argv[1])
read = lambda path: (root / path).read_text()
steps = read(".ci/run").splitlines()
faults = [f".ci/run has no {step}" for step in RUNNERS if step not in steps]
runs = {}  # (page, section) to the step that runs it; section is None for all.
for step, file in (RUNNERS | MEASUREMENTS).items():
    for page, section in re.findall(
            r'(?:run_page\S* (?:--print )?|page=)\S*?((?<!npm/)README\.md|docs/[\w-]+\.md)(?:"? "([^"]+)")?',
            read(file)):
        runs.setdefault((page, section or None), step)
live = {(page, section): step for step, file in (RUNNERS | MEASUREMENTS).items()
        for page, section in re.findall(r'(?m)^(?:live|PATH=.*/run_live) (\S+) "([^"]+)"$', read(file))}
text_of = lambda *globs: "".join(
    path.read_text() for glob in globs for path in root.glob(glob) if path.is_file())
cmake = text_of("CMakeLists.txt", "cmake/*", "*/CMakeLists.txt", "*/*/CMakeLists.txt")
programs = {"zorvik": text_of("tools/zorvik/*"), "zorvik-mcap": text_of("tools/npm/mcap/*")}
presets = [preset["name"] for preset in json.loads(read("CMakePresets.json"))["configurePresets"]]


def look(where, text):
    if subprocess.run(["bash", "-n"], input=text, text=True, check=False,
                      capture_output=True).returncode:
        faults.append(f"{where}: no shell: {text}")
    for line in re.sub(r"\\\n", " ", text).splitlines():
        for name, rest in re.findall(
                r"(?<![\w/$.-])((?:scripts|examples|bench)/[\w./-]+|zorvik[\w-]*)(?= )((?:[^|;&#]|(?<=\S)#)*)", f"{line} "):
            file = root / name
            known = programs.get(name) or (file.is_file() and file.read_text())
            if not known:
                faults.append(f"{where}: there is no {name}")
                continue
            faults.extend(f"{where}: {name} has no {option}" for option in
                          re.findall(r"(?<= )--[a-z]+", rest) if option not in known)
    faults.extend(f"{where}: CMake has no {name}" for name in
                  re.findall(r"-D(ZORVIK\w+)", text) if name not in cmake)
    faults.extend(f"{where}: there is no preset {name}" for name in
                  re.findall(r"--preset (\w+)", text) if name not in presets)


counts = collections.Counter()  # (page, section, what holds its blocks)
for path in [root / "README.md", *sorted((root / "docs").glob("*.md"))]:
    page = path.relative_to(root).as_posix()
    section = ""
    for heading, _, language, text in re.findall(
            r"(?ms)^#+ (.+?)$|^( *)```(\w*)\n(.*?)^ *```$", path.read_text()):
        section = heading or section
        if heading or language == "mermaid":  # Docs.exchanges has the drawings.
            continue
        step = runs.get((page, None)) or runs.get((page, section))
        if not language:  # These are for run_live.
            step = live.get((page, section))
        counts[page, section, step] += 1
        if not step and language in ("", "sh"):
            look(f"{page}, {section}", text)

for (page, section, step), count in sorted(counts.items(), key=str):
    listed, reason = OTHERS.get((page, section), (0, "nothing holds it"))
    if step:
        print(f"{step}: {page}, {section}: {count}")
    else:
        print(f"not run: {page}, {section}: {count}, {reason}")
        if count > listed:
            faults.append(f"{page}, {section}: nothing runs {count - listed} of its blocks")
faults.extend(f"{page}, {section}: has no {count} blocks that are not run, as {sys.argv[0]} says"
              for (page, section), (count, _) in OTHERS.items()
              if counts[page, section, None] < count)
faults.extend(f"{step} runs {page}, {section or 'all'}, where no block is"
              for (page, section), step in (runs | live).items()
              if not any(key[0] == page and key[2] and section in (None, key[1]) for key in counts))
sys.exit("\n".join(faults) or 0)
