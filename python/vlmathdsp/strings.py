"""Arrays of the host's string class."""

import numpy as np


class StringArray:
    """Values in column-major order with a shape; None is a missing string."""

    _vlmathdsp_string_array = True

    def __init__(self, values, shape):
        self.values = values
        self.shape = tuple(int(d) for d in shape)

    def __repr__(self):
        return f"string_array({self.values!r}, shape={self.shape})"


def string_array(values, shape=None):
    """A string array of the host, for options that take one.

    Parameters
    ----------
    values : str, None, or a (nested) sequence of str or None
        None is a missing string.
    shape : tuple of int, optional
        Default: a row for a flat sequence, else the nesting's shape.

    Returns
    -------
    StringArray
        Values in column-major order with a shape.

    Examples
    --------
    >>> import vlmathdsp as vm
    >>> vm.string_array(["full", None])
    string_array(['full', None], shape=(1, 2))
    """
    if isinstance(values, str) or values is None:
        values = [values]
    arr = np.empty(np.shape(values), dtype=object)
    arr[...] = values
    if shape is None:
        shape = (1, arr.size) if arr.ndim <= 1 else arr.shape
        flat = arr.reshape(-1, order="F") if arr.ndim > 1 else arr.reshape(-1)
    else:
        flat = arr.reshape(-1)
        if int(np.prod(shape)) != flat.size:
            raise ValueError("string_array: the shape does not hold the values")
    for v in flat:
        if v is not None and not isinstance(v, str):
            raise TypeError("string_array: values must be str or None")
    return StringArray(list(flat), shape)
