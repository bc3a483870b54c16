"""Shared by tests of the Python module: rule documents, a platform without signatures, and conversion of the command's JSON."""

import base64
import datetime
import json
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

import tavik

os.environ.pop("LD_PRELOAD", None)  # a sanitizer's runtime, which the command must not load

PROJECT = pathlib.Path(__file__).resolve().parents[2]
STATION = PROJECT / "examples" / "station"
SANITIZED = bool(os.environ.get("SANITIZED"))

LIBRARY = {
    "version": "31",
    "Model Number": {"attribute": "ModelNumber", "predicate": "hasPrefix", "value": "MD", "domain": "identity"},
    "Colour": {"attribute": "Colour", "predicate": "equal",
               "references": [{"source": "sfc", "attribute": "Colour", "description": "colour on the ticket"}]},
    "Code": {"attribute": "SerialNumber", "predicate": "MPNCCCCheck", "value": "KQ2"},
    "Malformed": {"attribute": "ModelNumber", "predicate": "a XOR b"},
    "Send": {"attribute": "ModelNumber", "predicate": "sendStaticAttribute", "value": {"OnPass": "good", "OnFail": 5}},
}


class Unsigned(tavik.Platform):
    """Accepts all documents."""

    def validate(self, signed, public_key_path):
        return signed


def kernel(library, platform=None):
    return tavik.Kernel(library, platform=platform or Unsigned())


def rules(*names, **others):
    return {"version": "12", "GenericRules": {name: {} for name in names}, **others}


class FolderTest(unittest.TestCase):
    """Each test has its own empty folder."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tavik-python-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def tavik(self, *arguments, **options):
        """Runs the command; returns its JSON output."""
        run = subprocess.run([os.environ["TAVIK"], *map(str, arguments)], capture_output=True, cwd=self.folder,
                             timeout=300, check=False, **options)
        self.assertTrue(run.stdout, run.stderr)
        return [from_json(json.loads(line)) for line in run.stdout.splitlines()]

    def keys(self):
        """A new key pair as two files."""
        pair = tavik.generate_key_pair()
        files = self.folder / "private.pem", self.folder / "public.pem"
        for path, text in zip(files, (pair.private_key, pair.public_key)):
            path.write_text(text, encoding="utf-8")
        return files


def from_json(value):
    """Converts JSON output of the command to a value."""
    if isinstance(value, list):
        return [from_json(element) for element in value]
    if not isinstance(value, dict):
        return value
    if list(value) == ["$data"]:
        return base64.b64decode(value["$data"])
    if list(value) == ["$date"]:
        return datetime.datetime.fromisoformat(value["$date"].replace("Z", "+00:00")).astimezone(datetime.timezone.utc)
    if list(value) == ["$dictionary"]:
        value = value["$dictionary"]
    return {key: from_json(element) for key, element in value.items()}


def to_json(value):
    """Converts a value to JSON for the command."""
    if isinstance(value, list):
        return [to_json(element) for element in value]
    if isinstance(value, bytes):
        return {"$data": base64.b64encode(value).decode()}
    if isinstance(value, datetime.datetime):
        return {"$date": value.strftime("%Y-%m-%dT%H:%M:%SZ")}
    if isinstance(value, dict):
        entries = {key: to_json(element) for key, element in value.items()}
        return {"$dictionary": entries} if len(value) == 1 and next(iter(value)).startswith("$") else entries
    return value


def answer(result):
    """The result in the form that the command prints."""
    reason = result.reason and {"kind": result.reason.kind, "rule": result.reason.rule, "description": result.reason.description}
    found = {"records": result.records, "station": result.station, "error": result.error and {
        "domain": result.error.domain, "code": result.error.code, "description": result.error.text}}
    fault = {"fault": {"kind": result.fault.kind, "message": str(result.fault)}} if result.fault else {}
    return found | fault | {"verdict": result.verdict, "reason": reason}
