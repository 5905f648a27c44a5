"""The public functions' docstrings (numpydoc sections, examples that run) and the type stubs
(every public name, with the parameters the functions take: SciPy's own for the faces)."""

import ast
import doctest
import inspect
import os

import pytest
import scipy.fft
import scipy.signal

import vlmathdsp
import vlmathdsp.dask as dask_face
import vlmathdsp.nn as nn
import vlmathdsp.nn._modules  # noqa: F401  (the torch modules, made when first asked for)
import scipy.ndimage

import vlmathdsp.scipy
import vlmathdsp.scipy.fft as fft_face
import vlmathdsp.scipy.ndimage as ndimage_face
import vlmathdsp.scipy.signal as signal_face

MODULES = [vlmathdsp.functions, vlmathdsp.host, vlmathdsp.strings, vlmathdsp.errors, nn._functional, nn._modules,
           vlmathdsp.scipy, fft_face, signal_face, ndimage_face,
           dask_face, dask_face._convolution, dask_face._filtering, dask_face._tasks]
PUBLIC = [(vlmathdsp, vlmathdsp.__all__), (nn, nn.__all__), (fft_face, fft_face.__all__),
          (signal_face, signal_face.__all__), (ndimage_face, ndimage_face.__all__), (dask_face, dask_face.__all__),
          (vlmathdsp.scipy, ["patch", "unpatch", "patched"])]


def public_functions():
    for module, names in PUBLIC:
        for name in names:
            value = getattr(module, name)
            if inspect.isfunction(value):
                yield module, name, value


def test_every_public_function_has_numpydoc_sections_and_a_running_example():
    failed, examples = 0, {}
    finder = doctest.DocTestFinder()
    runner = doctest.DocTestRunner(optionflags=doctest.NORMALIZE_WHITESPACE)
    for module in MODULES:
        for test in finder.find(module):
            examples[test.name.rsplit(".", 1)[-1]] = len(test.examples)
            failed += runner.run(test).failed
    assert failed == 0
    for module, name, function in public_functions():
        doc = inspect.getdoc(function) or ""
        sections = ["Returns\n-------", "Examples\n--------"]
        if inspect.signature(function).parameters:
            sections.append("Parameters\n----------")
        for section in sections:
            assert section in doc, (module.__name__, name, section)
        assert examples.get(name, 0) > 0, (module.__name__, name)
    assert examples.get("Error", 0) > 0


def stub_functions(module):
    """Name -> parameter names of the functions in the module's .pyi."""
    path = os.path.splitext(module.__file__)[0] + ".pyi"
    tree = ast.parse(open(path, encoding="utf-8").read())
    found = {}
    for node in tree.body:
        if isinstance(node, ast.FunctionDef):
            a = node.args
            found[node.name] = [p.arg for p in a.posonlyargs + a.args + a.kwonlyargs] + \
                               ([f"*{a.vararg.arg}"] if a.vararg else [])
        elif isinstance(node, ast.ClassDef):
            found[node.name] = None
        elif isinstance(node, ast.AnnAssign):
            found[node.target.id] = None
    return found


def parameter_names(function):
    names = []
    for p in inspect.signature(function).parameters.values():
        if p.kind == p.VAR_POSITIONAL:
            names.append(f"*{p.name}")
        elif p.kind != p.VAR_KEYWORD:
            names.append(p.name)
    # keyword-only names after the variadic, as the stub lists them
    star = [n for n in names if n.startswith("*")]
    return [n for n in names if not n.startswith("*")] + star


@pytest.mark.parametrize("module, names, peer", [
    (vlmathdsp, vlmathdsp.__all__, None), (nn, nn.__all__, None), (fft_face, fft_face.__all__, scipy.fft),
    (signal_face, signal_face.__all__, scipy.signal), (ndimage_face, ndimage_face.__all__, scipy.ndimage),
    (dask_face, dask_face.__all__, None)])
def test_stubs_name_every_public_function_with_its_parameters(module, names, peer):
    stubs = stub_functions(module)
    for name in names:
        assert name in stubs, (module.__name__, name)
        if stubs[name] is None:
            continue
        try:
            want = parameter_names(getattr(peer or module, name))
        except ValueError:  # a builtin of the peer without a signature: ours is the reference
            want = parameter_names(getattr(module, name))
        assert stubs[name] == want, (module.__name__, name, stubs[name], want)


def api_entries():
    """{module: names} listed by the documentation site's API pages (autosummary under a
    currentmodule)."""
    folder = os.path.join(os.path.dirname(__file__), "..", "..", "docs", "api")
    entries = {}
    for page in os.listdir(folder):
        if not page.endswith(".rst"):
            continue
        module, listing = None, False
        for line in open(os.path.join(folder, page)):
            if line.startswith((".. module::", ".. currentmodule::")):
                module = line.split("::")[1].strip()
            elif line.startswith(".. autosummary::"):
                listing = True
            elif listing and line.startswith("   ") and not line.strip().startswith(":"):
                entries.setdefault(module, set()).add(line.strip())
            elif listing and line.strip() and not line.startswith(" "):
                listing = False
    return entries


def test_every_public_name_has_an_api_page():
    entries = api_entries()
    def documented(module, name):  # where it is public, or in the module that defines it
        homes = {module.__name__, getattr(getattr(module, name), "__module__", None)}
        return any(name in entries.get(home, set()) for home in homes)
    missing = [f"{module.__name__}.{name}" for module, names in PUBLIC + [(vlmathdsp.errors, ["catalogue"])]
               for name in names if not documented(module, name)]
    assert not missing, f"public names with no page under docs/api: {missing}"
    assert "conv2" in entries["vlmathdsp"] and "welch" in entries["vlmathdsp.scipy.signal"]


def test_the_readme_example_runs():
    readme = open(os.path.join(os.path.dirname(__file__), "..", "..", "README.md")).read()
    block = readme.split("```python\n", 1)[1].split("```", 1)[0]
    namespace = {}
    exec(compile(block, "README.md", "exec"), namespace)
    assert namespace["blurred"].shape == (1024, 1024) and namespace["y"].shape == (1024,)
