"""The vocabulary as the reference shows it, read from a descriptor set."""

import dataclasses
import re
import tomllib
from collections import defaultdict

from google.protobuf import descriptor_pb2

Proto = descriptor_pb2.FieldDescriptorProto

# Paths of the compiler's source information: numbers of the fields of
# descriptor.proto that lead to an element.
SYNTAX, MESSAGE, ENUM, MEMBER = 12, 4, 5, 2

WIRE_TYPES = {0: "VARINT", 1: "I64", 2: "LEN", 5: "I32"}
LENGTH_DELIMITED = 2


class Comment:
    """A comment of the schemas: its words and, apart from them, its tags."""

    def __init__(self, text):
        words, self.tags = [], defaultdict(list)
        for line in text.splitlines():
            line = line.removeprefix(" ").rstrip()
            tag = re.fullmatch(r"@(\w+) (.+)", line)
            if tag:
                self.tags[tag[1]].append(tag[2])
            else:
                words.append(line)
        self.text = "\n".join(words).strip()
        self.html = ""  # Set when the names in it are linked.

    @property
    def plain(self):
        return " ".join(self.text.split())

    @property
    def summary(self):
        """The first sentence; a colon that opens a list ends one, too."""
        return re.split(r"(?<=[.;])\s|:$|:\s(?=\d\.|- )", self.plain)[0]

    @property
    def open(self):
        return self.tags["open"]

    def tag(self, name):
        return next(iter(self.tags[name]), None)


class Element:
    """What messages, fields, enums and their values have in common."""

    def __init__(self, schema, name, full_name, comment):
        self.schema = schema
        self.name = name
        self.full_name = full_name
        self.comment = comment
        self.mentions = []  # Elements whose comments name this one.

    @property
    def url(self):
        return f"{self.schema.url}#{self.full_name}"

    @property
    def cpp(self):
        return self.full_name.replace(".", "::")


class Field(Element):
    kind = "field"

    def __init__(self, message, proto, comment):
        super().__init__(message.schema, proto.name,
                         f"{message.full_name}.{proto.name}", comment)
        self.message = message
        self.number = proto.number
        self.proto = proto
        self.json = proto.json_name
        self.repeated = proto.label == Proto.LABEL_REPEATED
        self.type = None  # The message or enum that the type names, if ours.
        self.numbers_of = None  # The enum whose numbers the field carries.
        self.unit = comment.tag("unit")

    @property
    def type_name(self):
        if self.proto.type_name:
            return self.proto.type_name.removeprefix(".")
        return Proto.Type.Name(self.proto.type).removeprefix("TYPE_").lower()

    @property
    def is_message(self):
        return self.proto.type == Proto.TYPE_MESSAGE

    @property
    def element_wire_type(self):
        if self.proto.type in (Proto.TYPE_MESSAGE, Proto.TYPE_STRING,
                               Proto.TYPE_BYTES):
            return LENGTH_DELIMITED
        return {Proto.TYPE_DOUBLE: 1, Proto.TYPE_FLOAT: 5}.get(
            self.proto.type, 0)

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

    def __init__(self, schema, proto, comments, path):
        super().__init__(schema, proto.name, f"{schema.package}.{proto.name}",
                         comments[path])
        self.fields = [
            Field(self, field, comments[path + (MEMBER, i)])
            for i, field in enumerate(proto.field)]
        self.carried_by = []  # Ids under which it travels.
        self.answers = []  # Ids whose request it answers.
        self.used_by = []  # Fields of this type.
        self.examples = []
        self.rejects = []  # Vectors of inputs that do not parse.

    def field(self, number):
        return next((f for f in self.fields if f.number == number), None)


class Value(Element):
    kind = "value"

    def __init__(self, enum, proto, comment):
        # Values are named in the package, as in C++, and not in their enum.
        super().__init__(enum.schema, proto.name,
                         f"{enum.schema.package}.{proto.name}", comment)
        self.enum = enum
        self.number = proto.number
        self.carries = None
        self.answer = None


class Enum(Element):
    kind = "enum"

    def __init__(self, schema, proto, comments, path):
        super().__init__(schema, proto.name, f"{schema.package}.{proto.name}",
                         comments[path])
        self.values = [
            Value(self, value, comments[path + (MEMBER, i)])
            for i, value in enumerate(proto.value)]
        self.used_by = []  # Fields that carry its numbers.

    @property
    def pairs(self):
        return any(v.carries or v.answer for v in self.values)

    @property
    def id_kind(self):
        """What the numbers identify, by the last words of the enum's name."""
        words = re.findall(r"[A-Z]?[a-z]+|[A-Z]+(?![a-z])", self.name)
        words = " ".join(words).lower()
        words = words.removesuffix(" id")
        for kind in ("component", "topic type", "topic", "service", "report"):
            if words.endswith(kind):
                return kind
        return None

    def by_number(self, number):
        return next((v for v in self.values if v.number == number), None)

    def blocks(self):
        """The values in blocks of one hundred, each with its common words."""
        blocks = defaultdict(list)
        for value in self.values:
            blocks[value.number // 100].append(value)
        shared = len(common_words(self.values[1:]))
        for hundred, values in blocks.items():
            words = common_words(values)[shared:]
            yield hundred, " ".join(words).lower(), values


def common_words(values):
    """The words that all names begin with, leaving each at least one more."""
    names = [v.name.split("_")[:-1] for v in values]
    common = []
    for column in zip(*names):
        if len(set(column)) > 1:
            break
        common.append(column[0])
    return common


class Schema:
    kind = "schema"

    def __init__(self, proto):
        comments = defaultdict(lambda: Comment(""))
        for location in proto.source_code_info.location:
            if location.leading_comments:
                comments[tuple(location.path)] = Comment(
                    location.leading_comments)
        self.name = self.full_name = proto.name
        self.stem = proto.name.removesuffix(".proto")
        self.package = proto.package
        self.url = f"schema/{self.stem}.html"
        self.header = f"{self.stem}.pb.h"
        self.imports = list(proto.dependency)
        self.comment = comments[SYNTAX,]
        self.enums = [Enum(self, e, comments, (ENUM, i))
                      for i, e in enumerate(proto.enum_type)]
        self.messages = [Message(self, m, comments, (MESSAGE, i))
                         for i, m in enumerate(proto.message_type)]
        self.subsystem = None
        self.diagrams = []

    @property
    def title(self):
        """What stands before the colon of the head comment."""
        return self.comment.text.split(":")[0].strip()

    @property
    def about(self):
        text = self.comment.summary.split(":", 1)[-1].strip()
        return text[:1].upper() + text[1:]

    @property
    def namespace(self):
        return self.package.replace(".", "::")

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
    def __init__(self, descriptor_set, subsystems):
        files = descriptor_pb2.FileDescriptorSet.FromString(
            descriptor_set.read_bytes()).file
        self.schemas = [Schema(f) for f in sorted(files, key=lambda f: f.name)
                        if not f.package.startswith("google.")]
        self.elements = {e.full_name: e
                         for s in self.schemas for e in s.elements()}
        self.messages = self._all(Message)
        self.enums = self._all(Enum)
        self.values = self._all(Value)
        self.fields = self._all(Field)
        self.subsystems = self._group(subsystems)
        self._connect()

    def _all(self, kind):
        return [e for e in self.elements.values() if isinstance(e, kind)]

    def _group(self, path):
        by_stem = {s.stem: s for s in self.schemas}
        groups = []
        for group in tomllib.loads(path.read_text())["subsystem"]:
            strange = set(group["schemas"]) - by_stem.keys()
            if strange:
                raise SystemExit(f"docs: {path.name}: {', '.join(strange)}: "
                                 f"no such schema, or in two groups")
            group["schemas"] = [by_stem.pop(s) for s in group["schemas"]]
            groups.append(Subsystem(**group))
        if by_stem:
            groups.append(Subsystem("further", "Further schemas",
                                    "Schemas that stand in no group yet.",
                                    list(by_stem.values())))
        for group in groups:
            for schema in group.schemas:
                schema.subsystem = group
        return groups

    def _connect(self):
        """Follows types and tags, and notes at the far end who points there."""
        for field in self.fields:
            field.type = self.elements.get(field.type_name)
            enum = field.comment.tag("enum")
            field.numbers_of = self.elements[enum] if enum else (
                field.type if isinstance(field.type, Enum) else None)
            target = field.numbers_of or field.type
            if target:
                target.used_by.append(field)
        for value in self.values:
            carries = value.comment.tag("carries")
            if carries:
                value.carries = self.elements[carries]
                value.carries.carried_by.append(value)
            answer = value.comment.tag("answer")
            if answer:
                value.answer = self.elements[answer]
                value.answer.answers.append(value)

    def id_enums(self):
        """Enums of identifiers, grouped by what they identify."""
        kinds = ("component", "topic type", "topic", "service", "report")
        for kind in kinds:
            yield kind, [e for e in self.enums if e.id_kind == kind]
