"""Guides: Markdown files of the repository as pages of the site."""

import html
import json
import posixpath
import re
import subprocess
from pathlib import Path

from markdown_it import MarkdownIt
from pygments import highlight
from pygments.formatters import HtmlFormatter
from pygments.lexers import get_lexer_by_name
from pygments.util import ClassNotFound

HERE = Path(__file__).parent


def linked(svg, root, names):
    """A drawing, with every name of the vocabulary as a link."""
    def link(word):
        target = names.get(word[0])
        return word[0] if target is None else (
            f'<a href="{root}{target.url}">{word[0]}</a>')
    return re.sub(r"(<(?:text|tspan|code)\b[^>]*>)([^<]+)",
                  lambda text: text[1] + re.sub(r"\w+", link, text[2]), svg)


class Diagram:
    """One exchange, drawn from the text of a fence."""

    def __init__(self, source, guide, anchor, title):
        self.source = source
        self.url = f"{guide.url}#{anchor}"
        self.title = title
        self.svg = ""

    def linked_svg(self, root, names):
        """The drawing or, where nothing draws, its text."""
        return linked(self.svg or '<pre tabindex="0"><code>' + html.escape(
            self.source.replace("<br/>", " "), quote=False) + "</code></pre>", root, names)

    def named(self, names):
        words = re.findall(r"\w+", self.source)
        return [names[w] for w in words if w in names]


class Guide:
    def __init__(self, path, repository, name):
        self.path = path.relative_to(repository).as_posix()
        self.url = f"guide/{name}.html"
        # Comments are for those who edit; one at the head of a paragraph would
        # end it with its first line.
        self.source = re.sub(r"<!--.*?-->", "", path.read_text())
        self.title = ""
        self.headings = []  # (level, anchor, text)
        self.sections = []  # (anchor, heading, text) for the search
        self.diagrams = []
        self.lede = ""
        self.html = ""


def find_guides(repository):
    """Every Markdown file under docs/, and four from elsewhere."""
    guides = [Guide(repository / "README.md", repository, "readme")]
    guides += [Guide(p, repository, p.stem)
               for p in sorted((repository / "docs").glob("*.md"))]
    guides.append(Guide(repository / "tests/vectors/README.md", repository,
                        "vectors"))
    guides.append(Guide(repository / "CONTRIBUTING.md", repository,
                        "contributing"))
    guides.append(Guide(repository / "SECURITY.md", repository, "reporting"))
    return guides


def slug(text):
    return re.sub(r"[^\w\- ]", "", text.lower()).strip().replace(" ", "-")


def code(text, language, _attributes):
    try:
        lexer = get_lexer_by_name(language)
    except ClassNotFound:
        return ""
    return highlight(text, lexer, HtmlFormatter(nowrap=True))


class Renderer:
    def __init__(self, repository, vocabulary, guides):
        self.repository = repository
        self.guides = guides
        self.pages = {f"proto/{s.name}": s.url for s in vocabulary.schemas}
        self.pages |= {g.path: g.url for g in guides}
        self.pictures = {}  # Path in the repository to URL in the site.
        self.names = unique_names(vocabulary)
        self.markdown = MarkdownIt(
            "commonmark", {"html": True, "highlight": code}).enable("table")
        rules = self.markdown.renderer.rules
        self._fence = rules["fence"]
        rules["fence"] = self._figure
        rules["code_inline"] = self._code
        rules["image"] = lambda tokens, i, options, env: (
            f'<span class="picture" tabindex="0">'
            f'{self.markdown.renderer.image(tokens, i, options, env)}</span>')
        rules["heading_close"] = self._anchor
        rules["table_open"] = lambda *_: (
            '<div class="scroll" tabindex="0"><table>')
        rules["table_close"] = lambda *_: "</table></div>"

    def render_all(self, draws=True):
        parsed = [(g, self._parse(g)) for g in self.guides]
        diagrams = [d for g in self.guides for d in g.diagrams]
        if draws:
            draw(diagrams)
        for guide, (tokens, env) in parsed:
            guide.html = self.markdown.renderer.render(
                tokens, self.markdown.options, env)
        return diagrams

    def glossary(self):
        """The terms that docs/glossary.md explains, and its page."""
        guide = next(g for g in self.guides if g.path == "docs/glossary.md")
        return guide, re.findall(r"(?m)^\*\*(.+?)\*\*:", guide.source)

    def _parse(self, guide):
        env = {"guide": guide}
        tokens = self.markdown.parse(guide.source, env)
        seen = {}
        for i, token in enumerate(tokens):
            if token.type == "heading_open":
                self._heading(guide, token, tokens[i + 1], seen)
            elif token.type == "fence" and token.info == "mermaid":
                self._diagram(guide, token)
            elif token.type == "fence":
                self._headers(guide, token)
            elif token.type == "inline":
                if not token.content:  # A header without words is none.
                    tokens[i - 1].tag = tokens[i + 1].tag = "td"
                self._links(guide, token)
                self._term(token, tokens[i - 1])
                self._text(guide, token, tokens[i - 1])
        if not guide.title:
            raise SystemExit(f"docs: {guide.path} has no heading")
        return tokens, env

    def _heading(self, guide, opening, inline, seen):
        text = "".join(t.content for t in inline.children)
        anchor = slug(text)
        seen[anchor] = seen.get(anchor, -1) + 1
        if seen[anchor]:
            anchor += f"-{seen[anchor]}"
        opening.attrs["id"] = anchor
        level = int(opening.tag[1])
        if not guide.title:
            guide.title = text
        else:
            guide.headings.append((level, anchor, text))
        guide.sections.append([anchor, text, ""])

    def _text(self, guide, inline, before):
        if before.type == "heading_open" or not guide.sections:
            return
        text = " ".join(t.content for t in inline.children if t.content)
        guide.lede = guide.lede or text.split(". ")[0] + "."
        guide.sections[-1][2] += text + " "

    def _term(self, inline, before):
        """A paragraph that begins with a term in bold, as in the glossary, can
        be linked to."""
        first = [t.type for t in inline.children[:3]]
        if before.type == "paragraph_open" and (
                first[1:] == ["strong_open", "text"]):
            before.attrs["id"] = f"term-{slug(inline.children[2].content)}"

    def _anchor(self, tokens, index, _options, _env):
        """A heading ends with a link to itself."""
        anchor, text = tokens[index - 2].attrs["id"], tokens[index - 1].content
        if tokens[index].tag == "h1":
            return "</h1>\n"
        return (f' <a class="anchor" href="#{anchor}" aria-label="Link to '
                f'{html.escape(text)}">#</a></{tokens[index].tag}>\n')

    def _headers(self, guide, token):
        """The search finds code by the headers of ours that it includes."""
        guide.sections[-1][2] += "".join(
            f"{name} " for name in re.findall(
                r'#include "(zorvik/[\w.]+)"', token.content))

    def _diagram(self, guide, token):
        title = re.search(r"^\s*accTitle: (.+)$", token.content, re.M)
        if not title:
            raise SystemExit(f"docs: {guide.path}: a diagram has no accTitle")
        anchor = guide.sections[-1][0]
        diagram = Diagram(token.content, guide, anchor, title[1])
        guide.diagrams.append(diagram)
        token.meta["diagram"] = diagram

    def _links(self, guide, inline):
        """Points links at pages of the site, or at nothing outside of it."""
        open_links = []
        for token in inline.children:
            if token.type == "image":
                self._picture(guide, token)
            if token.type == "link_close":
                opening = open_links.pop()
                token.tag = opening.tag
            if token.type != "link_open":
                continue
            open_links.append(token)
            target = token.attrs["href"]
            if re.match(r"[a-z]+:|#", target):
                continue
            path, _, fragment = target.partition("#")
            path = beside(guide, path)
            if path in self.pages:
                token.attrs["href"] = f"../{self.pages[path]}" + (
                    f"#{fragment}" if fragment else "")
            elif (self.repository / path).exists():
                token.tag = "span"
                token.attrs = {"class": "in-repository",
                               "title": f"{path} in the repository"}
            else:
                raise SystemExit(
                    f"docs: {guide.path} links to {target}, which is not there")

    def _picture(self, guide, token):
        path = beside(guide, token.attrs["src"])
        if not (self.repository / path).exists():
            raise SystemExit(f"docs: {guide.path} shows {path}, "
                             "which is not there")
        self.pictures[path] = f"picture/{posixpath.basename(path)}"
        token.attrs["src"] = f"../{self.pictures[path]}"

    def _code(self, tokens, index, _options, _env):
        text = tokens[index].content
        shown = f"<code>{html.escape(text)}</code>"
        target = self.names.get(text)
        return f'<a href="../{target.url}">{shown}</a>' if target else shown

    def _figure(self, tokens, index, options, env):
        diagram = tokens[index].meta.get("diagram")
        if diagram is None:
            return self._fence(tokens, index, options, env).replace(
                "<pre>", '<pre tabindex="0">', 1)
        return (f'<figure class="diagram" tabindex="0">'
                f'{diagram.linked_svg("../", self.names)}</figure>')


def beside(guide, path):
    """A path that a guide writes down, from the root of the repository."""
    return posixpath.normpath(
        posixpath.join(posixpath.dirname(guide.path), path))


def unique_names(vocabulary):
    """Names by which a guide may speak of an element: full, or simple."""
    simple = {}
    for element in vocabulary.elements.values():
        if element.kind != "field":
            simple.setdefault(element.name, []).append(element)
    names = {n: e[0] for n, e in simple.items()
             if len(e) == 1 and re.search(r"_|[a-z][A-Z]|\d", n)}
    return names | vocabulary.elements


def draw(diagrams):
    drawn = subprocess.run(
        ["node", HERE / "draw.mjs"], check=True, text=True,
        input=json.dumps([d.source for d in diagrams]),
        stdout=subprocess.PIPE).stdout
    for diagram, svg in zip(diagrams, json.loads(drawn), strict=True):
        diagram.svg = svg
