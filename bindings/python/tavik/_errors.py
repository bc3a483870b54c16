"""The exceptions of the module. It also raises TypeError, OverflowError, OSError and MemoryError."""

from __future__ import annotations


class Error(Exception):
    """Why a rule document cannot be used.

    domain, code: identify the error. text: the message. rule: the name of the rule whose expression is malformed, or
    None. station: the station dictionary as the run left it.

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
    """A mistake by the host or in a rule, which ends the run.

    kind: "range" or "invalid-argument". rule: the name of the rule that ended the run, or None. station: the station
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
    """A fault: an index or a range of characters past the end.

    >>> issubclass(RangeFault, Fault) and issubclass(RangeFault, IndexError)
    True
    """

    kind = "range"


class ArgumentFault(Fault, ValueError):
    """A fault: a required value is absent.

    >>> issubclass(ArgumentFault, Fault) and issubclass(ArgumentFault, ValueError)
    True
    """

    kind = "invalid-argument"


class DocumentError(ValueError):
    """A property list, rule document or key is malformed. The message says where and why.

    >>> read_property_list(b"{ a = 1 }")
    Traceback (most recent call last):
    tavik.DocumentError: line 1, column 9: ...
    """


class UntrustedError(DocumentError):
    """A document is not trusted. A Platform raises it to reject a document.

    >>> verify({"version": "12"}, public_key)
    Traceback (most recent call last):
    tavik.UntrustedError: the document is not signed: ...
    """


for _class in (Error, Fault, RangeFault, ArgumentFault, DocumentError, UntrustedError):
    _class.__module__ = "tavik"
