#!/usr/bin/env python3
"""Runs the benchmark programs and writes what they measured as JSON.

The library and what it is compared with take turns in short slices, each in a
process of its own, so that whatever slows the machine down meets both. A figure
is the median over the rounds, a ratio the median of the ratios within a round.

usage: run.py --build DIR --rival NAME --rounds N --slice SECONDS OUTPUT
"""

import argparse
import json
import math
import os
import platform
import re
import statistics
import subprocess
import sys
import tempfile

FORMS = ("naive", "recommended")


def geometric_mean(values):
    return math.exp(statistics.fmean(math.log(value) for value in values))


def spread(values):
    """The median and the quartiles."""
    if len(values) < 2:
        return {"median": values[0], "low": values[0], "high": values[0]}
    low, median, high = statistics.quantiles(values, n=4, method="inclusive")
    return {"median": median, "low": low, "high": high}


def run(program, library, *options):
    """One process of a benchmark program: its figures by name."""
    environment = dict(os.environ, LD_LIBRARY_PATH=os.path.dirname(library),
                       ZORVIKPBPROTO_LIBRARY=library)
    result = subprocess.run(
        [program, "--benchmark_format=json", *options],
        env=environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if result.returncode != 0:
        sys.exit(f"{program} failed: {result.stderr}")
    report = json.loads(result.stdout)
    measured = os.path.realpath(report["context"]["library"])
    if measured != library:
        sys.exit(f"{program} measured {measured} and not {library}")
    figures = {}
    for entry in report["benchmarks"]:
        if entry.get("error_occurred"):
            sys.exit(f"{entry['name']}: {entry['error_message']}")
        if entry["time_unit"] != "ns":
            sys.exit(f"{entry['name']} is not in nanoseconds")
        figures[entry["name"]] = entry
    if not figures:
        sys.exit(f"{program} measured nothing")
    return figures


class Progress:
    def __init__(self, what, rounds):
        self.what, self.rounds = what, rounds

    def __iter__(self):
        shown = sys.stderr.isatty()
        for number in range(self.rounds):
            if shown:
                print(f"\r{self.what}: round {number + 1} of {self.rounds}",
                      end="", file=sys.stderr, flush=True)
            yield number
        end = "\r" if shown else ""
        print(f"{end}{self.what}: {self.rounds} rounds   ", file=sys.stderr, flush=True)


def in_turns(number, pairs):
    """The order changes from round to round."""
    return pairs if number % 2 == 0 else pairs[::-1]


def measure_codecs(args, libraries):
    program = f"{args.build}/bench/codec_bench"
    slice_ = f"--benchmark_min_time={args.slice}"
    both = "--benchmark_filter=/(" + "|".join(FORMS) + ")$"
    others = "--benchmark_filter=-/(" + "|".join(FORMS) + ")$"
    times, sizes = {}, {}
    for number in Progress("codec", args.rounds):
        for name, library in in_turns(number, list(libraries.items())):
            for key, entry in run(program, library, slice_, both).items():
                times.setdefault(key, {}).setdefault(name, []).append(entry["cpu_time"])
                if "bytes" in entry:
                    sizes[key.split("/")[1]] = int(entry["bytes"])
        if args.peers and number % 3 == 0:  # For orientation: fewer rounds.
            for key, entry in run(program, libraries["library"], slice_, others).items():
                times.setdefault(key, {}).setdefault("library", []).append(entry["cpu_time"])
    return times, sizes


def compared(times, rival):
    """Medians of each, and of the ratios within a round."""
    figures = {}
    for key, by_name in times.items():
        figures[key] = {name: spread(values) for name, values in by_name.items()}
        if rival in by_name:
            figures[key]["ratio"] = spread(
                [a / b for a, b in zip(by_name["library"], by_name[rival])])
    return figures


def summary(times, rival):
    """Geometric means of the ratios to the rival, round by round."""
    groups = {}
    for key, by_name in times.items():
        direction, message, form = key.split("/")
        if form not in FORMS:
            continue
        ratios = [a / b for a, b in zip(by_name["library"], by_name[rival])]
        names = [direction, f"{direction}, {form}"]
        if message in ("hardSync", "rotate"):
            names.append(f"{direction}, nested, {form}")
        for name in names:
            groups.setdefault(name, []).append(ratios)
    return {name: dict(spread([geometric_mean(column) for column in zip(*rows)]),
                       of_medians=geometric_mean([statistics.median(r) for r in rows]))
            for name, rows in groups.items()}


def measure_advice(args, libraries):
    program = f"{args.build}/bench/advice_bench"
    times = {}
    for _ in Progress("advice", args.rounds):
        for key, entry in run(program, libraries["library"],
                              f"--benchmark_min_time={args.slice}").items():
            times.setdefault(key, []).append(entry["cpu_time"])
    advice = {}
    for key in times:
        name, way = key.split("/")[1:]
        if way != "before":
            continue
        before, after = times[key], times[f"advice/{name}/after"]
        advice[name] = {"before": spread(before), "after": spread(after),
                        "ratio": spread([b / a for a, b in zip(before, after)])}
    return advice


def static_figures(library):
    """What the file says without being run."""
    relocations = subprocess.run(["readelf", "-rW", library], check=True,
                                 stdout=subprocess.PIPE, text=True).stdout
    kinds = re.findall(r"^[0-9a-f]+ +[0-9a-f]+ (R_\w+)", relocations, re.MULTILINE)
    relative = sum(kind.endswith("_RELATIVE") for kind in kinds)
    symbols = subprocess.run(["readelf", "--dyn-syms", "-W", library], check=True,
                             stdout=subprocess.PIPE, text=True).stdout
    count = int(re.search(r"contains (\d+) entries", symbols).group(1))
    with tempfile.TemporaryDirectory() as directory:
        stripped = f"{directory}/stripped"
        subprocess.run(["strip", "-o", stripped, library], check=True)
        size = os.path.getsize(stripped)
    return {"relocations, symbolic": len(kinds) - relative,
            "relocations, relative": relative,
            "dynamic symbols": count,
            "stripped size": size}


def measure_load(args, libraries, rival):
    rows = {}

    def add(metric, unit, name, value):
        rows.setdefault(metric, {"unit": unit}).setdefault(name, []).append(value)

    for number in Progress("load", args.load_rounds):
        for name, library in in_turns(number, list(libraries.items())):
            figures = run(f"{args.build}/bench/load_bench", library)
            load = figures["load/dlopen/iterations:1/manual_time"]
            first = figures["load/first_descriptor/iterations:1/manual_time"]
            add("dlopen", "ns", name, load["real_time"])
            add("first descriptor", "ns", name, first["real_time"])
            add("resident", "bytes", name, load["resident"])
            add("private memory after dlopen", "bytes", name, load["private"])
            figures = run(f"{args.build}/bench/load_with_runtime_bench", library)
            add("dlopen with the runtime", "ns", name,
                figures["load/dlopen/iterations:1/manual_time"]["real_time"])
    for name, library in libraries.items():
        for metric, value in static_figures(library).items():
            add(metric, "bytes" if metric.endswith("size") else "", name, value)
    for row in rows.values():
        # Paired where there are pairs; a count is one figure each.
        row["ratio"] = spread([a / b for a, b in zip(row["library"], row[rival])])
        for name in libraries:
            row[name] = spread(row[name])
    return rows


def machine(build):
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        model = re.search(r"model name\s*: (.*)", file.read())
    with open(f"{build}/CMakeCache.txt", encoding="utf-8") as file:
        compiler = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.*)", file.read(), re.MULTILINE).group(1)
    version = subprocess.run([compiler, "-dumpfullversion"], check=True,
                             stdout=subprocess.PIPE, text=True).stdout.strip()
    protoc = subprocess.run(["protoc", "--version"], check=True,
                            stdout=subprocess.PIPE, text=True).stdout.split()[-1]
    try:
        system = platform.freedesktop_os_release()["PRETTY_NAME"]
    except OSError:
        system = platform.system()
    return {"processor": (model.group(1) if model else platform.machine()),
            "cores": os.cpu_count(), "system": system,
            "compiler": f"GCC {version}", "protobuf": protoc}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("--rival", default="stock", choices=("stock", "candidate"))
    parser.add_argument("--rounds", type=int, default=60)
    parser.add_argument("--load-rounds", type=int, default=100)
    parser.add_argument("--slice", type=float, default=0.02)
    parser.add_argument("output")
    args = parser.parse_args()
    args.peers = args.rival == "stock"
    args.build = os.path.realpath(args.build)
    soname = "libZorvikPBProto.so.2"
    libraries = {"library": os.path.realpath(f"{args.build}/{soname}"),
                 args.rival: os.path.realpath(f"{args.build}/bench/{args.rival}/{soname}")}

    times, sizes = measure_codecs(args, libraries)
    results = {"machine": machine(args.build), "rival": args.rival,
               "rounds": args.rounds, "load_rounds": args.load_rounds,
               "sizes": sizes,
               "codec": compared(times, args.rival),
               "summary": summary(times, args.rival),
               "load": measure_load(args, libraries, args.rival)}
    if args.peers:
        results["advice"] = measure_advice(args, libraries)
    with open(args.output, "w", encoding="utf-8") as file:
        json.dump(results, file, indent=1)
        file.write("\n")


if __name__ == "__main__":
    main()
