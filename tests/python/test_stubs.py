# The type stubs describe the module as built: every public class, enumeration value and method of
# corvane appears in __init__.pyi, and the stubs name nothing the module lacks. Every class and method
# carries a docstring.
import ast
import inspect
import os

import corvane

STUB = os.path.join(os.path.dirname(corvane.__file__), "__init__.pyi")
ALIASES = {"C64", "C128", "F32", "F64", "I32", "U32", "U8", "I16", "PathLike"}


def stub_classes():
    tree = ast.parse(open(STUB).read())
    out = {}
    for node in tree.body:
        if isinstance(node, ast.ClassDef):
            names = set()
            for item in node.body:
                if isinstance(item, ast.FunctionDef):
                    names.add(item.name)
                elif isinstance(item, ast.Assign):
                    names.update(t.id for t in item.targets)
                elif isinstance(item, ast.AnnAssign):
                    names.add(item.target.id)
            out[node.name] = names
    return out


def module_classes():
    return {n: c for n, c in vars(corvane).items() if inspect.isclass(c) and not n.startswith("_")}


def public_members(cls):
    if issubclass(cls, BaseException):
        return {"code", "message", "__init__"}
    names = {n for n in vars(cls) if not n.startswith("_")}
    if hasattr(cls, "__members__"):  # an enumeration: its values, not pybind11's helpers
        return set(cls.__members__)
    return names


def test_every_public_class_and_member_is_in_the_stubs_and_nothing_more():
    stubs = stub_classes()
    mods = module_classes()
    assert set(stubs) == set(mods)
    for name, cls in mods.items():
        expected = public_members(cls)
        got = {n for n in stubs[name] if not n.startswith("_")} | ({"__init__"} & stubs[name] & expected)
        assert expected == got, (name, expected ^ got)


def test_every_class_and_method_has_a_docstring():
    for name, cls in module_classes().items():
        assert cls.__doc__ and cls.__doc__.strip(), name
        if hasattr(cls, "__members__"):
            continue
        for member, value in vars(cls).items():
            if member.startswith("_"):
                continue
            if isinstance(value, property):
                doc = value.__doc__ or ""
            else:
                # pybind11 puts the signature on the first line; the description must follow it.
                doc = (getattr(getattr(value, "__func__", value), "__doc__", None) or "").split("\n", 1)
                doc = doc[1] if len(doc) > 1 else ""
            assert doc.strip(), f"{name}.{member} has no description"
