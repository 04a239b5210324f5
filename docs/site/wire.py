"""Walks encoded messages and says what each byte is for."""

import dataclasses
import json
import struct

from model import LENGTH_DELIMITED, WIRE_TYPES

ANY = "google.protobuf.Any"
ANY_FIELDS = {1: "type_url", 2: "value"}


@dataclasses.dataclass
class Part:
    """A run of bytes: a field's tag, its length if it has one, its value."""
    offset: int
    depth: int
    hue: int
    tag: bytes
    length: bytes
    value: bytes
    name: str
    field: object  # The field of the vocabulary, or None.
    shown: str
    named: object = None  # The enum value of that number.


def read_varint(data, at):
    value = shift = 0
    while True:
        byte = data[at]
        at += 1
        value |= (byte & 0x7F) << shift
        shift += 7
        if byte < 0x80:
            return value, at


def signed(value, bits):
    value &= (1 << bits) - 1
    return value - (1 << bits) if value >> (bits - 1) else value


def number(field, raw):
    kind = field.type_name
    if kind == "bool":
        return "true" if raw else "false"
    if kind == "sint32":
        return str((raw & 0xFFFFFFFF) >> 1 ^ -(raw & 1))
    if kind == "uint32":
        return str(raw & 0xFFFFFFFF)
    if kind == "uint64":
        return str(raw)
    return str(signed(raw, 64 if kind == "int64" else 32))


def floating(field, raw):
    if field.type_name == "double":
        return repr(struct.unpack("<d", raw)[0])
    # The shortest digits that a float of 32 bits reads back from.
    value = struct.unpack("<f", raw)[0]
    digits = (f"{value:.{n}g}" for n in range(6, 10))
    return repr(float(next(
        (d for d in digits if struct.pack("<f", float(d)) == raw), value)))


def counted(size):
    return f"{size} byte{'' if size == 1 else 's'}"


class Walker:
    def __init__(self, vocabulary):
        self.elements = vocabulary.elements

    def walk(self, message, data):
        self.parts = []
        self._message(message, data, 0, 0, None)
        return self.parts

    def _message(self, message, data, base, depth, hue):
        at, top = 0, 0
        type_url = ""
        while at < len(data):
            start = at
            key, at = read_varint(data, at)
            tag = data[start:at]
            wire = key & 7
            field = self._field(message, key >> 3, wire)
            length = b""
            if wire == LENGTH_DELIMITED:
                before = at
                size, at = read_varint(data, at)
                length = data[before:at]
            elif wire == 0:
                size = read_varint(data, at)[1] - at
            else:
                size = {1: 8, 5: 4}[wire]
            value = data[at:at + size]
            part = Part(base + start, depth,
                        top if hue is None else hue,
                        tag, length, value,
                        self._name(message, field, key >> 3), field, "")
            self.parts.append(part)
            inside = base + at
            at += size
            top += 1
            if message == ANY:
                if key >> 3 == 1:
                    type_url = value.decode()
                    part.shown = json.dumps(type_url)
                elif key >> 3 == 2 and (
                        type_url.rpartition("/")[2] in self.elements):
                    inner = self.elements[type_url.rpartition("/")[2]]
                    self._nested(part, inner, inside)
                else:
                    part.shown = counted(len(value))
            elif field is None:
                part.shown = (f"kept as it is, wire type {WIRE_TYPES[wire]}")
            elif field.is_message:
                self._nested(part, field.type or field.type_name, inside)
            else:
                self._scalar(part, field, wire)

    def _field(self, message, number_, wire):
        if message == ANY:
            return None
        field = message.field(number_)
        if field and wire in (field.wire_type, field.element_wire_type):
            return field
        return None

    def _name(self, message, field, number_):
        if message == ANY:
            return ANY_FIELDS.get(number_, f"unknown field {number_}")
        return field.name if field else f"unknown field {number_}"

    def _nested(self, part, message, base):
        name = message if message == ANY else message.name
        part.shown = f"{counted(len(part.value))} of {name}"
        data, part.value = part.value, b""
        self._message(message, data, base, part.depth + 1, part.hue)

    def _scalar(self, part, field, wire):
        kind = field.type_name
        if kind == "string":
            part.shown = json.dumps(part.value.decode(), ensure_ascii=False)
        elif kind == "bytes":
            part.shown = counted(len(part.value))
        elif kind in ("float", "double"):
            part.shown = floating(field, part.value)
        else:
            raws, at = [], 0
            while at < len(part.value):
                raw, at = read_varint(part.value, at)
                raws.append(raw)
            part.shown = ", ".join(number(field, raw) for raw in raws)
            if field.numbers_of and len(raws) == 1:
                part.named = field.numbers_of.by_number(signed(raws[0], 32))


@dataclasses.dataclass
class Example:
    name: str
    text: str
    data: bytes
    parts: list
    also: list
    written: str  # What it is written as, where that differs.
    merged: bool


def attach_examples(vocabulary, files):
    """Gives each message the vectors that are about it, the fullest first."""
    walker = Walker(vocabulary)
    for path in files:
        for vector in json.loads(path.read_text())["vectors"]:
            if vector["message"] not in vocabulary.elements:
                raise SystemExit(f"docs: {path.name}: '{vector['name']}' is "
                                 f"about no message of the schemas")
            message = vocabulary.elements[vector["message"]]
            if "rejects" in vector:
                message.rejects.append(vector)
                continue
            data = bytes.fromhex(vector.get("input", vector["hex"]))
            message.examples.append(Example(
                vector["name"], vector["text"], data,
                walker.walk(message, data), vector.get("also", []),
                vector["hex"] if "input" in vector else "",
                "merge" in vector))
    for message in vocabulary.messages:
        message.examples.sort(key=lambda e: (
            bool(e.written), e.merged,
            -len({p.name for p in e.parts if p.depth == 0}), -len(e.parts),
            len(e.data)))
