#!/usr/bin/python3
"""Builds the reference site from the catalogue.

usage: build.py CATALOGUE OUTPUT_DIRECTORY drawings|text
"""

import json
import re
import shutil
import sys
from pathlib import Path

import jinja2
from markupsafe import Markup
from pygments.formatters import HtmlFormatter

import examples
import guides as guide_pages
import search
import snippets
from linker import ROOT, Linker
from model import Vocabulary

HERE = Path(__file__).resolve().parent
REPOSITORY = HERE.parent.parent


def environment():
    env = jinja2.Environment(
        loader=jinja2.FileSystemLoader(HERE / "templates"),
        autoescape=True, undefined=jinja2.StrictUndefined,
        trim_blocks=True, lstrip_blocks=True)
    env.filters["breakable"] = breakable
    env.filters["rooted"] = lambda html, root: Markup(
        html.replace(f'"{ROOT}', f'"{root}'))
    return env


def breakable(name):
    """A name that may be broken after its underscores and before capitals."""
    out, previous = "", ""
    for char in str(name):
        if previous.islower() and char.isupper():
            out += "<wbr>"
        out += str(Markup.escape(char))
        if char in "_.:/":
            out += "<wbr>"
        previous = char
    return Markup(out)


class Site:
    def __init__(self, output, **shared):
        self.output = output
        self.templates = environment()
        self.templates.globals.update(shared)

    def page(self, template, url, **context):
        path = self.output / url
        path.parent.mkdir(parents=True, exist_ok=True)
        root = "../" * url.count("/")
        path.write_text(self.templates.get_template(template).render(
            root=root, url=url, **context))


def style_of_code():
    """Colours of code in the guides, light and dark; both have contrast."""
    def rules(style):
        css = HtmlFormatter(style=style).get_style_defs("pre")
        return [r for r in css.splitlines() if r.startswith("pre .")]
    screen = "@media screen and (forced-colors: none)"
    return "\n".join([
        f"{screen} and (prefers-color-scheme: light) {{", *rules("xcode"), "}",
        f"{screen} and (prefers-color-scheme: dark) {{", *rules("zenburn"), "}",
        ""])


def drawing(vocabulary):
    """The drawing of the system, its names links to their schemas. The style
    sheet of the site takes the place of its own style."""
    svg = (REPOSITORY / "docs/system.svg").read_text()
    names = {s.stem: s for s in vocabulary.schemas}
    svg = re.sub(r"<style>.*?</style>", "", svg, flags=re.S)
    return guide_pages.linked(svg, "", names)


def main():
    catalogue, output = map(Path, sys.argv[1:3])
    vocabulary = Vocabulary(catalogue, HERE / "subsystems.toml")
    Linker(vocabulary).link_all(vocabulary)
    model = examples.model_of(vocabulary)
    examples.attach(vocabulary, sorted(
        (REPOSITORY / "tests/vectors").glob("*.json")), model)
    code = snippets.Snippets(catalogue.with_name("ZorvikPBProto.binpb"))
    for message in vocabulary.messages:
        if message.examples:
            message.snippets = list(code.of(message, message.examples[0].data))

    guides = guide_pages.find_guides(REPOSITORY)
    renderer = guide_pages.Renderer(REPOSITORY, vocabulary, guides)
    for diagram in renderer.render_all(draws=sys.argv[3] == "drawings"):
        schemas = {e.schema for e in diagram.named(renderer.names)
                   if e.kind == "message"}
        for schema in schemas:
            schema.diagrams.append(diagram)

    if output.exists():
        shutil.rmtree(output)
    shutil.copytree(HERE / "static", output)
    with (output / "site.css").open("a") as css:
        css.write(style_of_code())
    for path, url in renderer.pictures.items():
        (output / url).parent.mkdir(exist_ok=True)
        shutil.copyfile(REPOSITORY / path, output / url)
    # A script and not a JSON file: a page opened from disk may load no data.
    (output / "model.js").write_text(
        f"globalThis.model = {json.dumps(model, separators=(',', ':'))};\n")
    search.write(output / "search-index.js", vocabulary, guides,
                 HERE / "synonyms.toml")

    for schema in vocabulary.schemas:
        (output / schema.source).parent.mkdir(exist_ok=True)
        shutil.copyfile(REPOSITORY / "proto" / schema.name,
                        output / schema.source)
    site = Site(output, vocabulary=vocabulary, guides=guides,
                names=renderer.names, lede=guides[0].lede)
    site.page("home.html", "index.html", system=drawing(vocabulary),
              glossary=renderer.glossary())
    site.page("ids.html", "ids.html")
    site.page("open.html", "open.html")
    site.page("decode.html", "decode.html", example=examples.envelope(REPOSITORY))
    for subsystem in vocabulary.subsystems:
        site.page("subsystem.html", subsystem.url, subsystem=subsystem)
    for schema in vocabulary.schemas:
        site.page("schema.html", schema.url, schema=schema)
    for guide in guides:
        site.page("guide.html", guide.url, guide=guide)


if __name__ == "__main__":
    main()
