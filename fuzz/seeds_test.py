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
message, channel, topic, inputs = ([path.read_bytes() for path in (folder / target).iterdir()]
                                   for target in ("message", "channel", "topic", "input"))
texts = [text for path in vectors.glob("*.json") for vector in json.loads(path.read_text())["vectors"]
         for key in ("hex", "input", "also", "rejects") if key in vector
         for text in ([vector[key]] if isinstance(vector[key], str) else vector[key])]
texts += ["".join(re.findall(r"(?m)^[^#\n]+", path.read_text())[1:]) for path in regressions.iterdir()]
wanted = {bytes.fromhex(text) for text in texts}
missing = wanted - {seed[2:] for seed in message} | set(channel) ^ set(topic)
missing |= {each for each in wanted if each not in b"\xff\0\xff".join(channel)}

inputs = {seed[1:] for seed in inputs}
captures = [seed for seed in inputs if seed.startswith(b"\xa1\xb2\xc3\xd4")]
for seed in channel:
    if not re.match(rb'\x08..".*type.googleapis.com/zorvik', seed, re.DOTALL):
        continue  # Not made here.
    missing |= {seed, seed.hex().encode(), base64.b64encode(seed), 2 * (bytes([len(seed) & 255]) + seed),
                b"0000000 " + seed.hex(" ").encode(),
                seed.replace(b"type.googleapis.com", b"\x1b" * 19, 1)} - inputs
    missing |= set() if any(capture.endswith(seed) for capture in captures) else {b"captured " + seed}
cut = {len(capture) for capture in captures if capture[32:36] < capture[36:40]}
if len(wanted) < 100 or len(cut) < 3 or missing:
    sys.exit(f"{len(missing)} seeds are missing: {sorted(missing)[:9]}; captures are cut to {sorted(cut)}")
