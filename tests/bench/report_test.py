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
import shutil
import subprocess
import sys
import tempfile
import unittest
from contextlib import redirect_stderr, redirect_stdout
from unittest import mock

FOLDER, DOCUMENT = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
sys.dont_write_bytecode = True
sys.path.insert(0, str(FOLDER))
import report  # pylint: disable=wrong-import-position
import run  # pylint: disable=wrong-import-position

SONAME = "libZorvikPBProto.so.2"
# Four rounds; the peers take part in the first and the last. The ratio of the medians
# is another number than the median of the ratios, and no ratio is its own inverse.
ENCODE = {"library": (100, 180, 300, 296), "rival": (200, 200, 600, 400)}
DECODE = {"library": (300, 200, 100, 260), "rival": (100, 100, 100, 100)}
TYPED = (50, 50, 50, 100)
PROTOZERO = (400, 800)
ADVICE = {"before": (100, 200, 400, 500), "after": (50, 20, 200, 100)}
ALLOCATIONS = {"before": 3, "after": 0}
MACHINE = dict.fromkeys(("processor", "cores", "system", "compiler", "protobuf"), "any")


def codec_figures(library, turn, peers_turn):
    """What codec_bench says in a round."""
    figures = {}
    for number, message in enumerate(report.MESSAGES):
        figures[f"copy/{message}/copy"] = {"cpu_time": 7}
        for direction, times in (("encode", ENCODE), ("decode", DECODE)):
            time = times[library][turn]
            by_codec = {"naive": time, "protozero": PROTOZERO[peers_turn], "nanopb": 500,
                        "recommended": time / 2 if library == "library" else time}
            if message == report.TOPICS:
                by_codec["topics"] = TYPED[turn]
            for codec, value in by_codec.items():
                figures[f"{direction}/{message}/{codec}"] = {"cpu_time": value, **(
                    {"bytes": 10 + number} if direction == "encode" else {})}
    return figures


def stand_in(calls):
    """For the run of a program."""
    turns = collections.Counter()

    def run_program(program, path, *options):
        name, factor = os.path.basename(program), factor_of(path)
        library = "rival" if factor > 1 else "library"
        turn = turns[name, library, options]
        turns[name, library, options] += 1
        calls.append((name, library, *options))
        if name.startswith("load"):
            nanoseconds = {"load_bench": 1e6, "load_with_runtime_bench": 2e6}[name]
            return {"load/dlopen/iterations:1/manual_time": {
                        "real_time": factor * nanoseconds, "resident": factor * 250000,
                        "private": factor * 100000},
                    "load/first_descriptor/iterations:1/manual_time": {"real_time": factor * 3e6}}
        if name == "advice_bench":
            return {f"advice/{advice}/{way}": {"cpu_time": times[turn], "allocations": ALLOCATIONS[way]}
                    for advice in report.ADVICE for way, times in ADVICE.items()}
        pattern = re.search(r"--benchmark_filter=(-?)(.*)", " ".join(options))
        figures = codec_figures(library, turn, turn % len(PROTOZERO))
        return {key: figure for key, figure in figures.items()
                if (re.search(pattern[2], key) is None) == (pattern[1] == "-")}

    return run_program


def factor_of(path):
    """The rival takes four times of everything."""
    return 4 if re.search(rf"/bench/(stock|candidate)/{re.escape(SONAME)}$", path) else 1


def tool(*command):
    """For readelf, and for strip."""
    factor = factor_of(command[-1])
    if command[0] == "strip":
        pathlib.Path(command[command.index("-o") + 1]).write_bytes(bytes(450000 * factor))
    row = "0000000000010da0  000000000000{} R_X86_64_{}\n"
    return " Offset  Info  Type\n" + factor * (
        4 * row.format("0008", "RELATIVE   1ba0") + 2 * row.format("0a06", "GLOB_DAT   0 name + 0")
        + row.format("0b01", "64   0 name_RELATIVE + 0"))


def measured(rounds, rival="stock", same_file=False):
    """All that a run measures and writes, from end to end: the results, what it prints,
    the document, and the programs that were run."""
    calls, printed = [], io.StringIO()
    with tempfile.TemporaryDirectory() as build:
        for folder in ("", f"/bench/{rival}", "/performance"):
            os.makedirs(build + folder, exist_ok=True)
            pathlib.Path(f"{build}{folder}/{SONAME}").write_text(
                "same" if same_file else folder, encoding="utf-8")
        document = pathlib.Path(f"{build}/performance.md")
        if rival == "stock":
            document.write_bytes(DOCUMENT.read_bytes())
        arguments = ["run.py", "--build", build, "--rival", rival, "--rounds", str(rounds),
                     "--load-rounds", "3", *(["--document", str(document)] if document.exists() else []),
                     f"{build}/performance/results.json"]
        with mock.patch.object(sys, "argv", arguments), redirect_stderr(io.StringIO()), \
                redirect_stdout(printed), mock.patch.object(report, "draw") as draw, mock.patch.multiple(
                    run, run=stand_in(calls), machine=lambda build: MACHINE, output_of=tool):
            run.main()
        results = json.loads(pathlib.Path(f"{build}/performance/results.json").read_text(encoding="utf-8"))
        if document.exists():
            draw.assert_called_once_with(results, pathlib.Path(f"{build}/performance"))
        return results, printed.getvalue(), document.exists() and document.read_text(encoding="utf-8"), calls


def row(library, stock):
    """A figure that is in itself as it should be."""
    return {"unit": "", "library": {"median": library}, "stock": {"median": stock},
            "ratio": {"median": library / stock}}


class Report(unittest.TestCase):
    def test_shows_ratios_the_right_way_round(self):
        results, printed, document, calls = measured(4)
        shown = {name: report.rendered(name, results) for name in
                 ("ratios", "encode", "decode", "topics", "load", "dlopen",
                  "mean/encode", "mean/decode", "advice/merge")}
        shown["terminal"] = re.sub(" +", " ", printed)
        for name, line in (
                ("ratios", "|  | encode, naive | encode, recommended | decode, naive | decode, recommended |"),
                *(("ratios", f"| {row} | 0.62 (0.50 to 0.78) | 0.31 (0.25 to 0.39) "
                             "| 2.30 (1.75 to 2.70) | 1.15 (0.88 to 1.35) |")
                  for row in ("rotate request", "geometric mean")),
                ("encode", "| rotate request (11 bytes) | 238 | 119 | 600 | 500 | 7.0 |"),
                ("decode", "| rotate request (11 bytes) | 230 | 115 | 600 | 500 | 7.0 |"),
                ("topics", "| encode | 50 | 0.31 (0.25 to 0.38) | 0.62 (0.50 to 0.76) "
                           "| 0.12 (0.12 to 0.12) |"),
                *(("load", f"| {row} | 0.25 (0.25 to 0.25) |") for row in (
                    "`dlopen`, the runtime already loaded | 1.00 ms | 4.00 ms",
                    "`dlopen`, the runtime with it | 2.00 ms | 8.00 ms",
                    "first descriptor use | 3.00 ms | 12.00 ms",
                    "relocations that look up a symbol | 3 | 12",
                    "relocations that add the base | 4 | 16",
                    "stripped size | 450 kB | 1800 kB",
                    "resident of the file after `dlopen` | 250 kB | 1000 kB",
                    "memory of the process's own after `dlopen` | 100 kB | 400 kB")),
                ("dlopen", "0.25"), ("mean/encode", "0.44"), ("mean/decode", "1.63"),
                ("advice/merge", "300 ns become 75 ns, a factor of 0.35"),
                ("terminal", " decode/hardSync/recommended 1.15 (0.88 to 1.35) 115 ns"),
                ("terminal", " mean of encode, naive 0.62 (0.50 to 0.78)"),
                ("terminal", " dlopen 0.25 (0.25 to 0.25) 1.00 ms"),
                ("terminal", " advice merge 300 ns become 75 ns, a factor of 0.35")):
            self.assertIn(line, shown[name].splitlines(), f"{name} is\n{shown[name]}")
        self.assertEqual(document, report.filled(document, results))
        self.assertNotEqual(document, DOCUMENT.read_text(encoding="utf-8"))
        self.assertEqual(results["advice"]["merge"]["allocations"], ALLOCATIONS)
        # Each goes first as often as the other, for as long as it is told.
        for program in ("codec_bench", "load_bench"):
            order = [library for name, library, *options in calls
                     if name == program and "=-" not in "".join(options)]
            self.assertEqual(order[:6], ["rival", "library", "library", "rival", "rival", "library"])
        self.assertTrue(all("--benchmark_min_time=0.02" in call for call in calls if "load" not in call[0]))

    def test_compares_with_a_candidate_alone(self):
        results, printed, _, calls = measured(4, rival="candidate")
        self.assertIn("to the candidate build", printed)
        self.assertNotIn("advice_bench", {name for name, *_ in calls})
        self.assertFalse([key for key in results["codec"] if "ratio" not in results["codec"][key]
                          and not key.endswith("/topics")])
        self.assertEqual((results["summary"]["encode, naive"]["median"],
                          results["load"]["dlopen"]["ratio"]["median"]), (0.62, 0.25))

    def test_refuses_a_library_that_is_compared_with_itself(self):
        with self.assertRaisesRegex(SystemExit, "are the same file"):
            measured(1, same_file=True)
        with tempfile.TemporaryDirectory() as folder:
            program = pathlib.Path(folder, "program")
            right, wrong = f"{folder}/right", f"{folder}/wrong"
            for library, fault, refused in (
                    (right, "", None), (wrong, "", "measured .*wrong"),
                    (right, '"error_occurred": true, "error_message": "differs",', "differs"),
                    (right, '"time_unit": "us",', "not in nanoseconds"),
                    (right, "'; echo broken >&2; exit 1; '", "program failed: broken")):
                program.write_text(f"""#!/bin/sh
test "$LD_LIBRARY_PATH" = {folder} && test "$ZORVIKPBPROTO_LIBRARY" = {right} || exit 1
echo '{{"context": {{"library": "{library}"}},
       "benchmarks": [{{"time_unit": "ns", {fault} "name": "encode"}}]}}'
""", encoding="utf-8")
                program.chmod(0o755)
                if refused is None:
                    self.assertEqual(list(run.run(str(program), right)), ["encode"])
                else:
                    with self.assertRaisesRegex(SystemExit, refused):
                        run.run(str(program), right)

    def test_is_run_by_the_script(self):
        """With stand-ins for whatever builds and measures."""
        with tempfile.TemporaryDirectory() as folder:
            scripts = FOLDER.resolve().parent / "scripts"
            shutil.copytree(scripts / "lib", f"{folder}/scripts/lib")
            shutil.copy(scripts / "bench", f"{folder}/scripts")
            for name in "scripts/setup", "scripts/build", "bin/cmake", "bench/run.py":
                path = pathlib.Path(folder, name)
                path.parent.mkdir(exist_ok=True)
                path.write_text('#!/bin/sh\necho "${0##*/} $*" >>"$TOLD"\n', encoding="utf-8")
                path.chmod(0o755)
            told = pathlib.Path(folder, "told")
            for options, last in (
                    (["--quick"], "run.py --build {} --rounds 1 .*--document docs/performance.md --check {}/quick.json"),
                    (["--try", "-O1 -g"], "cmake -DZORVIKPBPROTO_BENCH_TRY=-O1 -g {}\ncmake --build {} --target candidate\n"
                                          "run.py --build {} --rival candidate .* {}/candidate.json"),
                    ([], "run.py --build {} --document docs/performance.md docs/performance/results.json")):
                told.unlink(missing_ok=True)
                subprocess.run([f"{folder}/scripts/bench", *options], check=True,
                               env={**os.environ, "PATH": f"{folder}/bin:{os.environ['PATH']}", "TOLD": str(told)})
                self.assertRegex(told.read_text(encoding="utf-8"),
                                 r"^setup build bench\nbuild bench\n" + last.replace("{}", "build/release") + r"\n$")

    def test_is_checked(self):
        results = measured(1)[0]
        with mock.patch.dict(ALLOCATIONS, before=3.5), self.assertRaisesRegex(SystemExit, "more and more"):
            measured(1)
        for name in ("new.svg", "load.svg"):
            with mock.patch.object(report, "draw", lambda _, folder, name=name: pathlib.Path(
                    folder, name).touch()), self.assertRaisesRegex(SystemExit, f"does not show {name}"):
                report.check(results, DOCUMENT)
        with mock.patch.object(report, "draw"):
            report.check(results, DOCUMENT)
            for path, value, refused in (
                    (("codec", "decode/hardSync/naive", "ratio", "median"), 1 / 3, "ratio of decode"),
                    (("codec", "decode/hardSync/naive", "library", "median"), 4, "is not timed"),
                    (("codec", "encode/hardSync/nanopb", "library", "median"), 0.3, "is not timed"),
                    (("codec", "decode/hardSync/naive"), None, "odd ones"),
                    (("advice", "merge", "after", "median"), 0.3, "is not timed"),
                    (("advice", "merge", "ratio", "median"), 2, "ratio of merge"),
                    (("advice", "merge", "allocations"), {"before": 1, "after": 3}, "allocates"),
                    (("advice", "keep", "allocations"), {"before": 0, "after": 0}, "allocates"),
                    (("advice", "arena"), None, "odd ones"),
                    (("sizes", "hardSync"), None, "odd ones"),
                    (("load", "resident"), None, "odd ones"),
                    (("load", "first descriptor", "stock", "median"), 900, "is not timed"),
                    (("load", "first descriptor"), row(3e12, 12e12), "is not timed"),
                    (("load", "relocations, symbolic"), row(3, 3), "as many symbols"),
                    (("load", "relocations, relative"), row(20000, 20000), "odd 100000.* of 250000"),
                    (("load", "resident"), row(100000, 400000), "odd 100000.* of 100000"),
                    (("load", "stripped size"), row(450000, 1000000), "stock build takes an odd 400000"),
                    (("load", "private memory after dlopen"), row(240000, 400000), "takes 240000 .* states 1"),
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
            text = DOCUMENT.read_text(encoding="utf-8")
            with tempfile.TemporaryDirectory() as folder:
                other = pathlib.Path(folder, DOCUMENT.name)
                other.with_suffix("").symlink_to(DOCUMENT.with_suffix("").resolve())
                for wrong, refused in (
                        (re.sub(r"(bench:dlopen -->)[^<]+", r"\1-1", text), "has other figures"),
                        (re.sub(r"<!-- bench:dlopen -->.*?<!-- /bench -->", "", text), "odd ones"),
                        (text + "<!-- bench:dlopen -->", "not closed")):
                    other.write_text(wrong, encoding="utf-8")
                    with self.assertRaisesRegex(SystemExit, refused):
                        report.check(results, other)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
