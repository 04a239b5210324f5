"""The index that the search looks through, as a script the pages load."""

import json
import tomllib


def entries(vocabulary, guides):
    """[kind, name, number or null, where, url, words] per thing to find."""
    for group in vocabulary.subsystems:
        yield "subsystem", group.title, None, "", group.url, group.about
    for schema in vocabulary.schemas:
        yield ("schema", schema.name, None, schema.title, schema.url,
               schema.comment.plain)
        for element in schema.elements():
            number, where = None, schema.package
            if element.kind == "value":
                number, where = element.number, element.enum.full_name
            elif element.kind == "field":
                number, where = element.number, element.message.full_name
            words = element.comment.plain
            if element.kind == "value" and element.carries:
                words += f" Carries {element.carries.name}."
            if element.kind == "message" and element.carried_by:
                ids = " and ".join(
                    f"{v.number} {v.name}" for v in element.carried_by)
                words += f" Travels under {ids}."
            yield element.kind, element.name, number, where, element.url, words
    for guide in guides:
        for i, (anchor, heading, text) in enumerate(guide.sections):
            where, url = (guide.title, f"{guide.url}#{anchor}") if i else (
                "", guide.url)
            yield "guide", heading, None, where, url, " ".join(text.split())


def write(path, vocabulary, guides, synonyms):
    index = {"synonyms": tomllib.loads(synonyms.read_text()),
             "entries": list(entries(vocabulary, guides))}
    text = json.dumps(index, ensure_ascii=False, separators=(",", ":"))
    path.write_text(f"globalThis.searchIndex = {text};\n")
