"""The platform of a kernel: signature verification and the log."""

from __future__ import annotations

import collections.abc
import logging
import os

from . import _tavik

_logger = logging.getLogger("tavik")


class Platform:
    """The signature verification and the diagnostic log of a kernel. Derive from it for another trust store or log.

    A kernel calls it from any thread, from several at once, and keeps a reference to it. A platform that refers to its
    kernel is therefore never freed. An exception in `validate` ends the call into the kernel and propagates to the
    caller. An Exception in `log` is passed to sys.unraisablehook and the run continues; any other BaseException, such as
    KeyboardInterrupt, ends the call.

    >>> class Unsigned(Platform):
    ...     def validate(self, signed, public_key_path):
    ...         return signed  # for tests: accepts plain documents
    >>> Kernel({"version": "31", "Model": {}}, platform=Unsigned())
    <tavik.Kernel object at 0x...>
    """

    def validate(self, signed: _tavik.Dictionary, public_key_path: str) -> collections.abc.Mapping[str, object]:
        """Returns the signed content, a dictionary; raises UntrustedError to reject the document.

        A document is accepted in any role, and results do not say who signed it.

        >>> StationPlatform(public_key).validate(Dictionary({}), "")
        Traceback (most recent call last):
        tavik.UntrustedError: the document is not signed: ...
        """
        raise NotImplementedError(f"{type(self).__name__} must implement validate()")

    def logs(self) -> bool:
        """Whether logging is enabled. Called once at the beginning of each call; if False, no line is formatted.

        By default, whether the logger "tavik" is enabled for the level DEBUG.

        >>> Platform().logs()
        False
        """
        return _logger.isEnabledFor(logging.DEBUG)

    def log(self, line: str) -> None:
        """Receives one log line. By default, passes it to the logger "tavik" at the level DEBUG.

        >>> Platform().log("processing Model")
        """
        _logger.debug("%s", line)


class StationPlatform(Platform):
    """The ready-made platform: verifies signed documents with a PEM file of public keys, or with a trust policy.

    public_key: the file, instead of /usr/local/share/misc/TavikKernel-pub.pem. It is read for every validation.
    trust: the path of a trust policy, a JSON file. Accepted revisions are stored in its state file unless remember is
    False.

    >>> class Printing(StationPlatform):
    ...     def logs(self):
    ...         return True
    ...     def log(self, line):
    ...         print(line)
    >>> kernel = Kernel(library, platform=Printing(public_key))
    >>> kernel.check({"ModelNumber": "MD101"}, rules).passed
    sourcesForReferences: (null)
    ...
    True
    """

    def __init__(
        self, public_key: str | os.PathLike[str] | None = None, *, trust: str | os.PathLike[str] | None = None,
        remember: bool = True,
    ) -> None:
        self._validation = _tavik.StationValidation(public_key, trust, remember)

    def validate(self, signed: _tavik.Dictionary, public_key_path: str) -> collections.abc.Mapping[str, object]:
        return self._validation.validate(signed, public_key_path)


Platform.__module__ = StationPlatform.__module__ = "tavik"
