"""What every face function shares: the hand-back to SciPy's own function for the calls the
engine does not take, and the sections its docstring shares with its siblings."""

import functools

from ._layout import Unsupported


def hand_back(name, scipys, args, kwargs):
    """SciPy's own function with a call the face does not take; name is the face's module and
    function ("signal.welch"), for a test that counts these."""
    return scipys(*args, **kwargs)


def fill(doc, sections):
    """doc with each line that is only "{key}" replaced by the lines of sections[key], indented as
    that line was."""
    lines = []
    for line in doc.splitlines():
        key = line.strip()
        if key.startswith("{") and key.endswith("}") and key[1:-1] in sections:
            indent = line[:len(line) - len(line.lstrip())]
            lines.extend(indent + part if part else "" for part in sections[key[1:-1]])
        else:
            lines.append(line)
    return "\n".join(lines)


def face(scipys, sections=None, module=None, small=None):
    """Decorator: the def, with SciPy's signature, as a face function of `module` (default the
    def's own). A call that raises Unsupported goes to scipys (SciPy's own) with the same
    arguments; the docstring's shared sections are filled in. small, a pair (count, fn), is tried
    first on a call of exactly count positional arguments: fn's result unless it is None."""
    def make(function):
        if module is not None:
            function.__module__ = module
        name = f"{function.__module__.rsplit('.', 1)[-1]}.{function.__name__}"

        count, first = small if small is not None else (-1, None)

        @functools.wraps(function)
        def call(*args, **kwargs):
            if len(args) == count and not kwargs:
                r = first(*args)
                if r is not None:
                    return r
            try:
                return function(*args, **kwargs)
            except Unsupported:
                return hand_back(name, scipys, args, kwargs)

        if sections:
            call.__doc__ = fill(function.__doc__, sections)
        return call
    return make


def faces_of(scipy_module, module, sections=None):
    """The decorator of the face functions of `module` (a name) for SciPy's `scipy_module`: each
    hands back to SciPy's function of its name."""
    return lambda function: face(getattr(scipy_module, function.__name__), sections, module)(function)
