#!/usr/bin/python3
"""Every block of shell in the README and in docs/ is run from its text by
tests/examples/run_page, or else can be: its syntax is right, the scripts and
programs of this project that it names are there and know the options, and so do
CMake's files. Code in other languages is on pages that run_page checks.

usage: blocks_test.py ROOT
"""

import json
import pathlib
import re
import subprocess
import sys

root = pathlib.Path(sys.argv[1])
run = {}  # Page to the sections that are run, or None for all of it.
for test in ("scripts/test-tools", "tests/build/pages_test.cmake"):
    for page, section in re.findall(
            r'\b(README\.md|docs/[\w-]+\.md)(?:"? "([^"]+)")?', "\n".join(
                line for line in (root / test).read_text().splitlines()
                if "run_page" in line or "page=" in line)):
        run.setdefault(page, set()).add(section or None)
cmake = "".join(p.read_text() for p in [
    root / "CMakeLists.txt", *(root / "cmake").iterdir(),
    *root.glob("*/CMakeLists.txt"), *root.glob("*/*/CMakeLists.txt")])
presets = json.loads((root / "CMakePresets.json").read_text())["configurePresets"]
faults = []


def look(where, text):
    if subprocess.run(["bash", "-n"], input=text, text=True, check=False,
                      capture_output=True).returncode:
        faults.append(f"{where}: no shell: {text}")
    for line in re.sub(r"\\\n", " ", text).splitlines():
        for path, rest in re.findall(
                r"(?<![\w/$])((?:scripts|examples)/[\w/-]+)([^|;&#]*)", line):
            file = root / path
            if not file.exists():
                faults.append(f"{where}: there is no {path}")
            elif file.is_file():
                faults.extend(f"{where}: {path} has no {option}" for option in
                              re.findall(r"(?<= )--[a-z]+", rest.split(" -- ")[0])
                              if option not in file.read_text() and option != "--help")
    faults.extend(f"{where}: CMake has no {name}" for name in
                  re.findall(r"-D(ZORVIK\w+)", text) if name not in cmake)
    faults.extend(f"{where}: there is no preset {name}" for name in
                  re.findall(r"--preset (\w+)", text)
                  if name not in [p["name"] for p in presets])


count = 0
for page in [root / "README.md", *sorted((root / "docs").glob("*.md"))]:
    name = page.relative_to(root).as_posix()
    section = ""
    for heading, _, language, text in re.findall(
            r"(?ms)^#+ (.+?)$|^( *)```(\w*)\n(.*?)^ *```$", page.read_text()):
        section = heading or section
        if heading or language in ("", "text", "mermaid"):
            continue
        count += 1
        if None in run.get(name, ()) or section in run.get(name, ()):
            continue
        if language == "sh":
            look(f"{name}, {section}", text)
        elif (name, language) != ("docs/performance.md", "cpp"):
            # Those lines are compiled by tests/build/pages_test.cmake.
            faults.append(f"{name}, {section}: nothing runs this {language}")
if not count or not run:
    faults.append("no blocks are found, or none is run")
sys.exit("\n".join(faults) or 0)
