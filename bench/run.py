#!/usr/bin/env -S python3 -B
"""Runs the benchmark programs, writes what they measured as JSON, and shows it.

The library and what it is compared with take turns in short slices, each in a
process of its own, so that whatever slows the machine down meets both. A figure
is the median over the rounds, a ratio the median of the ratios within a round.

usage: run.py --build DIR [--rival NAME] [--rounds N] [--load-rounds N]
              [--slice SECONDS] [--document FILE [--check]] RESULTS
"""

import argparse
import filecmp
import json
import os
import pathlib
import platform
import re
import statistics
import subprocess
import sys
import tempfile

import report


def spread(values):
    """The median and the quartiles."""
    values = values if len(values) > 1 else 2 * values  # Of which there are quartiles.
    low, median, high = statistics.quantiles(values, n=4, method="inclusive")
    return {"median": median, "low": low, "high": high}


def run(program, library, *options):
    """One process of a benchmark program: its figures by name."""
    environment = dict(os.environ, LD_LIBRARY_PATH=os.path.dirname(library),
                       ZORVIKPBPROTO_LIBRARY=library)
    result = subprocess.run([program, "--benchmark_format=json", *options], env=environment,
                            capture_output=True, text=True)
    if result.returncode != 0:
        sys.exit(f"{program} failed: {result.stderr}")
    output = json.loads(result.stdout)
    measured = os.path.realpath(output["context"]["library"])
    if measured != library:
        sys.exit(f"{program} measured {measured} and not {library}")
    figures = {}
    for entry in output["benchmarks"]:
        if entry.get("error_occurred") or entry["time_unit"] != "ns":
            sys.exit(f"{entry['name']}: {entry.get('error_message', 'not in nanoseconds')}")
        figures[entry["name"]] = entry
    return figures


def progress(what, rounds):
    shown = sys.stderr.isatty()
    for number in range(rounds):
        if shown:
            print(f"\r{what}: round {number + 1} of {rounds}", end="", file=sys.stderr, flush=True)
        yield number
    print("\r" * shown + f"{what}: {rounds} rounds   ", file=sys.stderr, flush=True)


def measure_codecs(args, libraries):
    program = f"{args.build}/bench/codec_bench"
    time = f"--benchmark_min_time={args.slice}"
    forms = "/(" + "|".join((*report.FORMS, "topics")) + ")$"
    both, others = f"--benchmark_filter={forms}", f"--benchmark_filter=-{forms}"
    times, sizes = {}, {}
    for number in progress("codec", args.rounds):
        for name, library in list(libraries.items())[::1 if number % 2 else -1]:  # In turns.
            for key, entry in run(program, library, time, both).items():
                times.setdefault(key, {}).setdefault(name, []).append(entry["cpu_time"])
                if "bytes" in entry:
                    sizes[key.split("/")[1]] = int(entry["bytes"])
        if args.peers and number % 3 == 0:  # For orientation: fewer rounds.
            for key, entry in run(program, libraries["library"], time, others).items():
                times.setdefault(key, {}).setdefault("library", []).append(entry["cpu_time"])
    return times, sizes


def compared(values, over, under):
    """The spread of each, and of the ratios within a round."""
    figures = {name: spread(row) for name, row in values.items()}
    if under in values:
        figures["ratio"] = spread([a / b for a, b in zip(values[over], values[under])])
    return figures


def topics_ratios(times):
    """The typed topics to others, round by round; the peers skip rounds."""
    return {d: {codec: spread([a / b for a, b in zip(
        times[f"{d}/{report.TOPICS}/topics"]["library"][::3 if codec == "protozero" else 1],
        times[f"{d}/{report.TOPICS}/{codec}"]["library"])])
        for codec in report.OTHERS} for d in report.DIRECTIONS}


def summary(times, rival):
    """Geometric means of the ratios to the rival, round by round."""
    groups = {}
    for key, by_name in times.items():
        direction, _, form = key.split("/")
        if form not in report.FORMS:
            continue
        ratios = [a / b for a, b in zip(by_name["library"], by_name[rival])]
        for name in (direction, f"{direction}, {form}"):
            groups.setdefault(name, []).append(ratios)
    return {name: spread([statistics.geometric_mean(column) for column in zip(*rows)])
            for name, rows in groups.items()}


def measure_advice(args, libraries):
    times, allocations = {}, {}
    for _ in progress("advice", args.rounds):
        for key, entry in run(f"{args.build}/bench/advice_bench", libraries["library"],
                              f"--benchmark_min_time={args.slice}").items():
            _, name, way = key.split("/")
            times.setdefault(name, {}).setdefault(way, []).append(entry["cpu_time"])
            allocations.setdefault(name, {})[way] = round(entry["allocations"])
            if entry["allocations"] % 1:
                sys.exit(f"{key} allocates more and more")
    return {name: {**compared(ways, "after", "before"), "allocations": allocations[name]}
            for name, ways in times.items()}


def output_of(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


def static_figures(library):
    """What the file says without being run."""
    relocations = output_of("readelf", "-rW", library)
    kinds = re.findall(r"^[0-9a-f]+ +[0-9a-f]+ (R_\w+)", relocations, re.MULTILINE)
    relative = sum(kind.endswith("_RELATIVE") for kind in kinds)
    with tempfile.TemporaryDirectory() as directory:
        stripped = f"{directory}/stripped"
        output_of("strip", "-o", stripped, library)
        size = os.path.getsize(stripped)
    return {"relocations, symbolic": len(kinds) - relative,
            "relocations, relative": relative,
            "stripped size": size}


def measure_load(args, libraries, rival):
    rows, units = {}, {}

    def add(metric, unit, name, value):
        units[metric] = unit
        rows.setdefault(metric, {}).setdefault(name, []).append(value)

    for number in progress("load", args.load_rounds):
        for name, library in list(libraries.items())[::1 if number % 2 else -1]:  # In turns.
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
    return {metric: {"unit": units[metric], **compared(row, "library", rival)}
            for metric, row in rows.items()}


def machine(build):
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        model = re.search(r"model name\s*: (.*)", file.read())
    with open(f"{build}/CMakeCache.txt", encoding="utf-8") as file:
        compiler = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.*)", file.read(), re.MULTILINE)[1]
    return {"processor": model[1] if model else platform.machine(),
            "cores": os.cpu_count(), "system": platform.freedesktop_os_release()["PRETTY_NAME"],
            "compiler": f"GCC {output_of(compiler, '-dumpfullversion').strip()}",
            "protobuf": output_of("protoc", "--version").split()[-1]}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("--rival", default="stock", choices=("stock", "candidate"))
    parser.add_argument("--rounds", type=int, default=60)
    parser.add_argument("--load-rounds", type=int, default=100)
    parser.add_argument("--slice", type=float, default=0.02)
    parser.add_argument("--document", type=pathlib.Path)
    parser.add_argument("--check", action="store_true")
    parser.add_argument("results")
    args = parser.parse_args()
    args.peers = args.rival == "stock"
    args.build = os.path.realpath(args.build)
    libraries = {name: os.path.realpath(f"{args.build}{folder}/libZorvikPBProto.so.2") for name, folder
                 in (("library", ""), (args.rival, f"/bench/{args.rival}"))}
    if filecmp.cmp(*libraries.values(), shallow=False):
        sys.exit(f"run: the library and the {args.rival} build are the same file")
    os.sync()  # Pages of a new file that are not yet written would count as private.
    times, sizes = measure_codecs(args, libraries)
    results = {"machine": machine(args.build), "rival": args.rival,
               "rounds": args.rounds, "load_rounds": args.load_rounds,
               "sizes": sizes,
               "codec": {key: compared(by_name, "library", args.rival)
                         for key, by_name in times.items()},
               "summary": summary(times, args.rival),
               "load": measure_load(args, libraries, args.rival)}
    if args.peers:
        results["topics"] = topics_ratios(times)
        results["advice"] = measure_advice(args, libraries)
    with open(args.results, "w", encoding="utf-8") as file:
        json.dump(results, file, indent=1)
        file.write("\n")
    if args.check:
        report.check(results, args.document)
        return
    report.show(results)
    if args.document:
        report.write(results, args.document)


if __name__ == "__main__":
    main()
