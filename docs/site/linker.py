"""Turns the words of a comment into HTML in which every name is a link."""

import html
import re
from collections import defaultdict

from markdown_it import MarkdownIt

TOKEN = re.compile(
    r"[A-Za-z_][A-Za-z0-9_]*(?:\.[A-Za-z_][A-Za-z0-9_]*)*_?\*?|\d{3,}")
# Used in links for the relative path to the root of the site; each page that
# shows a comment replaces it.
ROOT = "@root/"
# A word of prose has no underscore, dot, digit or inner capital.
NAME = re.compile(r"_|\.|\*|[a-z][A-Z]|[A-Za-z]\d|^[A-Z]{4,}$")
# These look like names and are not.
PROSE = re.compile(r"[A-Z]+[0-9]*|GiB|KiB|MiB|e\.g|i\.e|SHA\d*|\d+")


class Linker:
    def __init__(self, vocabulary):
        self.files = {s.name: s for s in vocabulary.schemas}
        self.elements = vocabulary.elements
        self.enums = vocabulary.enums
        by_name = defaultdict(list)
        for element in self.elements.values():
            if element.kind != "field":
                by_name[element.name].append(element)
        self.unique = {n: e[0] for n, e in by_name.items() if len(e) == 1}
        # Comments are plain prose with lists. Other Markdown has no meaning in
        # them, in particular the stars and underscores of names.
        self.markdown = MarkdownIt("zero").enable(["list", "code"])
        self.markdown.renderer.rules["text"] = self._text
        self.markdown.renderer.rules["code_block"] = self._aligned

    def link_all(self, vocabulary):
        for schema in vocabulary.schemas:
            self.link(schema.comment, schema)
            for element in schema.elements():
                self.link(element.comment, element)

    def link(self, comment, scope):
        text = comment.text
        if scope.kind == "schema":  # Its title is the heading of the page.
            text = text.removeprefix(f"{scope.title}:").strip()
            text = text[:1].upper() + text[1:]
        comment.html = self.markdown.render(text, {"scope": scope})
        comment.open_html = [self.words(text, scope) for text in comment.open]

    def _text(self, tokens, index, _options, env):
        return self.words(tokens[index].content, env["scope"])

    def _aligned(self, tokens, index, _options, _env):
        return f'<pre tabindex="0">{html.escape(tokens[index].content)}</pre>'

    def words(self, text, scope):
        out, end = [], 0
        for match in TOKEN.finditer(text):
            out.append(html.escape(text[end:match.start()]))
            out.append(self._word(match[0], scope))
            end = match.end()
        return "".join(out) + html.escape(text[end:])

    def _word(self, word, scope):
        target = self.resolve(word, scope)
        shown = html.escape(word)
        if target is scope:
            return f"<code>{shown}</code>"
        if target:
            mentions = getattr(target, "mentions", None)
            if mentions is not None and scope not in mentions:
                mentions.append(scope)
            return f'<a href="{ROOT}{target.url}"><code>{shown}</code></a>'
        if NAME.search(word) and not PROSE.fullmatch(word):
            return f"<code>{shown}</code>"
        return shown

    def resolve(self, word, scope):
        """The element that a word of the scope's comment means, or None."""
        if word.isdigit():
            enum = getattr(scope, "enum", None)
            return enum and enum.by_number(int(word))
        if not NAME.search(word):
            return None
        if word in self.files:
            return self.files[word]
        if word.endswith("*"):
            return next((e for e in self.enums if any(
                v.name.startswith(word[:-1]) for v in e.values)), None)
        package = getattr(scope, "schema", scope).package
        around = [f"{scope.full_name}.", f"{package}.", ""]
        if scope.kind == "field":
            around.insert(0, f"{scope.message.full_name}.")
        for prefix in around:
            if prefix + word in self.elements:
                return self.elements[prefix + word]
        return self.unique.get(word)
