"""Errors and warnings raised by the host."""


class Error(Exception):
    """A built-in refused its arguments or failed.

    Attributes
    ----------
    identifier : str
        The cause, as "VELTRA:conv2:invalidShape"; str() begins with it in brackets.
    component, key : str
        The identifier's two parts.
    arguments : tuple of str
        The values the message shows, where it shows any.
    called_with : str
        The call's arguments, each by its shape and class or its value ("" when not from a
        call); str() ends with it.

    Examples
    --------
    >>> import vlmathdsp as vm
    >>> try:
    ...     vm.set_num_threads(0)
    ... except vm.Error as e:
    ...     print(e.identifier)
    VELTRA:threadCount
    """

    def __init__(self, message, identifier, component, key, arguments=()):
        super().__init__(message)
        self.identifier = identifier
        self.component = component
        self.key = key
        self.arguments = tuple(arguments)
        self.called_with = ""

    def __str__(self):
        text = f"[{self.identifier}] {super().__str__()}"
        return f"{text} (called with {self.called_with})" if self.called_with else text


class HostWarning(UserWarning):
    """A warning of a built-in; the call went on and returned its result."""

    def __init__(self, message, identifier):
        super().__init__(message)
        self.identifier = identifier


def catalogue():
    """Every identifier an :class:`Error` or :class:`HostWarning` can carry, with its text.

    Returns
    -------
    dict
        Identifier to message text, "{0}" standing where the message shows an argument.

    Examples
    --------
    >>> from vlmathdsp.errors import catalogue
    >>> catalogue()["VELTRA:nomem"]
    'Out of memory.'
    """
    from .host import _vlmathdsp
    return dict(_vlmathdsp.catalogue())
