"""The vocabulary as the reference shows it, read from the catalogue."""

import dataclasses
import json
import re
import tomllib
from collections import defaultdict

WIRE_TYPES = {0: "VARINT", 1: "I64", 2: "LEN", 5: "I32"}
LENGTH_DELIMITED = 2


class Comment:
    """A comment of the schemas and, apart from it, what it leaves open."""

    def __init__(self, entry):
        self.text = entry["comment"]
        self.open = entry.get("open", [])
        self.html = ""  # Set when the names in it are linked.

    @property
    def plain(self):
        return " ".join(self.text.split())

    @property
    def summary(self):
        """The first sentence; a colon that opens a list ends one, too."""
        return re.split(r"(?<=[.;])\s|:$|:\s(?=\d\.|- )", self.plain)[0]


class Element:
    """What messages, fields, enums and their values have in common."""

    def __init__(self, schema, name, full_name, entry):
        self.schema = schema
        self.name = name
        self.full_name = full_name
        self.comment = Comment(entry)
        self.mentions = []  # Elements whose comments name this one.

    @property
    def url(self):
        return f"{self.schema.url}#{self.full_name}"

    @property
    def cpp(self):
        return self.full_name.replace(".", "::")


class Field(Element):
    kind = "field"

    def __init__(self, message, entry):
        super().__init__(message.schema, entry["name"],
                         f"{message.full_name}.{entry['name']}", entry)
        self.message = message
        self.number = entry["number"]
        self.type_name = entry["type"]
        self.json = entry["json_name"]
        self.repeated = entry["repeated"]
        self.enum_name = entry.get("enum")
        self.unit = entry.get("unit")
        self.type = None  # The message or enum that the type names, if ours.
        self.numbers_of = None  # The enum whose numbers the field carries.

    @property
    def is_message(self):
        return "." in self.type_name and not isinstance(self.type, Enum)

    @property
    def element_wire_type(self):
        if self.is_message or self.type_name in ("string", "bytes"):
            return LENGTH_DELIMITED
        return {"double": 1, "float": 5}.get(self.type_name, 0)

    @property
    def packed(self):
        return self.repeated and self.element_wire_type != LENGTH_DELIMITED

    @property
    def wire_type(self):
        return LENGTH_DELIMITED if self.packed else self.element_wire_type

    @property
    def wire_type_name(self):
        return WIRE_TYPES[self.wire_type]

    @property
    def tag(self):
        """The bytes that announce the field on the wire, in hex."""
        value, out = self.number << 3 | self.wire_type, []
        while value > 0x7F:
            out.append(value & 0x7F | 0x80)
            value >>= 7
        return bytes(out + [value]).hex(" ")

    @property
    def accessor(self):
        return self.name.lower()

    @property
    def getter(self):
        return f"{self.accessor}({'i' if self.repeated else ''})"

    @property
    def setters(self):
        name = self.accessor
        if self.repeated:
            argument = "" if self.is_message else "v"
            return [f"{name}_size()", f"add_{name}({argument})"]
        if self.is_message:
            return [f"has_{name}()", f"mutable_{name}()"]
        return [f"set_{name}(v)"]


class Message(Element):
    kind = "message"

    def __init__(self, schema, entry):
        super().__init__(schema, entry["name"].rpartition(".")[2],
                         entry["name"], entry)
        self.fields = [Field(self, f) for f in entry.get("fields", [])]
        self.carried_by = []  # Ids under which it travels.
        self.paired_with = []  # Services of which it is a part, open which.
        self.answers = []  # Ids whose request it answers.
        self.used_by = []  # Fields of this type.
        self.examples = []
        self.snippets = []  # Code that makes the first example.
        self.rejects = []  # Vectors of inputs that do not parse.

    @property
    def answered(self):
        """Messages that answer it, and ids on which the answer comes."""
        return list(dict.fromkeys(
            e for v in self.carried_by for e in (v.answer, v.answer_id) if e))

    def field(self, number):
        return next((f for f in self.fields if f.number == number), None)


class Value(Element):
    kind = "value"

    def __init__(self, enum, entry):
        # Values are named in the package, as in C++, and not in their enum.
        super().__init__(enum.schema, entry["name"].rpartition(".")[2],
                         entry["name"], entry)
        self.enum = enum
        self.number = entry["number"]
        self.schema_name = entry.get("schema")
        self.of_schema = None  # Of the component or device that it names.
        self.carries = None
        self.pairs = None  # The message, open whether it is the request.
        self.answer = None
        self.answer_id = None
        self.device = enum.schema  # The schema of the device it is about.


class Enum(Element):
    kind = "enum"

    def __init__(self, schema, entry):
        super().__init__(schema, entry["name"].rpartition(".")[2],
                         entry["name"], entry)
        self.values = [Value(self, v) for v in entry["values"]]
        self.id_kind = entry.get("ids")
        self.component_name = entry.get("component")
        self.component = None
        self.used_by = []  # Fields that carry its numbers.

    def by_number(self, number):
        return next((v for v in self.values if v.number == number), None)

    def blocks(self):
        """The values of a long enum in blocks of one hundred."""
        blocks = defaultdict(list)
        for value in self.values:
            blocks[value.number // 100 if len(self.values) > 60 else 0].append(
                value)
        return blocks.items()


class Schema:
    kind = "schema"

    def __init__(self, entry, enums, messages):
        self.name = self.full_name = entry["name"]
        self.stem = self.name.removesuffix(".proto")
        self.package = entry["package"]
        self.url = f"schema/{self.stem}.html"
        self.source = f"proto/{self.name}"  # Its text, as a file of the site.
        self.header = f"{self.stem}.pb.h"
        self.imports = entry.get("imports", [])
        self.comment = Comment(entry)
        self.enums = [Enum(self, e) for e in enums]
        self.messages = [Message(self, m) for m in messages]
        self.subsystem = entry["subsystem"]
        self.diagrams = []

    @property
    def title(self):
        """The head comment up to its colon."""
        return self.comment.text.split(":")[0].strip()

    @property
    def about(self):
        text = self.comment.summary.split(":", 1)[-1].strip()
        return text[:1].upper() + text[1:]

    @property
    def namespace(self):
        return self.package.replace(".", "::")

    def elements_and_self(self):
        yield self
        yield from self.elements()

    def elements(self):
        for enum in self.enums:
            yield enum
            yield from enum.values
        for message in self.messages:
            yield message
            yield from message.fields


@dataclasses.dataclass
class Subsystem:
    slug: str
    title: str
    about: str
    schemas: list

    @property
    def url(self):
        return f"subsystem/{self.slug}.html"


class Vocabulary:
    def __init__(self, catalogue, subsystems):
        catalogue = json.loads(catalogue.read_text())
        self.version = catalogue["version"]
        enums, messages = defaultdict(list), defaultdict(list)
        for by_schema, entries in ((enums, catalogue["enums"]),
                                   (messages, catalogue["messages"])):
            for entry in entries:
                by_schema[entry["schema"]].append(entry)
        self.version = catalogue["version"]
        self.schemas = [Schema(s, enums[s["name"]], messages[s["name"]])
                        for s in catalogue["schemas"]]
        self.elements = {e.full_name: e
                         for s in self.schemas for e in s.elements()}
        self.messages = self._all(Message)
        self.enums = self._all(Enum)
        self.values = self._all(Value)
        self.fields = self._all(Field)
        self.subsystems = self._group(subsystems)
        self._connect(catalogue["ids"])
        self._find_devices()

    def _all(self, kind):
        return [e for e in self.elements.values() if isinstance(e, kind)]

    def _group(self, path):
        groups = [Subsystem(**group, schemas=[]) for group in
                  tomllib.loads(path.read_text())["subsystem"]]
        by_slug = {group.slug: group for group in groups}
        for schema in self.schemas:
            if schema.subsystem not in by_slug:
                raise SystemExit(f"docs: {schema.name}: {path.name} has no "
                                 f"subsystem '{schema.subsystem}'")
            schema.subsystem = by_slug[schema.subsystem]
            schema.subsystem.schemas.append(schema)
        return groups

    def _connect(self, ids):
        """Follows names, and notes at the far end who points there."""
        for field in self.fields:
            field.type = self.elements.get(field.type_name)
            field.numbers_of = self.elements.get(field.enum_name)
            target = field.numbers_of or field.type
            if target:
                target.used_by.append(field)
        for enum in self.enums:
            enum.component = self.elements.get(enum.component_name)
        by_name = {schema.name: schema for schema in self.schemas}
        for value in self.values:
            value.of_schema = by_name.get(value.schema_name)
        for entry in ids:
            value = self.elements[entry["name"]]
            answer = entry.get("answer", {})
            value.carries = self.elements.get(entry.get("carries"))
            value.pairs = self.elements.get(entry.get("pairs"))
            value.answer = self.elements.get(answer.get("message"))
            value.answer_id = self.elements.get(answer.get("id"))
            for message, noted in ((value.carries, "carried_by"),
                                   (value.pairs, "paired_with"),
                                   (value.answer, "answers")):
                if message:
                    getattr(message, noted).append(value)

    def _find_devices(self):
        """A component has a schema. A topic type is of the schema of what it
        carries, of the payload that its name has in it, or of its block."""
        payloads = {v.name.partition("_")[2]: v.of_schema for v in self.values
                    if v.of_schema and v.enum.id_kind is None}
        for kind, enums in self.id_enums():
            for block in (b for e in enums for _, b in e.blocks()):
                found = {v: v.of_schema or kind == "topic type" and (
                    v.carries.schema if v.carries else next(
                        (s for n, s in payloads.items() if n in v.name), None))
                    for v in block}
                known = [s for s in found.values() if s]
                alike = kind == "topic type" and len(set(known)) == 1
                for value in block:
                    value.device = found[value] or (
                        known[0] if alike else value.device)

    def devices(self):
        """The schemas that ids are about, in the order of the groups."""
        found = {v.device for _, enums in self.id_enums()
                 for e in enums for v in e.values}
        for group in self.subsystems:
            yield group, [s for s in group.schemas if s in found]

    def id_enums(self):
        """Enums of identifiers, grouped by what they identify."""
        kinds = ("component", "topic type", "topic", "service", "report")
        for kind in kinds:
            yield kind, [e for e in self.enums if e.id_kind == kind]
