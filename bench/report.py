#!/usr/bin/env python3
"""Shows what run.py measured: on the terminal, as charts, in the document.

In the document, a figure stands between <!-- bench:NAME --> and <!-- /bench -->
and is written from the JSON alone.

usage: report.py RESULTS                             prints
       report.py --document FILE --charts DIR RESULTS  prints and writes
       report.py --check --document FILE RESULTS     fails unless complete
"""

import argparse
import json
import os
import re
import subprocess
import sys
import tempfile
import xml.dom.minidom

MESSAGES = ("envelope", "rotate", "imu", "hardSync", "battery", "tracer", "stream")
CODECS = ("naive", "recommended", "protozero", "protobuf-c", "nanopb", "FlatBuffers",
          "hand-written", "copy")
DIRECTIONS = ("encode", "decode")
LABELS = {"envelope": "rotate request in the envelope", "rotate": "rotate request",
          "imu": "`ImuAttiNaviData`", "hardSync": "`hardSync`",
          "battery": "`SingleBatteryInfo`", "tracer": "`tracerMeasureInfoMessage`, 16 targets",
          "stream": "`responseData`, 4096 bytes"}
LOAD = {"dlopen": "`dlopen`, the runtime already loaded",
        "dlopen with the runtime": "`dlopen`, the runtime with it",
        "first descriptor": "first descriptor use",
        "relocations, symbolic": "relocations that look up a symbol",
        "relocations, relative": "relocations that add the base",
        "dynamic symbols": "dynamic symbols",
        "stripped size": "stripped size",
        "resident": "resident of the file after `dlopen`",
        "private memory after dlopen": "memory of the process's own after `dlopen`"}
ADVICE = {"envelope-in-place": "payload serialised in place",
          "envelope-by-hand": "payload into the caller's buffer",
          "envelope-merge": "envelope merged in place",
          "merge": "rotate request merged in place",
          "type-url": "type URL compared",
          "buffer": "caller's buffer instead of a string",
          "assign": "mutable_data()->assign, 4096 bytes",
          "keep": "object kept, 16 targets",
          "arena": "arena instead of a new object",
          "arena-or-keep": "arena instead of a kept object",
          "arena-repeated": "arena, 16 targets",
          "json": "binary instead of JSON"}


def bars(results):
    """What the library is held to: name, figure, limit."""
    codec, summary, load = results["codec"], results["summary"], results["load"]
    worst = max(figure["ratio"]["median"] for figure in codec.values() if "ratio" in figure)

    def recommended(direction):
        return (codec[f"{direction}/envelope/recommended"]["library"]["median"] /
                codec[f"{direction}/envelope/naive"]["library"]["median"])

    return [
        ("encode, geometric mean, to stock", summary["encode"]["of_medians"], 0.94),
        ("decode, geometric mean, to stock", summary["decode"]["of_medians"], 0.95),
        ("nested encode, recommended, to stock",
         summary["encode, nested, recommended"]["of_medians"], 0.75),
        ("nested encode, naive, to stock",
         summary["encode, nested, naive"]["of_medians"], 0.75),
        ("`dlopen`, to stock", load["dlopen"]["ratio"]["median"], 0.80),
        ("the slowest message, to stock", worst, 1.25),
        ("envelope, encode, recommended to naive", recommended("encode"), 0.60),
        ("envelope, decode, recommended to naive", recommended("decode"), 0.60),
    ]


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |",
             "|" + "|".join("---" if i == 0 else "--:" for i in range(len(head))) + "|"]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows])


def nanoseconds(value):
    return f"{value:.1f}" if value < 20 else f"{value:.0f}"


def ratio(figure):
    return f"{figure['median']:.2f} ({figure['low']:.2f} to {figure['high']:.2f})"


def quantity(value, unit):
    if unit == "ns":
        return f"{value / 1e6:.2f} ms"
    if unit == "bytes":
        return f"{value / 1000:.0f} kB"
    return f"{value:.0f}"


def machine_sentence(results):
    m = results["machine"]
    return (f"{m['processor']}, {m['cores']} cores, {m['system']}, {m['compiler']}, "
            f"protobuf {m['protobuf']}; {results['rounds']} rounds, for loading "
            f"{results['load_rounds']}.")


def bars_table(results):
    return table(("", "measured", "at most"),
                 [(name, f"{value:.2f}", f"{limit:.2f}") for name, value, limit in bars(results)])


def ratio_table(results):
    heads = [(direction, form) for direction in DIRECTIONS for form in ("naive", "recommended")]
    rows = [(LABELS[message], *(ratio(results["codec"][f"{d}/{message}/{f}"]["ratio"])
                                for d, f in heads)) for message in MESSAGES]
    rows.append(("geometric mean", *(ratio(results["summary"][f"{d}, {f}"]) for d, f in heads)))
    return table(("", *(f"{d}, {f}" for d, f in heads)), rows)


def codec_table(results, direction):
    rows = []
    for message in MESSAGES:
        figures = [results["codec"][f"{direction}/{message}/{codec}"]["library"]["median"]
                   for codec in CODECS]
        rows.append((f"{LABELS[message]} ({results['sizes'][message]} bytes)",
                     *map(nanoseconds, figures)))
    return table(("ns", *CODECS), rows)


def load_table(results):
    rows = []
    for metric, label in LOAD.items():
        row = results["load"][metric]
        rows.append((label, *(quantity(row[name]["median"], row["unit"])
                              for name in ("library", "stock")), ratio(row["ratio"])))
    return table(("", "library", "stock build", "ratio"), rows)


def advice_sentence(results, name):
    figure = results["advice"][name]
    before, after = (nanoseconds(figure[way]["median"]) for way in ("before", "after"))
    factor = figure["ratio"]["median"]
    factor = f"{factor:.2f}" if factor >= 0.1 else f"{factor:.3f}"
    return f"{before} ns become {after} ns, a factor of {factor}"


def rendered(name, results):
    """What belongs between the marks of this name."""
    blocks = {"machine": machine_sentence, "bars": bars_table, "ratios": ratio_table,
              "load": load_table,
              "encode": lambda r: codec_table(r, "encode"),
              "decode": lambda r: codec_table(r, "decode")}
    if name in blocks:
        text = blocks[name](results)
        return text if "\n" not in text else f"\n{text}\n"
    if name.startswith("advice/"):
        return advice_sentence(results, name[len("advice/"):])
    sys.exit(f"report: the document asks for '{name}', which nobody measures")


MARKS = re.compile(r"(<!-- bench:(\S+) -->).*?(<!-- /bench -->)", re.DOTALL)


def filled(document, results):
    if document.count("<!-- bench:") != len(MARKS.findall(document)):
        sys.exit("report: a mark in the document is not closed")
    return MARKS.sub(lambda m: m[1] + rendered(m[2], results) + m[3], document)


# ---- Charts

COLORS = {"naive": "#1b4f8f", "recommended": "#3d8bd9", "protozero": "#c2572b",
          "protobuf-c": "#8a6d1f", "nanopb": "#6b6b6b", "FlatBuffers": "#7a3d91",
          "hand-written": "#2b7a4b", "copy": "#9bbf9b"}
POINTS = (7, 5, 9, 11, 13, 15, 4, 6)


def gnuplot(path, width, height, commands):
    script = "\n".join((
        f"set terminal svg size {width},{height} dynamic background '#ffffff' "
        "font 'sans-serif,13' noenhanced",
        f"set output '{path}'",
        "set border 3 lc '#888888'; set tics nomirror out textcolor '#333333'",
        "set grid xtics lc '#e4e4e4' lt 1", *commands, ""))
    result = subprocess.run(["gnuplot"], input=script, text=True, check=False,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    if result.returncode != 0 or result.stdout:
        sys.exit(f"gnuplot: {result.stdout}")


def rows_axis(labels):
    ticks = ", ".join(f'"{label}" {i}' for i, label in enumerate(labels))
    return f"set ytics ({ticks}); set yrange [{len(labels) - 0.4}:-0.6]"


def data(name, rows):
    return "\n".join([f"${name} << EOD", *(" ".join(map(str, row)) for row in rows), "EOD"])


def codec_chart(results, direction, path):
    commands, plots = [], []
    for number, codec in enumerate(CODECS):
        block = f"c{number}"
        commands.append(data(block, [
            (results["codec"][f"{direction}/{message}/{codec}"]["library"]["median"], i)
            for i, message in enumerate(MESSAGES)]))
        label = f"library, {codec}" if codec in ("naive", "recommended") else codec
        plots.append(f"${block} using 1:2 with points pt {POINTS[number]} ps 1.1 "
                     f"lc '{COLORS[codec]}' title '{label}'")
    gnuplot(path, 860, 430, [
        *commands, rows_axis(MESSAGES), "set logscale x",
        f"set xlabel 'ns to {direction}, logarithmic (less is better)' textcolor '#333333'",
        "set key outside right top Left reverse", "set grid ytics lc '#f2f2f2' lt 1",
        "plot " + ", ".join(plots)])


def ratio_chart(results, path):
    series = [(d, f) for d in DIRECTIONS for f in ("naive", "recommended")]
    colors = ("#1b4f8f", "#3d8bd9", "#a8431c", "#e08a5f")
    commands, plots = [], []
    for number, (direction, form) in enumerate(series):
        rows = []
        for i, message in enumerate(MESSAGES):
            figure = results["codec"][f"{direction}/{message}/{form}"]["ratio"]
            rows.append((figure["median"], i - 0.24 + 0.16 * number, figure["low"],
                         figure["high"]))
        commands.append(data(f"r{number}", rows))
        plots.append(f"$r{number} using 1:2:3:4 with xerrorbars pt 7 ps 0.8 lw 1.6 "
                     f"lc '{colors[number]}' title '{direction}, {form}'")
    gnuplot(path, 860, 460, [
        *commands, rows_axis(MESSAGES), "set xrange [0.5:1.3]",
        "set arrow from 1, graph 0 to 1, graph 1 nohead lc '#555555' dt 2",
        "set xlabel 'time, library to stock build: median and quartiles (less is better)' "
        "textcolor '#333333'",
        "set key outside right top Left reverse", "plot " + ", ".join(plots)])


def bar_chart(rows, title, path):
    """Horizontal bars of factors."""
    labels = [label for label, _ in rows]
    boxes = [(value, i, f"{value:.2f}" if value >= 0.1 else f"{value:.3f}")
             for i, (_, value) in enumerate(rows)]
    gnuplot(path, 860, 90 + 32 * len(rows), [
        data("b", boxes), rows_axis(labels),
        f"set xrange [0:{max(1.2, 1.15 * max(value for _, value in rows))}]",
        "set arrow from 1, graph 0 to 1, graph 1 nohead lc '#555555' dt 2",
        f"set xlabel '{title}' textcolor '#333333'", "set style fill solid 0.85 noborder",
        "plot $b using (0):2:(0):1:($2-0.32):($2+0.32) with boxxyerror lc '#3d8bd9' notitle, "
        "$b using 1:2:3 with labels left offset 0.6,0 textcolor '#333333' notitle"])


def draw(results, directory):
    os.makedirs(directory, exist_ok=True)
    for direction in DIRECTIONS:
        codec_chart(results, direction, f"{directory}/{direction}.svg")
    ratio_chart(results, f"{directory}/ratios.svg")
    load = [(label.replace("`", ""), results["load"][metric]["ratio"]["median"])
            for metric, label in LOAD.items() if metric != "relocations, relative"]
    bar_chart(load, "library to stock build (less is better)", f"{directory}/load.svg")
    bar_chart([(label, results["advice"][name]["ratio"]["median"])
               for name, label in ADVICE.items()],
              "time after to time before", f"{directory}/advice.svg")


# ---- The terminal

def show(results):
    rival = results["rival"]
    print(f"time of the library to the {rival} build: median (quartiles)")
    for key, figure in results["codec"].items():
        if "ratio" in figure:
            print(f"  {key:32} {ratio(figure['ratio']):24} "
                  f"{nanoseconds(figure['library']['median'])} ns")
    for name, figure in results["summary"].items():
        print(f"  mean of {name:24} {ratio(figure)}")
    for metric, row in results["load"].items():
        print(f"  {metric:32} {ratio(row['ratio']):24} "
              f"{quantity(row['library']['median'], row['unit'])}")
    if rival == "stock":
        for name in results["advice"]:
            print(f"  advice {name:25} {advice_sentence(results, name)}")
        for name, value, limit in bars(results):
            print(f"  {'met   ' if value <= limit else 'NOT MET'} {name}: "
                  f"{value:.3f}, at most {limit:.2f}")


def check(results, document):
    """Fails unless all that the document promises was measured."""
    wanted = {f"{d}/{m}/{c}" for d in DIRECTIONS for m in MESSAGES for c in CODECS}
    if set(results["codec"]) != wanted:
        sys.exit(f"report: odd ones among the benchmarks: {wanted ^ set(results['codec'])}")
    if set(results["load"]) != set(LOAD) or set(results["advice"]) != set(ADVICE):
        sys.exit("report: a figure of loading or an advice is missing or unknown")
    for name, value, _ in bars(results):
        if not 0 < value < 100:
            sys.exit(f"report: {name} is {value}")
    with open(document, encoding="utf-8") as file:
        text = file.read()
    for name in ADVICE:
        if f"<!-- bench:advice/{name} -->" not in text:
            sys.exit(f"report: {document} says nothing of the advice '{name}'")
    filled(text, results)
    folder = os.path.splitext(document)[0]
    with open(f"{folder}/results.json", encoding="utf-8") as file:
        if filled(text, json.load(file)) != text:
            sys.exit(f"report: {document} has other figures than {folder}/results.json")
    with tempfile.TemporaryDirectory() as directory:
        draw(results, directory)
        for name in os.listdir(directory):
            xml.dom.minidom.parse(f"{directory}/{name}")
            if f"/{name})" not in text or not os.path.exists(f"{folder}/{name}"):
                sys.exit(f"report: {document} does not show {name}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--check", action="store_true")
    parser.add_argument("--document")
    parser.add_argument("--charts")
    parser.add_argument("results")
    args = parser.parse_args()
    with open(args.results, encoding="utf-8") as file:
        results = json.load(file)
    if args.check:
        check(results, args.document)
        return
    show(results)
    if args.document:
        with open(args.document, encoding="utf-8") as file:
            text = filled(file.read(), results)
        with open(args.document, "w", encoding="utf-8") as file:
            file.write(text)
        draw(results, args.charts)


if __name__ == "__main__":
    main()
