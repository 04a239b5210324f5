#!/usr/bin/python3
"""The guide to the exchanges says what the catalogue says.

usage: exchanges_test.py CATALOGUE GUIDE [OTHER_GUIDE...]

Every arrow of a drawing and every row of a table "... | Message | ..." is
compared with the catalogue, the arrow's direction with what comments say of the
sender; every settled id and answer has to occur in one of them. Every name
between backticks has to be one of the vocabulary, in the other guides, too.
"""

import difflib
import json
import pathlib
import re
import sys

ARROW = re.compile(r"(\w+)(-->>|->>)(\w+): (.+)")
PARTICIPANT = re.compile(r"participant (\w+) as (.+)")
# Who sends a message, and who receives it, in the words of comments.
FROM = re.compile(
    r"(?:(?:sent|published|broadcast|written) by|(?:Request|Heartbeat|Answer) of"
    r"|report from) (?:the|a) ([a-z -]+?)(?= to | for | without| after|[.,:])")
TO = re.compile(r"(?:sent|Command|Request) to (?:the|a) ([a-z -]+?)"
                r"(?= to | that |[.,])")
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


def words(name):
    return set(re.split("[ -]", name.lower())) - {"of", "the", "or"}


class Vocabulary:
    def __init__(self, catalogue):
        self.enums = {e["name"]: e for e in catalogue["enums"]}
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

    def sender_is_open(self, id):
        return any(re.fullmatch(r"which (node|side) sends it", point)
                   for point in self.ids[id].get("open", []))

    def comments(self, names):
        """What is said of messages and ids, and of the ids' enums."""
        entries = [e for n in names for e in (self.messages.get(n),
                                              self.ids.get(n)) if e]
        entries += [self.enums[e["enum"]] for e in entries if "enum" in e]
        return [" ".join(e["comment"].split()) for e in entries]

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
                self.ends = {}  # The words of each participant's name.
                self.asked = None  # Ends of the last arrow that is no answer.
                self.ways = {}  # Ends of such an arrow, by enum of ids.
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
            if named := PARTICIPANT.fullmatch(line):
                self.ends[named[1]] = words(named[2])
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
            if "sender" not in opens:
                self.direction(arrow[2] == "-->>", [arrow[1], arrow[3]],
                               messages, ids)
        self.drawn.update(ids)
        self.seen.update(ids)

    def arrow(self, is_answer, message, ids, opens):
        v = self.vocabulary
        answers = {v.answer(id) for id in self.drawn}
        if is_answer:
            self.answered |= {id for id in self.drawn
                              if v.answer(id)[0] == message}
        wanted = set() if ids else opens & {"sender"}
        for id in ids:
            if v.sender_is_open(id):
                wanted.add("sender")
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

    def direction(self, is_answer, ends, messages, ids):
        """Compares with the request, with the words of comments, and with the
        other ids of the enum."""
        names = " ".join(messages + ids)
        if is_answer:
            if self.asked != ends[::-1]:
                self.fault(f"{names} does not go back to who asked")
        else:
            self.asked = ends
        source, target = (self.ends.get(end, set()) for end in ends)
        told = False
        for comment in self.vocabulary.comments(messages + ids):
            for pattern, right, wrong in ((FROM, source, target),
                                          (TO, target, source)):
                for who in pattern.findall(comment):
                    told = told or words(who) & (right ^ wrong)
                    if words(who) & (wrong - right) and not words(who) & right:
                        self.fault(f"{names} goes the wrong way: {comment}")
        kinds = {self.vocabulary.ids[id]["enum"] for id in ids
                 if self.vocabulary.ids[id]["kind"] != "topic type"}
        for enum in kinds if not is_answer else ():
            if self.ways.setdefault(enum, ends) != ends and not told:
                self.fault(f"{names} goes another way than others of {enum}")

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


# Of these no comment says which end sends them.
EITHER_WAY = ("heartbeatMessage", "TEST_RESULT", "FlightControllerHomeLocation")


def plants(text):
    """Copies of the guide with one fault each, and a word of its report."""
    def replaced(match, by):
        return text[:match.start()] + by + text[match.end():]

    for arrow in re.finditer(ARROW.pattern + "$", text, re.M):
        source, line, target, label = arrow.groups()
        mark = MARK.search(label)
        if "sender" not in (mark[0] if mark else "") and not any(
                name in label for name in EITHER_WAY):
            yield replaced(arrow, f"{target}{line}{source}: {label}"), ""
        if not mark:
            yield replaced(arrow, f"{arrow[0]}<br/>(content open)"), "needs"
        elif "id and sender" not in mark[0]:
            unmarked = arrow[0].replace(f"<br/>{mark[0]}", "")
            yield replaced(arrow, unmarked), "has no mark"
        yield replaced(arrow, ""), ""


def main():
    catalogue, guide, *others = (pathlib.Path(p) for p in sys.argv[1:])
    vocabulary = Vocabulary(json.loads(catalogue.read_text()))
    text = guide.read_text()
    found = [f"{guide.name}: {f}" for f in faults(text, vocabulary)]
    for other in others:
        names = set(NAME.findall(other.read_text())) - vocabulary.names
        found += [f"{other.name}: nothing is called {name}" for name in names]
    if not found:
        for planted, report in plants(text):
            if not any(report in f for f in faults(planted, vocabulary)):
                change = difflib.unified_diff(text.splitlines(),
                                              planted.splitlines(), n=0)
                found += ["a planted fault is not reported:", *list(change)[2:]]
    sys.exit("\n".join(found[:20]) if found else 0)


main()
