#!/usr/bin/env python3
"""Writes the reference of the Python module as a fragment of HTML, from its sources: nothing has to be built.

Usage: python_reference.py FILE
"""

import ast
import html
import importlib.util
import inspect
import pathlib
import re
import sys
from typing import NamedTuple

PACKAGE = pathlib.Path(__file__).parents[1] / "python" / "kestrova"
MODULES = ("_filters", "_planes", "_resampling", "_curves", "_picture", "_detail", "_mask", "_photo", "_settings", "_errors")


class Entry(NamedTuple):
    """A public name, or a member of a class as "Class.member"; without a signature it is no function."""

    name: str
    signature: str
    text: str


def loaded(path):
    spec = importlib.util.spec_from_file_location(path.stem, path)
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


def public_names():
    tree = ast.parse((PACKAGE / "__init__.py").read_text(encoding="utf-8"))
    return next(ast.literal_eval(n.value) for n in tree.body if isinstance(n, ast.Assign) and n.targets[0].id == "__all__")


def decorators_of(node):
    return {decorator.id for decorator in node.decorator_list if isinstance(decorator, ast.Name)}


class Reader:
    """The entries of the package's modules."""

    def __init__(self):
        self.completed = loaded(PACKAGE / "_documentation.py").completed
        self.public = set(public_names())

    def text_of(self, node, arguments):
        text = ast.get_docstring(node) or ""
        names = [argument.arg for argument in arguments.args + arguments.kwonlyargs] if arguments else []
        return self.completed(text, "progress" in names) if "documented" in decorators_of(node) else text

    def member(self, owner, node):
        if isinstance(node, ast.Assign) and isinstance(node.value, ast.Call) and node.value.func.id == "_value":
            return Entry(f"{owner}.{node.targets[0].id}", "", ast.literal_eval(node.value.args[1]))
        if not isinstance(node, ast.FunctionDef) or node.name.startswith("_"):
            return None
        decorators = [ast.unparse(decorator) for decorator in node.decorator_list]
        if any(decorator.endswith(".setter") for decorator in decorators):
            return None
        return Entry(f"{owner}.{node.name}", self.signature_of(node, decorators), self.text_of(node, node.args))

    @staticmethod
    def signature_of(node, decorators):
        if "property" in decorators:
            return ""
        arguments = node.args
        del arguments.args[: any(argument.arg in ("self", "cls") for argument in arguments.args[:1])]
        return f"({ast.unparse(arguments)})"

    def entries(self, module):
        source = (PACKAGE / f"{module}.py").read_text(encoding="utf-8")
        lines = source.split("\n")
        for node in ast.parse(source).body:
            if isinstance(node, ast.Assign) and node.targets[0].id in self.public:
                first = node.lineno - 1
                while lines[first - 1].startswith("#: "):
                    first -= 1
                yield Entry(node.targets[0].id, "", " ".join(line[3:] for line in lines[first : node.lineno - 1]))
            elif isinstance(node, ast.FunctionDef) and node.name in self.public:
                text = self.text_of(node, node.args)
                yield Entry(node.name, self.signature_of(node, []), text)
            elif isinstance(node, ast.ClassDef) and node.name in self.public:
                constructor = next((n for n in node.body if isinstance(n, ast.FunctionDef) and n.name == "__init__"), None)
                text = self.text_of(node, constructor.args if constructor else None)
                yield Entry(node.name, self.signature_of(constructor, []) if constructor else "", text)
                yield from filter(None, (self.member(node.name, n) for n in node.body))


class Writer:
    """HTML of docstrings in numpy's form."""

    def __init__(self, names):
        self.names = set(names)

    def inline(self, text):
        parts = re.split(r"``(.+?)``|`([^`]+)`", text)  # plain, code, name, plain, ...
        for i in range(0, len(parts), 3):
            parts[i] = html.escape(parts[i])
        parts[1::3] = [self.code(part) if part else "" for part in parts[1::3]]
        parts[2::3] = [self.code(part) if part else "" for part in parts[2::3]]
        return "".join(parts)

    def code(self, text):
        name = text.removeprefix("kestrova.")
        shown = f"<code>{html.escape(text)}</code>"
        return f'<a href="#py-{name}">{shown}</a>' if name in self.names else shown

    def term(self, text):
        names, colon, kind = text.partition(" : ")
        if not colon:
            return self.inline(text)
        return f"{', '.join(map(self.code, names.split(', ')))} <span>{self.inline(kind)}</span>"

    def body(self, text):
        for block in re.split(r"\n\s*\n", text.strip("\n")):
            if block.lstrip().startswith(">>>") or block.startswith("    "):
                yield f'<pre class="fragment">{html.escape(inspect.cleandoc(block))}</pre>'
            elif block:
                yield f"<p>{self.inline(' '.join(block.split()).replace('::', ':'))}</p>"

    def definitions(self, text):
        yield "<dl>"
        for term, definition in re.findall(r"(?m)^(\S.*)((?:\n(?: .*)?)*)", text):
            yield f"<dt>{self.term(term)}</dt>"
            if definition.strip():
                yield f"<dd>{self.inline(' '.join(definition.split()))}</dd>"
        yield "</dl>"

    def docstring(self, text):
        sections = re.split(r"(?m)^(\w[\w ]*)\n-+\n", text)
        yield from self.body(sections[0])
        for title, section in zip(sections[1::2], sections[2::2]):
            yield f"<h4>{title}</h4>"
            listed = title in ("Parameters", "Returns", "Raises", "Attributes", "See Also")
            yield from (self.definitions if listed else self.body)(section)

    def entry(self, entry):
        level = 3 if "." not in entry.name else 4
        signature = f"<code>{html.escape(entry.name + entry.signature)}</code>"
        yield f'<h{level} id="py-{entry.name}">{signature}</h{level}>'
        yield from self.docstring(entry.text)


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    reader = Reader()
    modules = {module: list(reader.entries(module)) for module in MODULES}
    writer = Writer(entry.name for entries in modules.values() for entry in entries)
    lines = ['<div class="python">']
    for module, entries in modules.items():
        heading = ast.get_docstring(ast.parse((PACKAGE / f"{module}.py").read_text(encoding="utf-8")))
        lines.append(f"<h2>{html.escape(heading.rstrip('.'))}</h2>")
        lines.append(f"<p>{', '.join(writer.code(entry.name) for entry in entries if '.' not in entry.name)}</p>")
        for entry in entries:
            lines.extend(writer.entry(entry))
    pathlib.Path(sys.argv[1]).write_text("\n".join(lines + ["</div>\n"]), encoding="utf-8")


if __name__ == "__main__":
    main()
