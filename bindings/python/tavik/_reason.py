"""Why a run has no verdict."""

from __future__ import annotations

import typing


class Reason(typing.NamedTuple):
    """Why the device was not checked.

    kind: "no local rules", "not trusted", "empty", "not assembled", "no rules", "malformed expression" or "fault".
    description: the reason for people. rule: the name of the rule that ended the run; None if no rule did.

    >>> reason = kernel.run({"ModelNumber": "MD101"}, sign({"version": "12"}, private_key)).reason
    >>> reason.kind, reason.description, reason.rule
    ('no rules', 'the local rules have no rules for this device', None)
    """

    kind: str
    description: str
    rule: str | None

    def __str__(self) -> str:
        return self.description if self.rule is None else f'rule "{self.rule}": {self.description}'


Reason.__module__ = "tavik"
