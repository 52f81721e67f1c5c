# The parameters the stubs declare against the signatures pybind11 writes into the
# docstrings, which stubtest cannot see: the same names, in the same order, for every
# overload of every function and method the module defines.
import ast
import os
import re

import zarvo_datatypes as z

STUB = os.path.join(os.path.dirname(z.__file__), "__init__.pyi")


def runtime_overloads(function):
    """The parameter lists of each overload; arg0, arg1 (unnamed) and *args as '_' and '*'."""
    lists = []
    for signature in re.findall(r"^(?:\d+\. )?\w+\((.*)\) ->", function.__doc__ or "", re.M):
        names = re.findall(r"(?:^|, )(\*{0,2}\w+)(?=: |, |$)", signature)
        lists.append(["*" if name.startswith("*") else "_" if re.fullmatch(r"arg\d+", name) else name
                      for name in names if name != "self"])
    return lists


def stub_parameters(definition, unnamed):
    arguments = definition.args
    names = [a.arg for a in arguments.posonlyargs + arguments.args if a.arg != "self"]
    names = ["_" if position < len(unnamed) and unnamed[position] == "_" else name
             for position, name in enumerate(names)]
    return names + (["*"] if arguments.vararg else []) + [a.arg for a in arguments.kwonlyargs]


def stub_functions():
    """(owner, name, [parameter lists]) for each function of the stubs, overloads gathered."""
    found = {}

    def visit(body, owner):
        for node in body:
            if isinstance(node, ast.ClassDef) and not node.name.startswith("_"):  # not the typing-only bases
                visit(node.body, getattr(owner, node.name))
            elif isinstance(node, ast.FunctionDef) and not any(
                    isinstance(d, ast.Name) and d.id == "property" or isinstance(d, ast.Attribute)
                    for d in node.decorator_list):
                found.setdefault((owner, node.name), []).append(node)

    visit(ast.parse(open(STUB).read()).body, z)
    return found


def test_stub_parameters_match_the_module():
    mismatches = []
    for (owner, name), definitions in stub_functions().items():
        lists = runtime_overloads(getattr(owner, name))
        if not lists:
            continue  # not pybind11's (the mapping methods from collections.abc)
        # Overloads for typing only (by a literal) and unions for C++ overloads: the
        # distinct parameter lists must agree.
        declared = {tuple(stub_parameters(d, lists[min(i, len(lists) - 1)])) for i, d in enumerate(definitions)}
        if declared != set(map(tuple, lists)):
            mismatches.append(f"{getattr(owner, '__name__', owner)}.{name}: stub {declared}, module {lists}")
    assert not mismatches, "\n".join(mismatches)
