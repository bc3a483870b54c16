"""What a kernel needs from the machine it runs on."""

from __future__ import annotations

import collections.abc
import logging
import os

from . import _tavik

_logger = logging.getLogger("tavik")


class Platform:
    """The signature check and the diagnostic log of a kernel. A host with its own trust store derives from it.

    A kernel calls it from any thread, several at a time, and keeps it; one that keeps its kernel in turn is never freed.
    An exception in `validate` ends the call into the kernel and reaches the caller; an Exception in `log` goes to
    sys.unraisablehook, and the run goes on, but KeyboardInterrupt and its like end it there too.

    >>> class Unsigned(Platform):
    ...     def validate(self, signed, public_key_path):
    ...         return signed  # for tests: takes plain documents
    >>> Kernel({"version": "31", "Model": {}}, platform=Unsigned())
    <tavik.Kernel object at 0x...>
    """

    def validate(self, signed: _tavik.Dictionary, public_key_path: str) -> collections.abc.Mapping[str, object]:
        """Returns the dictionary that was signed; raises UntrustedError to refuse the document.

        >>> StationPlatform(public_key).validate(Dictionary({}), "")
        Traceback (most recent call last):
        tavik.UntrustedError: the document is not signed: ...
        """
        raise NotImplementedError(f"{type(self).__name__} has no validate()")

    def logs(self) -> bool:
        """Whether anybody reads the log, asked once at the beginning of each call; when False, no line is made.

        By default whether the logger "tavik" takes lines of the level DEBUG.

        >>> Platform().logs()
        False
        """
        return _logger.isEnabledFor(logging.DEBUG)

    def log(self, line: str) -> None:
        """Takes one line of the log. By default hands it to the logger "tavik", at the level DEBUG.

        >>> Platform().log("processing Model")
        """
        _logger.debug("%s", line)


class StationPlatform(Platform):
    """The ready-made platform: checks signed documents against a PEM file of public keys.

    public_key: the file, in place of /usr/local/share/misc/TavikKernel-pub.pem. It is read for every validation.

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

    def __init__(self, public_key: str | os.PathLike[str] | None = None) -> None:
        self._validation = _tavik.StationValidation(public_key)

    def validate(self, signed: _tavik.Dictionary, public_key_path: str) -> collections.abc.Mapping[str, object]:
        return self._validation.validate(signed, public_key_path)


Platform.__module__ = StationPlatform.__module__ = "tavik"
