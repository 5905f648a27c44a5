"""numpydoc docstrings of the Dask face: the top-level function's arguments, and an example that
runs on the synchronous scheduler."""

import inspect
import textwrap

# name -> (call form, what the array operated on is, an example call, its output)
_ENTRIES = {
    "conv2": ("conv2(A, B[, shape]) or conv2(u, v, C[, shape])", "A (or C)",
              'vd.conv2(da.ones((4, 4), chunks=2), np.ones((2, 2)), "valid")',
              "array([[4., 4., 4.],\n       [4., 4., 4.],\n       [4., 4., 4.]])"),
    "convnc": ("convnc(A, B, shape)", "A", 'vd.convnc(da.ones(5, chunks=2), np.ones(2), "same")',
               "array([2., 2., 2., 2., 1.])"),
    "convn": ('convn(A, B, shape="full")', "A", "vd.convn(da.ones(3, chunks=2), np.ones(2))",
              "array([1., 2., 2., 1.])"),
    "strided_convn": ("strided_convn(A, B[, stride[, startIndex[, endIndex]]][, option])", "A",
                      "vd.strided_convn(da.arange(6.0, chunks=4), np.ones(2), 2)", "array([0., 3., 7., 5.])"),
    "filter": ("filter(b, a, x[, zi[, dim]], nargout=1)", "x",
               "vd.filter([1.0], [1.0, -0.5], da.ones(4, chunks=2))",
               "array([1.   , 1.5  , 1.75 , 1.875])"),
    "lfilter": ("lfilter(b, a, x, axis=-1, zi=None), with scipy.signal.lfilter's arguments", "x",
                "vd.lfilter([1.0], [1.0, -0.5], da.ones(4, chunks=2))",
                "array([1.   , 1.5  , 1.75 , 1.875])"),
    "ltitr": ("ltitr(A, B, U[, x0])", "U (one row per time step)",
              "vd.ltitr(np.array([[0.5]]), np.array([[1.0]]), da.ones((4, 1), chunks=2))",
              "array([[0.  ],\n       [1.  ],\n       [1.5 ],\n       [1.75]])"),
    "fft": ("fft(x[, n[, dim]])", "x", "vd.fft(da.from_array(np.array([1.0, 2.0, 3.0, 4.0]), chunks=2))",
            "array([10.+0.j, -2.+2.j, -2.+0.j, -2.-2.j])"),
    "ifft": ("ifft(x[, n[, dim]][, option])", "x", "vd.ifft(da.from_array(np.array([4.0, 0, 0, 0]), chunks=2))",
             "array([1.+0.j, 1.+0.j, 1.+0.j, 1.+0.j])"),
    "fftn": ("fftn(x[, siz]), as fft along each dimension in turn", "x", "vd.fftn(da.ones((2, 2), chunks=1))",
             "array([[4.+0.j, 0.+0.j],\n       [0.+0.j, 0.+0.j]])"),
    "ifftn": ("ifftn(x[, siz][, option]), as ifft along each dimension in turn", "x",
              "vd.ifftn(da.from_array(np.array([[4.0, 0], [0, 0]]), chunks=1))",
              "array([[1.+0.j, 1.+0.j],\n       [1.+0.j, 1.+0.j]])"),
}
for _kind in ("dct", "idct", "dst", "idst"):
    _ENTRIES[_kind] = (f'{_kind}(x[, n[, dim]][, "Variant", type])', "x",
                       f"vd.{_kind}(da.ones(4, chunks=2)).compute().shape", "(4,)")
    _ENTRIES[_kind + "n"] = (f'{_kind}n(x[, siz][, "Variant", type]), as {_kind} along each dimension in turn',
                             "x", f"vd.{_kind}n(da.ones((2, 3), chunks=1)).compute().shape", "(2, 3)")


_FACTS = ['facts : "dense" or (float, bool), optional',
          "    The whole first operand's count of non-zero elements and whether all are finite, which",
          "    choose the engine's path. By default a pass in the graph counts them before the parts are",
          '    convolved; given ("dense": all non-zero and finite), that pass is not made.']


def document(function):
    """Completes function's own docstring (kept as the summary) with the sections of its entry."""
    call, operand, example, output = _ENTRIES[function.__name__]
    summary = inspect.cleandoc(function.__doc__ or f"vlmathdsp.{function.__name__} of a chunked array.")
    lines = [*summary.splitlines(), "", f"Called as {call}.", "",
             "Parameters", "----------",
             f"{operand} : dask.array.Array", "    The array operated on, in chunks of any size.",
             "*args", f"    As in vlmathdsp.{function.__name__}; other arrays are NumPy arrays held whole.",
             *(_FACTS if "facts" in inspect.signature(function).parameters else []), "",
             "Returns", "-------", "dask.array.Array",
             "    Its chunks computed by tasks that call the library; see the module's docstring for how",
             "    they meet the one machine's result.", "",
             "Examples", "--------", ">>> import dask, numpy as np, dask.array as da, vlmathdsp.dask as vd",
             '>>> dask.config.set(scheduler="sync")  # doctest: +ELLIPSIS', "<dask.config.set object at ...>",
             f">>> {example}" + ("" if example.endswith(".shape") else ".compute()"), *output.splitlines()]
    function.__doc__ = textwrap.indent("\n".join(lines), "    ").lstrip() + "\n    "
    return function
