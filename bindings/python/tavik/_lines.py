"""The iterator of check_lines."""

from __future__ import annotations

import collections.abc


def each(lists: collections.abc.Iterable[list[str]]) -> collections.abc.Iterator[str]:
    for results in lists:
        yield from results
