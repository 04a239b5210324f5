"""What run.py measured: on the terminal, as charts, in the document.

In the document, a figure stands between <!-- bench:NAME --> and <!-- /bench -->
and is written from the JSON alone.
"""

import filecmp
import json
import math
import os
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile

MESSAGES = {"channelTopicMessage": "rotate request in the envelope",
            "UavGimbalRotateReqMessage": "rotate request",
            "ImuAttiNaviData": "`ImuAttiNaviData`", "hardSync": "`hardSync`",
            "SingleBatteryInfo": "`SingleBatteryInfo`",
            "tracerMeasureInfoMessage": "`tracerMeasureInfoMessage`, 16 targets",
            "responseData": "`responseData`, 4096 bytes"}
FORMS = ("naive", "recommended")
CODECS = {"naive": "#1b4f8f", "recommended": "#3d8bd9", "protozero": "#c2572b",
          "nanopb": "#6b6b6b", "copy": "#9bbf9b"}
DIRECTIONS = ("encode", "decode")
LOAD = {"dlopen": "`dlopen`, the runtime already loaded",
        "dlopen with the runtime": "`dlopen`, the runtime with it",
        "first descriptor": "first descriptor use",
        "relocations, symbolic": "relocations that look up a symbol",
        "relocations, relative": "relocations that add the base",
        "stripped size": "stripped size",
        "resident": "resident of the file after `dlopen`",
        "private memory after dlopen": "memory of the process's own after `dlopen`"}
TOPICS = "channelTopicMessage"  # All that the typed topics write.
OTHERS = ("naive", "recommended", "protozero")
ADVICE = {"merge": "rotate request merged in place",
          "buffer": "caller's buffer instead of a string",
          "assign": "mutable_data()->assign, 4096 bytes",
          "keep": "object kept, 16 targets",
          "arena": "arena instead of a new object",
          "arena-or-keep": "arena instead of a kept object",
          "arena-repeated": "arena, 16 targets",
          "json": "binary instead of JSON"}


def table(head, rows):
    lines = [head, ["---"] + ["--:"] * (len(head) - 1), *rows]
    return "\n" + "".join("| " + " | ".join(line) + " |\n" for line in lines)


def nanoseconds(value):
    return f"{value:.1f}" if value < 20 else f"{value:.0f}"


def factor(value):
    return f"{value:.2f}" if value >= 0.1 else f"{value:.3f}"


def ratio(figure):
    return f"{figure['median']:.2f} ({figure['low']:.2f} to {figure['high']:.2f})"


def quantity(value, unit):
    if unit == "ns":
        return f"{value / 1e6:.2f} ms"
    return f"{value / 1000:.0f} kB" if unit == "bytes" else f"{value:.0f}"


def machine(results):
    m = results["machine"]
    return (f"{m['processor']}, {m['cores']} cores, {m['system']}, {m['compiler']}, "
            f"protobuf {m['protobuf']}; {results['rounds']} rounds, for loading "
            f"{results['load_rounds']}.")


def time(results, direction, message, codec):
    """Nanoseconds; a copy is the same in both directions."""
    key = f"{'copy' if codec == 'copy' else direction}/{message}/{codec}"
    return results["codec"][key]["library"]["median"]


def ratio_table(results):
    heads = [(d, form) for d in DIRECTIONS for form in FORMS]
    rows = [(label, *(ratio(results["codec"][f"{d}/{message}/{form}"]["ratio"])
                      for d, form in heads)) for message, label in MESSAGES.items()]
    rows.append(("geometric mean", *(ratio(results["summary"][f"{d}, {f}"]) for d, f in heads)))
    return table(("", *(f"{d}, {form}" for d, form in heads)), rows)


def codec_table(results, direction):
    return table(("ns", *CODECS), [
        (f"{label} ({results['sizes'][message]} bytes)",
         *(nanoseconds(time(results, direction, message, codec)) for codec in CODECS))
        for message, label in MESSAGES.items()])


def topics_table(results):
    """The typed topics to the other ways to the same envelope."""
    return table(("", "ns", *(f"to {codec}" for codec in OTHERS)), [
        (d, nanoseconds(time(results, d, TOPICS, "topics")),
         *(ratio(results["topics"][d][codec]) for codec in OTHERS)) for d in DIRECTIONS])


def load_table(results):
    rows = [(label, *(quantity(row[name]["median"], row["unit"]) for name in ("library", "stock")),
             ratio(row["ratio"]))
            for label, row in ((label, results["load"][name]) for name, label in LOAD.items())]
    return table(("", "library", "stock build", "ratio"), rows)


def advice_sentence(results, name):
    figure = results["advice"][name]
    before, after = (nanoseconds(figure[way]["median"]) for way in ("before", "after"))
    return f"{before} ns become {after} ns, a factor of {factor(figure['ratio']['median'])}"


def rendered(name, results):
    """What belongs between the marks of this name."""
    blocks = {"machine": machine, "ratios": ratio_table, "load": load_table,
              "topics": topics_table,
              "dlopen": lambda r: factor(r["load"]["dlopen"]["ratio"]["median"]),
              **{f"mean/{d}": lambda r, d=d: factor(r["summary"][d]["median"])
                 for d in DIRECTIONS},
              **{d: lambda r, d=d: codec_table(r, d) for d in DIRECTIONS},
              **{f"advice/{a}": lambda r, a=a: advice_sentence(r, a) for a in ADVICE}}
    if name not in blocks:
        sys.exit(f"report: the document asks for '{name}', which nobody measures")
    return blocks[name](results)


MARKS = re.compile(r"(<!-- bench:(\S+) -->).*?(<!-- /bench -->)", re.DOTALL)


def filled(document, results):
    if document.count("<!-- bench:") != len(MARKS.findall(document)):
        sys.exit("report: a mark in the document is not closed")
    return MARKS.sub(lambda m: m[1] + rendered(m[2], results) + m[3], document)


# ---- Charts

CANVAS = '<g id="gnuplot_canvas">'
# In a dark scheme, light and dark change places and the colours stay.
DARK = ("<style>@media (prefers-color-scheme: dark) { #gnuplot_canvas "
        "{ filter: invert(0.9) hue-rotate(180deg); } }</style>")


def chart(path, labels, height, commands, plots):
    """One row for each label; plots are (rows of data, how to draw them)."""
    blocks = ["\n".join([f"$d{i} << EOD", *(" ".join(map(str, row)) for row in rows), "EOD"])
              for i, (rows, _) in enumerate(plots)]
    ticks = ", ".join(f'"{label}" {i}' for i, label in enumerate(labels))
    script = "\n".join((
        f"set terminal svg size 860,{height} dynamic background '#ffffff' "
        "font 'sans-serif,13' noenhanced",
        f"set output '{path}'",
        "set border 3 lc '#888888'; set tics nomirror out textcolor '#333333'",
        "set grid xtics lc '#e4e4e4' lt 1; set key outside right top Left reverse",
        f"set ytics ({ticks}); set yrange [{len(labels) - 0.4}:-0.6]", *commands, *blocks,
        "plot " + ", ".join(f"$d{i} using {how}" for i, (_, how) in enumerate(plots)), ""))
    result = subprocess.run(["gnuplot"], input=script, text=True, check=False,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    if result.returncode != 0 or result.stdout:
        sys.exit(f"gnuplot: {result.stdout}")
    drawn = pathlib.Path(path)
    drawn.write_text(drawn.read_text().replace(CANVAS, f"{DARK}\n{CANVAS}", 1))


EVEN = "set arrow from 1, graph 0 to 1, graph 1 nohead lc '#555555' dt 2"


def codec_chart(results, direction, path):
    chart(path, MESSAGES, 430, [
        "set logscale x", "set grid ytics lc '#f2f2f2' lt 1",
        f"set xlabel 'ns to {direction}, logarithmic (less is better)' textcolor '#333333'"],
        [([(time(results, direction, message, codec), i) for i, message in enumerate(MESSAGES)],
          f"1:2 with points pt {5 + 2 * number} ps 1.1 lc '{color}' title "
          f"'{f'library, {codec}' if codec in FORMS else codec}'")
         for number, (codec, color) in enumerate(CODECS.items())])


def ratio_chart(results, path):
    colors = ("#1b4f8f", "#3d8bd9", "#a8431c", "#e08a5f")
    plots = []
    for number, (direction, form) in enumerate((d, f) for d in DIRECTIONS for f in FORMS):
        figures = [results["codec"][f"{direction}/{message}/{form}"]["ratio"]
                   for message in MESSAGES]
        plots.append(([(f["median"], i - 0.24 + 0.16 * number, f["low"], f["high"])
                       for i, f in enumerate(figures)],
                      f"1:2:3:4 with xerrorbars pt 7 ps 0.8 lw 1.6 lc '{colors[number]}' "
                      f"title '{direction}, {form}'"))
    chart(path, MESSAGES, 460, [
        EVEN, "set xrange [0.5:1.3]", "set xlabel 'time, library to stock build: median and "
        "quartiles (less is better)' textcolor '#333333'"], plots)


def bar_chart(rows, title, path):
    """Horizontal bars of factors."""
    boxes = [(value, i, factor(value)) for i, value in enumerate(rows.values())]
    chart(path, rows, 90 + 32 * len(rows), [
        EVEN, f"set xrange [0:{max(1.2, 1.15 * max(rows.values()))}]",
        f"set xlabel '{title}' textcolor '#333333'", "set style fill solid 0.85 noborder"],
        [(boxes, "(0):2:(0):1:($2-0.32):($2+0.32) with boxxyerror lc '#3d8bd9' notitle"),
         (boxes, "1:2:3 with labels left offset 0.6,0 textcolor '#333333' notitle")])


def draw(results, directory):
    for direction in DIRECTIONS:
        codec_chart(results, direction, f"{directory}/{direction}.svg")
    ratio_chart(results, f"{directory}/ratios.svg")
    bar_chart({label.replace("`", ""): results["load"][name]["ratio"]["median"]
               for name, label in LOAD.items() if name != "relocations, relative"},
              "library to stock build (less is better)", f"{directory}/load.svg")
    bar_chart({label: results["advice"][name]["ratio"]["median"] for name, label in ADVICE.items()},
              "time after to time before", f"{directory}/advice.svg")


# ---- The terminal

def show(results):
    print(f"time of the library to the {results['rival']} build: median (quartiles)")
    for key, figure in results["codec"].items():
        if "ratio" in figure:
            print(f"  {key:48} {ratio(figure['ratio']):24} {nanoseconds(figure['library']['median'])} ns")
    for name, figure in results["summary"].items():
        print(f"  mean of {name:40} {ratio(figure)}")
    for name, row in results["load"].items():
        print(f"  {name:48} {ratio(row['ratio']):24} "
              f"{quantity(row['library']['median'], row['unit'])}")
    for name in results.get("advice", ()):
        print(f"  advice {name:41} {advice_sentence(results, name)}")


def write(results, document):
    text = document.read_text(encoding="utf-8")
    document.write_text(filled(text, results), encoding="utf-8")
    draw(results, document.with_suffix(""))


def check(results, document):
    """Fails unless all that the document shows was measured, the right way round."""
    def same(what, found, wanted):
        if set(found) != set(wanted):
            sys.exit(f"report: odd ones among {what}: {set(found) ^ set(wanted)}")

    same("the benchmarks", results["codec"], [
        f"{d}/{m}/{c}" for d in ("copy", *DIRECTIONS) for m in MESSAGES for c in CODECS
        if (d == "copy") == (c == "copy")] + [f"{d}/{TOPICS}/topics" for d in DIRECTIONS])
    same("the sizes", results["sizes"], MESSAGES)
    same("the figures of loading", results["load"], LOAD)
    same("the advice", results["advice"], ADVICE)

    # With one round, every ratio is that of two figures.
    rows = [(name, row, "library", "stock") for group in ("codec", "load") for name, row in results[group].items()]
    rows += [(name, row, "after", "before") for name, row in results["advice"].items()]
    for name, row, over, under in rows:
        # Any call takes five nanoseconds, but for a copy; to load takes a thousand, and no second.
        least = {None: 5 * (name[:4] != "copy"), "ns": 1000}.get(row.get("unit"), 0)
        figures = [row[w]["median"] for w in (over, under) if w in row]
        if not least < min(figures) <= max(figures) < 1e9:
            sys.exit(f"report: {name} is not timed")
        if ("ratio" in row or name.rpartition("/")[2] in (*FORMS, "topics")) and not math.isclose(
                row["ratio"]["median"] * row[under]["median"], row[over]["median"]):
            sys.exit(f"report: the ratio of {name} is not {over} to {under}")
    for name, row in results["advice"].items():
        before, after = (row["allocations"][way] for way in ("before", "after"))
        if after >= before and (after or name not in ("arena", "arena-or-keep")):
            sys.exit(f"report: {name} allocates {after} times, before {before} times")
    for d, codec in ((d, codec) for d in DIRECTIONS for codec in OTHERS):
        if not math.isclose(time(results, d, TOPICS, "topics"), time(results, d, TOPICS, codec) *
                            results["topics"][d][codec]["median"]):
            sys.exit(f"report: the ratio of the topics to {codec} is another one")
    for name, mean in results["summary"].items():
        ratios = [figure["ratio"]["median"] for key, figure in results["codec"].items()
                  if key.split("/")[2] in FORMS and (
                      key.split("/")[0] == name or ", ".join(key.split("/")[::2]) == name)]
        if not math.isclose(mean["median"], statistics.geometric_mean(ratios)):
            sys.exit(f"report: the mean of {name} is not that of its ratios")
    # What the build flags are for: they show in the file, at any speed.
    if (load := results["load"])["relocations, symbolic"]["ratio"]["median"] >= 1:
        sys.exit("report: the library looks up as many symbols as the stock build")
    for name in ("library", "stock"):  # Each relocation writes a pointer.
        written, private, resident, size = (sum(load[row][name]["median"] for row in load if row.startswith(
            start)) for start in ("relocations", "private", "resident", "stripped"))
        if not 8 * written < private < resident < size:
            sys.exit(f"report: the {name} build takes an odd {private} of {resident} of {size} bytes")
    folder = document.with_suffix("")
    stated = json.loads((folder / "results.json").read_text(encoding="utf-8"))
    # It depends little on the machine.
    private, known = (r["load"]["private memory after dlopen"]["library"]["median"] for r in (results, stated))
    if not known / 2 < private < known * 2:
        sys.exit(f"report: the library takes {private} bytes of the process's own, {document} states {known}")

    text = document.read_text(encoding="utf-8")
    same("the marks in the document", [mark[1] for mark in MARKS.findall(text)],
         ["machine", "ratios", "load", "dlopen", "topics", *DIRECTIONS,
          *(f"mean/{d}" for d in DIRECTIONS), *(f"advice/{a}" for a in ADVICE)])
    filled(text, results)
    if filled(text, stated) != text:
        sys.exit(f"report: {document} has other figures than {folder}/results.json")
    with tempfile.TemporaryDirectory() as directory:
        draw(stated, directory)
        for name in os.listdir(directory):
            if f"/{name})" not in text or not filecmp.cmp(f"{directory}/{name}", folder / name, False):
                sys.exit(f"report: {document} does not show {name} with its figures")
