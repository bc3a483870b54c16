"""Measures how long `tavik lsp` takes to answer after each keystroke, in a document of 10,000 rules.

    TAVIK=build/release/tools/tavik/tavik python3 tests/lsp/latency.py

Types into the rule library (XML and JSON, with changes of a range and of the whole text). Prints, in milliseconds, the longest and
the median time from sending the change to the answer, the median processor time of the thread that answers, and the time to the
findings after the last keystroke.
"""

import json
import pathlib
import statistics
import subprocess
import tempfile
import time

from client import TAVIK, Client

RULES = 10_000
KEYSTROKES = 20
PREDICATES = [("equal", 7), ("hasPrefix", "AB"), ("isUppercase", None), ("valueInList", ["A", "B"]), ("caseInsensitiveEqual", "xy")]


def documents(folder):
    library = {"version": "1"}
    for number in range(RULES):
        predicate, value = PREDICATES[number % len(PREDICATES)]
        library[f"Rule {number:05}"] = {"attribute": f"Attribute{number // 2}", "predicate": predicate}
        if value is not None:
            library[f"Rule {number:05}"]["value"] = value
    regions = {f"R{number}/A": {f"Rule {number:05}": {}} for number in range(5)}
    rules = {"version": "1", "GenericRules": {"AllRuleSet": {}}, "RuleSets": {"AllRuleSet": {name: {} for name in library if name != "version"}},
             "MPNRules": {f"PN{number}": {"RegionRules": regions} for number in range(5)}}
    (folder / "library.json").write_text(json.dumps(library, indent=1), encoding="utf-8")
    (folder / "rules.json").write_text(json.dumps(rules, indent=1), encoding="utf-8")


REQUESTS = {
    "hover": {},
    "completion": {},
    "definition": {},
    "references": {"context": {"includeDeclaration": True}},
    "documentSymbol": {},
    "codeAction": {"range": {"start": {"line": 0, "character": 0}, "end": {"line": 9, "character": 0}}, "context": {"diagnostics": []}},
}


def processor_time(process):
    """Of the thread that answers, in seconds."""
    return int(pathlib.Path(f"/proc/{process.pid}/task/{process.pid}/schedstat").read_text(encoding="utf-8").split()[0]) / 1e9


def measure(folder, library, incremental):
    with Client(folder) as client:
        client.open(library)
        client.open("rules.json")
        client.diagnostics(library)
        text = (folder / library).read_text(encoding="utf-8")
        at = text.index("Rule 05000") + 5
        for request, params in REQUESTS.items():
            taken, used = [], []
            for _ in range(KEYSTROKES):
                line, column = text.count("\n", 0, at), at - text.rfind("\n", 0, at) - 1
                text = text[:at] + "x" + text[at:]
                before = processor_time(client.process)
                client.change(library, ((line, column, line, column), "x") if incremental else text)
                begin = client.sent
                answer = client.at(request, library, line, column + 1, **params)
                taken.append(client.received - begin)
                used.append(processor_time(client.process) - before)
                assert "result" in answer, answer
                at += 1
            begin = client.sent
            client.diagnostics(library)
            print(f"{library:<14} {'range' if incremental else 'whole':<6} {request:<15} longest {max(taken) * 1000:6.1f}  median "
                  f"{statistics.median(taken) * 1000:6.1f}  processor {statistics.median(used) * 1000:6.1f}  findings {(time.monotonic() - begin) * 1000:6.1f}", flush=True)


with tempfile.TemporaryDirectory() as name:
    path = pathlib.Path(name)
    documents(path)
    for library_name in ("library.json", "library.plist"):
        if library_name.endswith("plist"):
            subprocess.run([TAVIK, "convert", "--to", "xml", "library.json", "-o", library_name], cwd=path, check=True)
            (path / "library.json").unlink()
        for is_incremental in (True, False):
            measure(path, library_name, is_incremental)
