"""The type stubs say what the module has: every public name, its parameters and their defaults."""

import ast
import dataclasses
import inspect
import pathlib
import subprocess
import sys

import kestrova
import pytest

STUB = pathlib.Path(kestrova.__file__).with_name("__init__.pyi")


def public(names):
    return {name for name in names if not name.startswith("_")}


def members(body):
    """Functions, classes and attributes of a module or a class, by name."""
    found = {}
    for node in body:
        if isinstance(node, (ast.FunctionDef, ast.ClassDef)):
            found[node.name] = node
        elif isinstance(node, ast.AnnAssign):
            found[node.target.id] = node
    return found


MODULE = members(ast.parse(STUB.read_text()).body)
CLASSES = {name: members(node.body) for name, node in MODULE.items() if isinstance(node, ast.ClassDef)}
UNSTATED = object()


def default_of(node):
    return UNSTATED if isinstance(node, ast.Constant) and node.value is ... else ast.literal_eval(node)


def parameters_of_stub(node):
    """(name, kind, default) of each parameter."""
    arguments = node.args
    plain = [a.arg for a in arguments.args]
    defaults = [inspect.Parameter.empty] * (len(plain) - len(arguments.defaults))
    defaults += [default_of(d) for d in arguments.defaults]
    found = [(name, "plain", default) for name, default in zip(plain, defaults)]
    for argument, default in zip(arguments.kwonlyargs, arguments.kw_defaults):
        found.append((argument.arg, "keyword", inspect.Parameter.empty if default is None else default_of(default)))
    return found


def parameters_of(function):
    kinds = {inspect.Parameter.POSITIONAL_OR_KEYWORD: "plain", inspect.Parameter.KEYWORD_ONLY: "keyword"}
    return [(p.name, kinds[p.kind], p.default) for p in inspect.signature(function).parameters.values()]


def assert_same_parameters(node, function):
    stated, actual = parameters_of_stub(node), parameters_of(function)
    assert [p[:2] for p in stated] == [p[:2] for p in actual]
    for (name, _, stated_default), (_, _, default) in zip(stated, actual):
        if stated_default is UNSTATED:  # a list that each object gets a new one of
            assert not isinstance(default, (int, float, str, tuple)), name
        else:
            assert type(stated_default) is type(default) and stated_default == default, name


def test_the_stub_has_each_public_name():
    assert public(MODULE) == public(kestrova.__all__)
    assert "__version__" in MODULE and kestrova.__version__


@pytest.mark.parametrize("name", [n for n, node in MODULE.items() if isinstance(node, ast.FunctionDef)])
def test_functions_have_the_stated_parameters(name):
    assert_same_parameters(MODULE[name], getattr(kestrova, name))


@pytest.mark.parametrize("name", CLASSES)
def test_classes_have_the_stated_members(name):
    cls = getattr(kestrova, name)
    stated = CLASSES[name]
    own = set(vars(cls)) | set(getattr(cls, "__dataclass_fields__", ())) | set(getattr(cls, "_fields", ()))
    inherited = {member for base in cls.__mro__[1:] for member in vars(base)} - set(vars(cls))
    instance_attributes = {"kind"} if name == "Error" else set()
    expected = public(own - inherited) | instance_attributes
    if issubclass(cls, kestrova.Adjustments) and cls is not kestrova.Adjustments:
        expected -= set(kestrova.Adjustments.__dataclass_fields__)
    assert public(stated) == expected
    for member, node in stated.items():
        if isinstance(node, ast.FunctionDef):
            decorators = [d.id for d in node.decorator_list]
            attribute = inspect.getattr_static(cls, member)
            assert ("property" in decorators) == isinstance(attribute, property), member
            assert ("classmethod" in decorators) == isinstance(attribute, classmethod), member
            if "property" not in decorators:
                function = attribute.__func__ if isinstance(attribute, classmethod) else attribute
                assert_same_parameters(node, function)
        elif isinstance(inspect.getattr_static(cls, member, None), property):
            assert getattr(cls, member).fset, f"{member} cannot be set"


@pytest.mark.parametrize("name", [n for n in CLASSES if dataclasses.is_dataclass(getattr(kestrova, n))])
def test_dataclasses_have_the_stated_fields_and_defaults(name):
    node, cls = MODULE[name], getattr(kestrova, name)
    (decorator,) = node.decorator_list
    stated = {keyword.arg: ast.literal_eval(keyword.value) for keyword in decorator.keywords}
    assert decorator.func.id == "dataclass"
    made = {"repr": cls.__dataclass_params__.repr, "match_args": "__match_args__" in vars(cls)}
    assert stated == {"kw_only": True, **made}
    fields = {field.name: field for field in dataclasses.fields(cls)}
    assert all(field.kw_only for field in fields.values())
    for base in map(MODULE.get, (b.id for b in node.bases)):
        for member in members(base.body):
            assert fields.pop(member) == getattr(kestrova, base.name).__dataclass_fields__[member]
    for member in (n for n in node.body if isinstance(n, ast.AnnAssign)):
        field, default = fields.pop(member.target.id), default_of(member.value)
        if default is UNSTATED:
            assert field.default_factory is list
        else:
            assert type(field.default) is type(default) and field.default == default, field.name
    assert not fields


def test_mypy_accepts_the_stub_and_a_program_that_uses_it(tmp_path):
    pytest.importorskip("mypy")
    program = tmp_path / "program.py"
    program.write_text(
        "import kestrova\n"
        "import numpy as np\n"
        "y = np.zeros((4, 4), np.uint16)\n"
        "smooth = kestrova.guided_filter(y, radius=4, out=y)\n"
        "settings = kestrova.Settings(shadows=0.4, layers=[kestrova.Layer(name='sky')])\n"
        "developed = kestrova.develop('a.jpg', settings, progress=print)\n"
        "width: int = developed.shape[1]\n"
        "kestrova.save(developed, 'b.jpg', format='jpeg').bytes\n"
        "wrong: str = kestrova.preset('natural')\n"
    )
    folder = STUB.parents[1]
    run = subprocess.run(
        [sys.executable, "-m", "mypy", "--strict", "--cache-dir", tmp_path / "cache", program],
        env={"MYPYPATH": str(folder), "PATH": "/usr/bin:/bin"},
        capture_output=True,
        text=True,
    )
    assert run.stdout.splitlines()[0].endswith('"Settings", variable has type "str")  [assignment]'), run.stdout
    assert "Found 1 error" in run.stdout, run.stdout + run.stderr


@pytest.mark.slow_sanitized
def test_mypy_s_own_comparison_finds_no_difference(tmp_path):
    pytest.importorskip("mypy")
    (tmp_path / "kestrova").mkdir()
    (tmp_path / "kestrova" / "__init__.pyi").write_text(STUB.read_text())  # without the inner modules
    run = subprocess.run(
        [sys.executable, "-m", "mypy.stubtest", "kestrova"],
        env={"MYPYPATH": str(tmp_path), "PYTHONPATH": str(STUB.parents[1]), "PATH": "/usr/bin:/bin"},
        cwd=tmp_path,
        capture_output=True,
        text=True,
    )
    assert run.returncode == 0, run.stdout + run.stderr
