"""Every encoding of the vectors and the regressions is a seed of each target, as
it is or in an envelope, and zorvik gets each envelope in all its forms.

usage: seeds_test.py VECTORS REGRESSIONS FOLDER_OF_THE_SEEDS
"""

import base64
import json
import pathlib
import re
import sys

vectors, regressions, folder = map(pathlib.Path, sys.argv[1:])
seeds = {target: [path.read_bytes() for path in (folder / target).iterdir()]
         for target in ("message", "channel", "topic", "input")}
together = {target: b"\xff\0\xff".join(all_of) for target, all_of in seeds.items()}
texts = []
for path in vectors.glob("*.json"):
    for vector in json.loads(path.read_text())["vectors"]:
        texts += [vector[key] for key in ("hex", "input") if key in vector]
        texts += [*vector.get("also", []), *vector.get("rejects", [])]
for path in regressions.iterdir():
    lines = [line for line in path.read_text().splitlines() if not line.startswith("#")]
    texts.append("".join(lines[1:]))

missing = {f"{target}: {text}" for text in texts for target in ("message", "channel")
           if bytes.fromhex(text) not in together[target]}
missing |= {f"topic: {seed.hex()}" for seed in set(seeds["channel"]) ^ set(seeds["topic"])}
inputs = {seed[1:] for seed in seeds["input"]}
captures = [seed for seed in inputs if seed.startswith(b"\xa1\xb2\xc3\xd4")]
envelopes = [seed for seed in seeds["channel"] if re.match(rb'\x08..".*type.googleapis.com/zorvik', seed, re.DOTALL)]
for seed in envelopes:
    delimited = bytes([len(seed) & 255]) + seed
    for form in (seed, seed.hex().encode(), base64.b64encode(seed), delimited * 2,
                 b"0000000 " + seed.hex(" ").encode(),
                 seed.replace(b"type.googleapis.com", b"\x1b" * 19, 1)):
        if form not in inputs:
            missing.add(f"input: {form}")
    if not any(capture.endswith(seed) for capture in captures):
        missing.add(f"input: a capture of {seed.hex()}")
cut = {len(capture) for capture in captures if capture[32:36] < capture[36:40]}
if not texts or not envelopes or len(cut) < 3 or missing:
    print(*sorted(missing)[:20], sep="\n", file=sys.stderr)
    sys.exit(f"{len(missing)} seeds are missing; captures are cut to {sorted(cut)}")
