"""A typed host program for mypy --strict. Lines that mypy must reject are marked."""

from __future__ import annotations

import datetime
import pathlib
from collections.abc import Mapping

import tavik


class Store(tavik.Platform):
    def validate(self, signed: tavik.Dictionary, public_key_path: str) -> Mapping[str, object]:
        if "payload" not in signed:
            raise tavik.UntrustedError("no payload")
        return signed

    def log(self, line: str) -> None:
        print(line)


def main(folder: pathlib.Path) -> list[str]:
    kernel = tavik.Kernel(folder / "library", platform=Store())
    prepared = kernel.prepare(tavik.Dictionary.read(folder / "rules"))
    device = {"ModelNumber": "MD101", "Made": datetime.datetime.now(datetime.timezone.utc), "Boards": ["A1", b"\0"]}
    failed: list[str] = []
    for outcome in prepared.check_many([device, (device, {"sfc": {"Colour": 3}})], threads=2):
        if isinstance(outcome, tavik.Result):
            failed += [record["rule"] for record in outcome.failures]
        elif isinstance(outcome, tavik.Error):
            failed.append(f"{outcome.domain} {outcome.code}: {outcome.text}")
        else:
            failed.append(outcome.kind)
    one: bool = kernel.run(device, None, station={}).verdict == "none"
    content: int = len(tavik.decode_der(b"")[0].content)
    kernel.check([], None)  # type: ignore[arg-type]
    tavik.evaluate("equal", object())  # type: ignore[arg-type]
    tavik.generate_key_pair("rsa1024")  # type: ignore[arg-type]
    prepared.check_many(device, threads="2")  # type: ignore[arg-type]
    return failed + [str(one), str(content), tavik.__version__]
