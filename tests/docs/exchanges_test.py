#!/usr/bin/python3
"""The guide to the exchanges says what the catalogue says.

usage: exchanges_test.py CATALOGUE GUIDE

Every arrow of a drawing and every row of a table "... | Message | ..." is
compared with the catalogue; every settled id and answer has to occur in one of
them, and every name between backticks has to be one of the vocabulary.
"""

import json
import pathlib
import re
import sys

ARROW = re.compile(r"(\w+)(-->>|->>)(\w+): (.+)")
OTHER = re.compile(
    r"(sequenceDiagram|accTitle: .+|participant \w+ as .+|Note over .+"
    r"|(loop|alt|else|opt)( .+)?|end)$")
MARK = re.compile(r"\((id|content|sender)( and (?:id|content|sender))* open\)")
# What a word between backticks looks like when it is a name, and not a value.
NAME = re.compile(r"`(\w*(?:[a-z][A-Z]|[A-Za-z]_[A-Za-z])\w*)`")


def short(name):
    return name and name.rpartition(".")[2]


def mark(opens):
    return f"({' and '.join(sorted(opens))} open)" if opens else "no mark"


class Vocabulary:
    def __init__(self, catalogue):
        self.ids = {short(i["name"]): i for i in catalogue["ids"]
                    if i["kind"] != "component"}
        self.messages = {short(m["name"]): m for m in catalogue["messages"]}
        self.names = {"SerializeDelimitedToOstream"} | {
            short(e["name"]) for list in ("ids", "enums", "messages")
            for e in catalogue[list]} | {
            f["name"] for m in catalogue["messages"]
            for f in m.get("fields", [])} | {
            short(v["name"]) for e in catalogue["enums"] for v in e["values"]}

    def carries(self, id):
        return short(self.ids[id].get("carries"))

    def pairs(self, id):
        return short(self.ids[id].get("pairs"))

    def answer(self, id):
        answer = self.ids[id].get("answer", {})
        return short(answer.get("message")), short(answer.get("id"))

    def settled_under(self, message):
        """Ids under which the message travels, its request included."""
        entry = self.messages[message]
        return [short(n) for key in ("carried_by", "answer_of", "paired_with")
                for n in entry.get(key, [])]


class Guide:
    def __init__(self, text, vocabulary):
        self.vocabulary = vocabulary
        self.faults = []
        self.seen = set()  # Ids in a drawing or a table.
        self.answered = set()  # Those whose answer is there, too.
        self.line = 0
        self.drawn = None  # Ids of the drawing that the line is in.
        headers = []
        for self.line, line in enumerate(text.splitlines(), 1):
            for name in set(NAME.findall(line)) - vocabulary.names:
                self.fault(f"nothing is called {name}")
            cells = [c.strip() for c in line.strip("|").split("|")]
            if line == "```mermaid":
                self.drawn = set()
            elif line.startswith("```"):
                self.drawn = None
            elif self.drawn is not None:
                self.drawing(line)
            elif not line.startswith("|"):
                headers = []
            elif not headers:
                headers = cells
            elif headers[1] == "Message" and not set(line) <= set("|-: "):
                self.row(dict(zip(headers[1:], cells[1:])), cells[0])
        for id in vocabulary.ids.keys() - self.seen:
            if vocabulary.carries(id):
                self.faults.append(f"{id} carries {vocabulary.carries(id)} and "
                                   "is in no drawing and no table")
        for id in vocabulary.ids.keys() - self.answered:
            message, own_id = vocabulary.answer(id)
            if message and own_id is None:
                self.faults.append(f"{message} answers {id} and is in no "
                                   "drawing and no table")

    def fault(self, text):
        self.faults.append(f"line {self.line}: {text}")

    def drawing(self, line):
        arrow = ARROW.fullmatch(line)
        if not arrow:
            if not OTHER.match(line):
                self.fault(f"neither an arrow nor a known statement: {line}")
            return
        names = arrow[4].split("<br/>")
        opens = set()
        if MARK.fullmatch(names[-1]):
            opens = set(re.findall(r"id|content|sender", names.pop()))
        names = [n for name in names for n in name.split(" or ")]
        ids = [n for n in names if n in self.vocabulary.ids]
        messages = [n for n in names if n in self.vocabulary.messages]
        for name in set(names) - set(ids) - set(messages):
            self.fault(f"{name} is neither a message nor an id")
        if len(messages) > 1:
            self.fault("more than one message at an arrow")
        elif ids or messages:
            self.arrow(arrow[2] == "-->>", next(iter(messages), None), ids,
                       opens)
        self.drawn.update(ids)
        self.seen.update(ids)

    def arrow(self, is_answer, message, ids, opens):
        v = self.vocabulary
        answers = {v.answer(id) for id in self.drawn}
        if is_answer:
            self.answered |= {id for id in self.drawn
                              if v.answer(id)[0] == message}
        wanted = opens & {"sender"}
        for id in ids:
            if message is None:
                wanted.add("content")
                if v.carries(id) or v.pairs(id):
                    self.fault(f"{id} carries {v.carries(id) or v.pairs(id)}, "
                               "which the arrow does not name")
            elif message == v.pairs(id):
                wanted.add("sender")
            elif message != v.carries(id) and not (
                    is_answer and (message, None) == v.answer(id)):
                self.fault(f"{message} is not the content of {id}: "
                           f"{v.carries(id) or v.pairs(id) or 'that is open'}")
        if not ids and not (is_answer and (message, None) in answers):
            wanted.add("id")
            if v.settled_under(message):
                self.fault(f"{message} travels under "
                           f"{' or '.join(v.settled_under(message))} "
                           "or answers it; neither is drawn")
        if opens != wanted:
            self.fault(f"{message or ids[0]} has {mark(opens)} at its arrow, "
                       f"but needs {mark(wanted)}")
        known = any((message, None) == a or a[1] in ids for a in answers)
        if is_answer and not known and "id" not in opens:
            self.fault(f"{message or ids[0]} answers nothing drawn before it")
        if not is_answer and any(v.ids[id].get("answers") for id in ids):
            self.fault(f"{ids[0]} is an answer, but the arrow is not broken")

    def row(self, cells, ids):
        v = self.vocabulary
        message = cells["Message"].strip("`")
        for id in re.findall(r"`(\w+)`", ids) or [ids]:
            self.seen.add(id)
            if "Answer" in cells:
                self.answered.add(id)
            if id not in v.ids:
                self.fault(f"{id} is no id")
            elif message != v.carries(id):
                self.fault(f"{message} is not the content of {id}: "
                           f"{v.carries(id) or 'that is open'}")
            elif "Answer" in cells and (
                    cells["Answer"].strip("`") != (v.answer(id)[0] or "open")):
                self.fault(f"{cells['Answer']} does not answer {id}: "
                           f"{v.answer(id)[0] or 'that is open'}")


def faults(text, vocabulary):
    return Guide(text, vocabulary).faults


def plants(text):
    """Copies of the guide with one fault each, and a word of its report."""
    for pattern, replacement, report in (
            (r"(?<=: )TimeSyncRequest(?=<br/>)", "PpsTriggerTime",
             "is not the content"),
            (r"<br/>\(content open\)", "", "has no mark"),
            (r"<br/>\(id open\)", "", "has no mark"),
            (r"(?<=POSITION_SERVICE_LOCATION_GET)\n", "<br/>(content open)\n",
             "needs no mark"),
            (r"\n.*<br/>SMC_TOPIC\b.*", "", "in no drawing and no table"),
            (r"\n\| `FLY_CONDITION_TOPIC_RC` .*", "",
             "in no drawing and no table"),
            (r"(?<=`FLY_CONDITION_TOPIC_RC` \| `)RC(?=`)", "RCWithFlag",
             "is not the content"),
            (r"-->>(?=.*payloadRspMessage)", "->>", "neither is drawn"),
            (r"\n.*<br/>PAYLOAD_SERVICE_PAYLOAD_REGISTER", "",
             "neither is drawn"),
            (r"\n.*-->>.*positionResponse", "", "answers POSITION_SERVICE"),
            (r"->>(?=.*addrRelet)", "->", "neither an arrow"),
            (r"`client_random`", "`client_number`", "nothing is called")):
        planted = re.sub(pattern, replacement, text)
        if planted == text:
            raise SystemExit(f"nothing to plant a fault in: {pattern}")
        yield planted, report


def main():
    catalogue, guide = (pathlib.Path(p) for p in sys.argv[1:])
    vocabulary = Vocabulary(json.loads(catalogue.read_text()))
    text = guide.read_text()
    found = [f"{guide.name}: {f}" for f in faults(text, vocabulary)]
    if not found:
        for planted, report in plants(text):
            if not any(report in f for f in faults(planted, vocabulary)):
                found.append(f"a planted fault is not reported: {report}")
    sys.exit("\n".join(found) if found else 0)


main()
