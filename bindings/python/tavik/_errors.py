"""What the module raises in addition to TypeError, OverflowError, OSError and MemoryError."""

from __future__ import annotations


class Error(Exception):
    """Why a rule document cannot be used.

    domain, code: which error; text: the same in words; rule: the name of the rule whose expression is malformed, or None;
    station: the station dictionary as the run left it.

    >>> try:
    ...     evaluate("hasPrefix XOR hasSuffix", "ABC", "A")
    ... except Error as error:
    ...     print(error.domain, error.code, error.text)
    ZRT Tavik Error Domain -100006 invalid logical operator:hasPrefix XOR hasSuffix
    """

    def __init__(self, domain: str, code: int, text: str) -> None:
        super().__init__(domain, code, text)
        self.domain = domain
        self.code = code
        self.text = text
        self.rule: str | None = None
        self.station: dict[str, object] = {}

    def __str__(self) -> str:
        return f"{self.text} ({self.code})"


class Fault(Exception):
    """A mistake of a host or rule author that ends the run in which it is found.

    kind: "range" or "invalid-argument"; rule: the name of the rule that ended the run, or None; station: the station
    dictionary as the run left it.

    >>> try:
    ...     evaluate("MPNCCCCheck", "Q2", "KQ2")
    ... except Fault as fault:
    ...     print(fault.kind)
    range
    """

    kind = ""

    def __init__(self, text: str) -> None:
        super().__init__(text)
        self.rule: str | None = None
        self.station: dict[str, object] = {}


class RangeFault(Fault, IndexError):
    """A fault: an index or a range of characters beyond the end.

    >>> issubclass(RangeFault, Fault) and issubclass(RangeFault, IndexError)
    True
    """

    kind = "range"


class ArgumentFault(Fault, ValueError):
    """A fault: a value is absent where one must be.

    >>> issubclass(ArgumentFault, Fault) and issubclass(ArgumentFault, ValueError)
    True
    """

    kind = "invalid-argument"


class DocumentError(ValueError):
    """A property list, rule document or key is malformed; the text says where and why.

    >>> read_property_list(b"{ a = 1 }")
    Traceback (most recent call last):
    tavik.DocumentError: line 1, column 9: ...
    """


class UntrustedError(DocumentError):
    """A document is not trusted. A Platform raises it to reject one.

    >>> verify({"version": "12"}, public_key)
    Traceback (most recent call last):
    tavik.UntrustedError: the document is not signed: ...
    """


for _class in (Error, Fault, RangeFault, ArgumentFault, DocumentError, UntrustedError):
    _class.__module__ = "tavik"
