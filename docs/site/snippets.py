"""The code that makes an example in each language."""

import json
import math
import struct

from google.protobuf import descriptor_pb2, descriptor_pool, json_format
from google.protobuf import message_factory
from google.protobuf.descriptor import FieldDescriptor as Field


class Snippets:
    def __init__(self, descriptor_set):
        self.pool = descriptor_pool.DescriptorPool()
        files = descriptor_pb2.FileDescriptorSet.FromString(
            descriptor_set.read_bytes())
        for file in files.file:
            self.pool.Add(file)
        self.factory = message_factory.MessageFactory(self.pool)

    def of(self, message, data):
        """(language, its name, code) for an encoded message."""
        value = self.factory.GetPrototype(
            self.pool.FindMessageTypeByName(message.full_name)).FromString(data)
        yield "json", "JSON", json_format.MessageToJson(
            value, descriptor_pool=self.pool)
        yield "cpp", "C++", cpp(message, value)
        yield "python", "Python", python(message, value)
        yield "typescript", "TypeScript", typescript(message, value)


def values(message):
    """(field, value) of what is set; of a list, each of its values."""
    for field, value in message.ListFields():
        for one in value if is_list(field) else [value]:
            yield field, one


def is_list(field):
    return field.label == Field.LABEL_REPEATED


def quoted(data):
    """A literal of C; octal escapes end by themselves."""
    return '"' + "".join(
        chr(b) if 32 <= b < 127 and chr(b) not in '"\\?' else f"\\{b:03o}"
        for b in data) + '"'


def number(field, value, nan, inf):
    if math.isnan(value):
        return nan
    if math.isinf(value):
        return inf if value > 0 else f"-{inf}"
    if field.type == Field.TYPE_FLOAT:
        # The shortest digits that a float of 32 bits reads back from.
        bits = struct.pack("<f", value)
        return repr(float(next(d for d in (f"{value:.{n}g}" for n in range(6, 10))
                               if struct.pack("<f", float(d)) == bits)))
    return repr(value)


FLOATS = (Field.TYPE_FLOAT, Field.TYPE_DOUBLE)


def cpp(message, value):
    topics = [v for v in message.carried_by if v.enum.id_kind == "topic type"]
    headers = [f'#include "{message.schema.header}"']
    if len(topics) == 1:
        headers.append('#include "zorvik/topics.h"')
    lines = [f"{message.cpp} message;", *cpp_fields("message.", value), ""]
    if len(topics) == 1:
        lines += ["// In an envelope, under the topic type that is settled for it.",
                  "std::string bytes;",
                  "zorvik::topics::Append(message, zorvik::topics::From{1},",
                  "                       zorvik::topics::To{9}, &bytes);"]
    else:
        lines += ["std::string bytes = message.SerializeAsString();"]
    return "\n".join([*headers, "", *lines])


def cpp_fields(prefix, message):
    counts = {}
    for field, value in values(message):
        name = field.name.lower()
        if field.message_type and is_list(field):
            counts[name] = counts.get(name, 0) + 1
            item = f"{name}{counts[name]}"
            inside = list(cpp_fields(f"{item}->", value))
            yield f"{f'auto* {item} = ' if inside else ''}{prefix}add_{name}();"
            yield from inside
        elif field.message_type:
            inner = f"{prefix}mutable_{name}()"
            yield from list(cpp_fields(f"{inner}->", value)) or [f"{inner};"]
        else:
            verb = "add" if is_list(field) else "set"
            yield f"{prefix}{verb}_{name}({cpp_value(field, value)});"


def cpp_value(field, value):
    if field.type == Field.TYPE_BOOL:
        return str(value).lower()
    if field.type == Field.TYPE_ENUM:
        space = field.enum_type.full_name.rpartition(".")[0].replace(".", "::")
        named = field.enum_type.values_by_number.get(value)
        return f"{space}::{named.name}" if named else (
            f"static_cast<{space}::{field.enum_type.name}>({value})")
    if field.type in (Field.TYPE_STRING, Field.TYPE_BYTES):
        data = value.encode() if isinstance(value, str) else value
        size = f", {len(data)}" if 0 in data else ""
        return f"{'{' if size else ''}{quoted(data)}{size}{'}' if size else ''}"
    if field.type in FLOATS:
        kind = "float" if field.type == Field.TYPE_FLOAT else "double"
        limits = f"std::numeric_limits<{kind}>::"
        text = number(field, value, f"{limits}quiet_NaN()", f"{limits}infinity()")
        return f"{text}f" if kind == "float" and text[-1].isdigit() else text
    if value == -(1 << 63):
        return "INT64_MIN"
    return f"{value}u" if value > 0x7FFFFFFF and field.cpp_type in (
        Field.CPPTYPE_UINT32, Field.CPPTYPE_UINT64) else str(value)


def python(message, value):
    module = f"{message.schema.stem}_pb2"
    body = "".join(f"    {name}={text},\n" for name, text in python_fields(value))
    call = f"{module}.{message.name}({chr(10) + body if body else ''})"
    return (f"from zorvikpbproto import {module}\n\n"
            f"message = {call}\ndata = message.SerializeToString()")


def python_fields(message):
    for field, value in message.ListFields():
        texts = [python_value(field, v) for v in (value if is_list(field) else [value])]
        yield field.name, f"[{', '.join(texts)}]" if is_list(field) else texts[0]


def python_value(field, value):
    if field.message_type:
        return "{" + ", ".join(
            f'"{name}": {text}' for name, text in python_fields(value)) + "}"
    if field.type in FLOATS:
        return number(field, value, 'float("nan")', 'float("inf")')
    return json.dumps(value, ensure_ascii=False) if isinstance(value, str) else repr(value)


def typescript(message, value):
    schema = f"{message.name}Schema"
    body = "".join(f"  {name}: {text},\n" for name, text in typescript_fields(value))
    return (f'import {{ create, toBinary }} from "@bufbuild/protobuf";\n'
            f'import {{ {schema} }} from "zorvikpbproto/{message.schema.stem}";\n\n'
            f"const message = create({schema}, {{{chr(10) if body else ''}{body}}});\n"
            f"const bytes = toBinary({schema}, message);")


def typescript_fields(message):
    for field, value in message.ListFields():
        texts = [typescript_value(field, v)
                 for v in (value if is_list(field) else [value])]
        yield field.camelcase_name, (
            f"[{', '.join(texts)}]" if is_list(field) else texts[0])


def typescript_value(field, value):
    if field.message_type:
        return "{ " + ", ".join(
            f"{name}: {text}" for name, text in typescript_fields(value)) + " }"
    if field.type == Field.TYPE_BYTES:
        return f"new Uint8Array([{', '.join(map(str, value))}])"
    if field.type in FLOATS:
        return number(field, value, "NaN", "Infinity")
    if field.cpp_type in (Field.CPPTYPE_INT64, Field.CPPTYPE_UINT64):
        return f"{value}n"
    return json.dumps(value, ensure_ascii=False)
