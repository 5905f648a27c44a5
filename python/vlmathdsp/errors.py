"""Errors and warnings raised by the host."""


class Error(Exception):
    """A built-in refused its arguments or failed; `identifier` names the cause."""

    def __init__(self, message, identifier, component, key, arguments=()):
        super().__init__(message)
        self.identifier = identifier
        self.component = component
        self.key = key
        self.arguments = tuple(arguments)

    def __str__(self):
        return f"[{self.identifier}] {super().__str__()}"


class HostWarning(UserWarning):
    """A warning of a built-in; the call went on and returned its result."""

    def __init__(self, message, identifier):
        super().__init__(message)
        self.identifier = identifier
