"""What an editor and help() see: docstrings and type stubs for every public name."""

import ast
import os

import quorvel

PACKAGE = os.path.dirname(quorvel.__file__)


def public(names):
    return {n for n in names if not n.startswith("_")}


def test_every_public_name_has_a_docstring_and_a_stub_and_the_package_is_typed():
    for name in quorvel.__all__:
        assert (getattr(quorvel, name).__doc__ or "").strip(), name
    for name in public(dir(quorvel.Mesh)):
        assert (getattr(quorvel.Mesh, name).__doc__ or "").strip(), f"Mesh.{name}"
    tree = ast.parse(open(os.path.join(PACKAGE, "_quorvel.pyi")).read())
    mesh = next(node for node in tree.body if isinstance(node, ast.ClassDef) and node.name == "Mesh")
    assert public(node.name for node in tree.body if isinstance(node, ast.FunctionDef)) == set(quorvel.__all__) - {
        "Mesh"}
    assert public(node.name for node in mesh.body if isinstance(node, ast.FunctionDef)) == public(dir(quorvel.Mesh))
    assert os.path.exists(os.path.join(PACKAGE, "py.typed"))
