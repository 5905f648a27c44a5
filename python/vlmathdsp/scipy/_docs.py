"""numpydoc docstrings of the SciPy faces: SciPy's parameters, and an example that runs."""

import textwrap


def docstring(name, module, signature, summary, parameters, returns, example, output):
    """The docstring of `module`.`name`: `parameters` and `returns` as numpydoc lines, `example`
    the call after `from vlmathdsp.scipy import <module's last part>` and `output` its repr."""
    short = module.rsplit(".", 1)[-1]
    lines = [f"{name}{signature}", "", summary, "",
             f"As ``{module}.{name}``, computed by this library; see the module's docstring for where",
             "it differs.", "", "Parameters", "----------", *parameters, "", "Returns", "-------", *returns, "",
             "Examples", "--------", ">>> import numpy as np", f">>> from vlmathdsp.scipy import {short}",
             f">>> {example}", *output.splitlines()]
    return textwrap.indent("\n".join(lines), "    ").lstrip() + "\n    "
