"""Examples of the messages: the vectors of the tests, explained byte by byte."""

import dataclasses
import json
import re
import subprocess
from pathlib import Path

HERE = Path(__file__).parent


@dataclasses.dataclass
class Example:
    name: str
    text: str
    data: bytes
    also: list
    written: str  # What it is written as, where that differs.
    merged: bool
    html: str = ""
    fields: int = 0  # Of the message itself, and, below, with those inside.
    parts: int = 0


def model_of(vocabulary):
    """What static/wire.js has to know of the schemas."""
    def field(f):
        numbers = f.numbers_of and f.numbers_of.full_name
        return {"name": f.name, "type": f.type_name, "url": f.url} | (
            {"repeated": True} if f.repeated else {}) | (
            {"numbers": numbers} if numbers else {})

    def topic(value):
        answer = value.answer_id
        return {"name": value.name} | (
            {"carries": value.carries.full_name} if value.carries else {}) | (
            {"answer": [answer.name, answer.url]} if answer else {})
    return {
        "messages": {m.full_name: {
            "url": m.url, "fields": {f.number: field(f) for f in m.fields}}
            for m in vocabulary.messages},
        "enums": {e.full_name: {v.number: [v.name, v.url] for v in e.values}
                  for e in vocabulary.enums if e.used_by},
        "topics": {v.number: topic(v) for v in vocabulary.values
                   if v.enum.id_kind == "topic type" and v.number}}


def envelope(repository):
    """The bytes that the guide to the terminal decodes."""
    page = (repository / "docs/zorvik.md").read_text()
    return re.search(r"<<'HEX'\n(.*?)HEX$", page, re.S | re.M)[1].strip()


def attach(vocabulary, files, model):
    """Gives each message the vectors that are about it, the fullest first."""
    for path in files:
        for vector in json.loads(path.read_text())["vectors"]:
            if vector["message"] not in vocabulary.elements:
                raise SystemExit(f"docs: {path.name}: '{vector['name']}' is "
                                 f"about no message of the schemas")
            message = vocabulary.elements[vector["message"]]
            if "rejects" in vector:
                message.rejects.append(vector)
                continue
            message.examples.append(Example(
                vector["name"], vector["text"],
                bytes.fromhex(vector.get("input", vector["hex"])),
                vector.get("also", []),
                vector["hex"] if "input" in vector else "",
                "merge" in vector))
    explain(vocabulary.messages, model)
    for message in vocabulary.messages:
        message.examples.sort(key=lambda e: (
            bool(e.written), e.merged, -e.fields, -e.parts, len(e.data)))


def explain(messages, model):
    examples = [(m, e) for m in messages for e in m.examples]
    explained = subprocess.run(
        ["node", HERE / "explain.mjs"], check=True, text=True,
        input=json.dumps({"model": model, "examples": [
            {"message": m.full_name, "hex": e.data.hex(), "root": "../"}
            for m, e in examples]}), stdout=subprocess.PIPE).stdout
    for (_, example), result in zip(examples, json.loads(explained), strict=True):
        vars(example).update(result)
