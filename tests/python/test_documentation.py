"""Every public name has documentation that stands alone, with an example that runs."""

import ast
import doctest
import importlib.util
import inspect
import operator
import pathlib
import pydoc

import kestrova
import pytest

NAMES = [name for name in kestrova.__all__ if not name.isupper()]


def examples_of(name):
    finder = doctest.DocTestFinder(exclude_empty=False)
    return [test for test in finder.find(getattr(kestrova, name), name, module=False) if test.examples]


@pytest.mark.parametrize("name", NAMES)
def test_examples_run(name):
    runner = doctest.DocTestRunner(verbose=False)
    for test in examples_of(name):
        assert runner.run(test).failed == 0


@pytest.mark.parametrize("name", NAMES)
def test_documentation_has_its_sections(name):
    value = getattr(kestrova, name)
    text = inspect.getdoc(value)
    assert text and len(text.splitlines()[0]) < 110
    if inspect.isfunction(value):
        parameters = inspect.signature(value).parameters
        for parameter in parameters:
            assert parameter in text
        assert not parameters or "Parameters\n----------" in text
        assert "Returns\n-------" in text
        assert examples_of(name)


@pytest.mark.parametrize("name", NAMES)
def test_public_members_have_documentation(name):
    value = getattr(kestrova, name)
    if not inspect.isclass(value) or issubclass(value, tuple):
        return
    for member, attribute in vars(value).items():
        if not member.startswith("_") and (callable(attribute) or isinstance(attribute, (property, classmethod))):
            assert inspect.getdoc(getattr(value, member)), member


def with_methods(name):
    value = getattr(kestrova, name)
    members = vars(value) if inspect.isclass(value) else ()
    return [value] + [getattr(value, member) for member in members if not member.startswith("_")]


@pytest.mark.parametrize("name", NAMES)
def test_documentation_says_what_an_interrupt_does_to_work(name):
    for value in with_methods(name):
        text = " ".join((inspect.getdoc(value) or "").split())
        assert "$" not in text
        if callable(value) and {"threads", "progress"} & set(inspect.signature(value).parameters):
            assert "KeyboardInterrupt" in text or "interrupt from the keyboard" in text, value


def test_the_reference_of_the_site_says_what_help_says(tmp_path):
    script = pathlib.Path(__file__).parents[2] / "docs" / "python_reference.py"
    spec = importlib.util.spec_from_file_location("python_reference", script)
    reference = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(reference)
    reader = reference.Reader()
    entries = {entry.name: entry for module in reference.MODULES for entry in reader.entries(module)}
    assert {name.split(".")[0] for name in entries} == set(kestrova.__all__)
    for name, entry in entries.items():
        value = operator.attrgetter(name)(kestrova)
        if not name.isupper():
            assert entry.text == inspect.getdoc(value), name
        if inspect.isfunction(value):
            named = ast.parse(f"def f{entry.signature}: ...").body[0].args
            parameters = [p for p in inspect.signature(value).parameters if p != "self"]
            assert [argument.arg for argument in named.args + named.kwonlyargs] == parameters, name


def test_help_shows_signatures():
    text = pydoc.plain(pydoc.render_doc(kestrova))
    assert "guided_filter(guide, src=None, *, radius=8, eps=0.001, out=None, threads=None)" in text
    assert "PyCapsule" not in text and "pybind11" not in text
    for name in NAMES:
        assert name in text
