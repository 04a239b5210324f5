"""The report of the benchmarks: with synthetic figures, every ratio has to be the
right way round, of the two libraries, and within a round, and a report with a
fault has to be refused. Takes the folder of the benchmarks and the document."""

import collections
import copy
import functools
import io
import json
import os
import pathlib
import re
import sys
import tempfile
import unittest
from contextlib import redirect_stderr
from unittest import mock

FOLDER, DOCUMENT = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
sys.dont_write_bytecode = True
sys.path.insert(0, str(FOLDER))
import report  # pylint: disable=wrong-import-position
import run  # pylint: disable=wrong-import-position

SONAME = "libZorvikPBProto.so.2"
# Three rounds. The ratio of the medians is another number than the median of the
# ratios, and no ratio is its own inverse.
ENCODE = {"library": (100, 180, 300), "stock": (200, 200, 600)}
DECODE = {"library": (300, 200, 100), "stock": (100, 100, 100)}
ADVICE = {"before": (100, 200, 400), "after": (50, 20, 200)}
ALLOCATIONS = {"before": 3, "after": 1}
MACHINE = dict.fromkeys(("processor", "cores", "system", "compiler", "protobuf"), "any")


def codec_figures(library, turn):
    """What codec_bench says in a round."""
    figures = {}
    for number, message in enumerate(report.MESSAGES):
        figures[f"copy/{message}/copy"] = {"cpu_time": 7}
        for direction, times in (("encode", ENCODE), ("decode", DECODE)):
            time = times[library][turn]
            by_codec = {"naive": time, "protozero": 400, "nanopb": 500,
                        "recommended": time / 2 if library == "library" else time}
            if message == report.TOPICS:
                by_codec["topics"] = 50
            for codec, value in by_codec.items():
                figures[f"{direction}/{message}/{codec}"] = {"cpu_time": value, **(
                    {"bytes": 10 + number} if direction == "encode" else {})}
    return figures


def stand_in():
    """For the run of a program."""
    turns = collections.Counter()

    def run_program(program, path, *options):
        name, factor = os.path.basename(program), factor_of(path)
        library = "stock" if factor > 1 else "library"
        turn = turns[name, library, options]
        turns[name, library, options] += 1
        if name.startswith("load"):
            nanoseconds = {"load_bench": 1e6, "load_with_runtime_bench": 2e6}[name]
            return {"load/dlopen/iterations:1/manual_time": {
                        "real_time": factor * nanoseconds, "resident": factor * 5000,
                        "private": factor * 6000},
                    "load/first_descriptor/iterations:1/manual_time": {"real_time": factor * 3e6}}
        if name == "advice_bench":
            return {f"advice/{advice}/{way}": {"cpu_time": times[turn], "allocations": ALLOCATIONS[way]}
                    for advice in report.ADVICE for way, times in ADVICE.items()}
        pattern = re.search(r"--benchmark_filter=(-?)(.*)", " ".join(options))
        return {key: figure for key, figure in codec_figures(library, turn).items()
                if (re.search(pattern[2], key) is None) == (pattern[1] == "-")}

    return run_program


def factor_of(path):
    """The stock build takes four times of everything."""
    return 4 if path.endswith(f"/bench/stock/{SONAME}") else 1


def measured(rounds, same_file=False):
    """All that a run measures, from end to end."""
    static = {"relocations, symbolic": 300, "relocations, relative": 400, "stripped size": 1000}
    with tempfile.TemporaryDirectory() as build:
        for folder in ("", "/bench/stock"):
            os.makedirs(build + folder, exist_ok=True)
            pathlib.Path(f"{build}{folder}/{SONAME}").write_text(
                "same" if same_file else folder, encoding="utf-8")
        arguments = ["run.py", "--build", build, "--rounds", str(rounds),
                     "--load-rounds", "1", f"{build}/results.json"]
        with mock.patch.object(sys, "argv", arguments), redirect_stderr(io.StringIO()), \
                mock.patch.object(report, "show"), mock.patch.multiple(
                    run, run=stand_in(), machine=lambda build: MACHINE, static_figures=lambda path: {
                        name: value * factor_of(path) for name, value in static.items()}):
            run.main()
        return json.loads(pathlib.Path(f"{build}/results.json").read_text(encoding="utf-8"))


class Report(unittest.TestCase):
    def test_shows_ratios_the_right_way_round(self):
        results = measured(3)
        shown = {name: report.rendered(name, results) for name in
                 ("ratios", "encode", "decode", "topics", "load", "dlopen",
                  "mean/encode", "mean/decode", "advice/merge")}
        for name, line in (
                ("ratios", "|  | encode, naive | encode, recommended | decode, naive | decode, recommended |"),
                *(("ratios", f"| {row} | 0.50 (0.50 to 0.70) | 0.25 (0.25 to 0.35) "
                             "| 2.00 (1.50 to 2.50) | 1.00 (0.75 to 1.25) |")
                  for row in ("rotate request", "geometric mean")),
                ("encode", "| rotate request (11 bytes) | 180 | 90 | 400 | 500 | 7.0 |"),
                ("decode", "| rotate request (11 bytes) | 200 | 100 | 400 | 500 | 7.0 |"),
                ("topics", "| encode | 50 | 0.28 (0.22 to 0.39) | 0.56 (0.44 to 0.78) "
                           "| 0.12 (0.12 to 0.12) |"),
                *(("load", f"| {row} | 0.25 (0.25 to 0.25) |") for row in (
                    "`dlopen`, the runtime already loaded | 1.00 ms | 4.00 ms",
                    "`dlopen`, the runtime with it | 2.00 ms | 8.00 ms",
                    "first descriptor use | 3.00 ms | 12.00 ms",
                    "relocations that look up a symbol | 300 | 1200",
                    "memory of the process's own after `dlopen` | 6 kB | 24 kB")),
                ("dlopen", "0.25"), ("mean/encode", "0.35"), ("mean/decode", "1.41"),
                ("advice/merge", "200 ns become 50 ns, a factor of 0.50")):
            self.assertIn(line, shown[name].splitlines(), f"{name} is\n{shown[name]}")
        with mock.patch.object(report, "chart") as chart:
            report.ratio_chart(results, "any.svg")
        drawn = {how.partition("title ")[2]: rows[0][0] for rows, how in chart.call_args.args[4]}
        self.assertEqual(drawn, {"'encode, naive'": 0.5, "'encode, recommended'": 0.25,
                                 "'decode, naive'": 2, "'decode, recommended'": 1})

    def test_refuses_a_library_that_is_compared_with_itself(self):
        with self.assertRaisesRegex(SystemExit, "are the same file"):
            measured(1, same_file=True)
        with tempfile.TemporaryDirectory() as folder:
            program = pathlib.Path(folder, "program")
            right, wrong = f"{folder}/right", f"{folder}/wrong"
            for library, fault, refused in (
                    (right, "", None), (wrong, "", "measured .*wrong"),
                    (right, '"error_occurred": true, "error_message": "differs",', "differs")):
                program.write_text(f"""#!/bin/sh
test "$LD_LIBRARY_PATH" = {folder} || exit 1
echo '{{"context": {{"library": "{library}"}}, "benchmarks": [{{{fault} "name": "encode"}}]}}'
""", encoding="utf-8")
                program.chmod(0o755)
                if refused is None:
                    self.assertEqual(list(run.run(str(program), right)), ["encode"])
                else:
                    with self.assertRaisesRegex(SystemExit, refused):
                        run.run(str(program), right)

    def test_is_checked(self):
        results = measured(1)
        with mock.patch.object(report, "draw"):
            report.check(results, DOCUMENT)
            for path, value, refused in (
                    (("codec", "decode/hardSync/naive", "ratio", "median"), 1 / 3, "ratio of decode"),
                    (("codec", "decode/hardSync/naive", "library", "median"), 0.3, "is not timed"),
                    (("codec", "encode/hardSync/nanopb", "library", "median"), 0.3, "is not timed"),
                    (("codec", "decode/hardSync/naive"), None, "odd ones"),
                    (("advice", "merge", "after", "median"), 0.3, "is not timed"),
                    (("advice", "merge", "ratio", "median"), 2, "ratio of merge"),
                    (("advice", "merge", "allocations"), {"before": 1, "after": 3}, "allocates"),
                    (("advice", "keep", "allocations"), {"before": 0, "after": 0}, "allocates"),
                    (("load", "dlopen", "ratio", "median"), 4, "ratio of dlopen"),
                    (("load", "relocations, symbolic", "library", "median"), 1200, "ratio of reloc"),
                    (("summary", "encode", "median"), 2, "mean of encode"),
                    (("topics", "decode", "naive", "median"), 6, "topics")):
                wrong = copy.deepcopy(results)
                where = functools.reduce(dict.get, path[:-1], wrong)
                where[path[-1]] = value
                if value is None:
                    del where[path[-1]]
                with self.subTest(path=path), self.assertRaisesRegex(SystemExit, refused):
                    report.check(wrong, DOCUMENT)
            with tempfile.TemporaryDirectory() as folder:
                other = pathlib.Path(folder, DOCUMENT.name)
                other.write_text(re.sub(r"(bench:dlopen -->)[^<]+", r"\1-1",
                                        DOCUMENT.read_text(encoding="utf-8")), encoding="utf-8")
                other.with_suffix("").symlink_to(DOCUMENT.with_suffix("").resolve())
                with self.assertRaisesRegex(SystemExit, "has other figures"):
                    report.check(results, other)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
