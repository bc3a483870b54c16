"""The overhead of the Python module over the C++ interface, measured alternately in one process, and its startup time.

    PYTHONPATH=BUILD/bindings/python python3 bench/python_bench.py BUILD/bench/libPythonBench.so [--quick]

Prints one JSON object: measure -> ratio of medians of processor time, or milliseconds. "converted once": attributes, rules and
sources are tavik.Dictionary objects.
"""

import argparse
import copy
import ctypes
import json
import os
import statistics
import subprocess
import sys
import tempfile
import time

import tavik

RULES = 200
START_AND_CHECK = """
import tavik
class Unsigned(tavik.Platform):
    def validate(self, signed, public_key_path):
        return signed
kernel = tavik.Kernel({"version": "1", "A": {"attribute": "A", "predicate": "equal", "value": 5}}, platform=Unsigned())
assert kernel.check({"A": 5}, {"version": "1", "GenericRules": {"A": {}}})
"""


class Unsigned(tavik.Platform):
    def validate(self, signed, public_key_path):
        return signed


class Cpp:
    """The same checks called from C++."""

    def __init__(self, path, folder):
        self.library = ctypes.PyDLL(path)
        self.library.makeScene.restype = ctypes.c_void_p
        for function in ("secondsOfChecks", "secondsOfPreparedChecks", "secondsOfPasses"):
            getattr(self.library, function).restype = ctypes.c_double
        self.scene = ctypes.c_void_p(self.library.makeScene(folder.encode(), RULES))

    def checks(self, count):
        return self.library.secondsOfChecks(self.scene, count)

    def prepared_checks(self, count):
        return self.library.secondsOfPreparedChecks(self.scene, count)

    def pass_over(self, devices):
        """One pass over all keys and values."""
        return self.library.secondsOfPasses(ctypes.py_object(devices), 1)


def seconds(call):
    def measure(count):
        start = time.process_time()
        for _ in range(count):
            call()
        return time.process_time() - start

    return measure


def medians(rounds, count, measures):
    """The medians of measures that are taken alternately."""
    taken = [[measure(count) for measure in measures.values()] for _ in range(rounds)]
    return dict(zip(measures, map(statistics.median, zip(*taken))))


def checks(cpp, folder, rounds):
    read = {name: tavik.Dictionary.read(f"{folder}/{name}.plist") for name in ("device", "rules")}
    device, rules = read["device"], read["rules"]
    plain = device.__reduce__()[1][0]
    kernel = tavik.Kernel(f"{folder}/library.plist", platform=Unsigned())
    prepared = kernel.prepare(rules)
    devices = [copy.deepcopy(plain) for _ in range(100)]
    times = medians(rounds, len(devices), {
        "check": cpp.checks,
        "check, converted once": seconds(lambda: kernel.check(device, rules)),
        "prepared": cpp.prepared_checks,
        "prepared, converted once": seconds(lambda: prepared.check(device)),
        "prepared, converted once, verdict": seconds(lambda: prepared.check(device).passed),
        "prepared, converted once, failures": seconds(lambda: prepared.check(device).failures),
        "prepared, converted once, all records": seconds(lambda: prepared.check(device).records),
        "prepared, dict, verdict": seconds(lambda: prepared.check(plain).passed),
        "pass": lambda _: cpp.pass_over(devices),
        "verdicts": lambda _: seconds(lambda: prepared.verdicts(devices, 1))(1),
        "check_many": lambda _: seconds(lambda: prepared.check_many(devices, 1))(1),
    })
    reference = times["prepared"] + times["pass"]
    return {
        **{f"{name}: time against C++": times[name] / times[name.split(",")[0]] for name in times if "," in name},
        **{f"{name} of dicts: time against C++ and a pass over the dicts": times[name] / reference
           for name in ("verdicts", "check_many")},
        **{f"C++ {name}, microseconds": times[case] * 1e4
           for case, name in (("check", "check"), ("prepared", "prepared check"), ("pass", "pass over a dict"))},
    }


def started(program):
    """Milliseconds for running `program` in a new interpreter."""
    def measure(_):
        start = time.perf_counter()
        subprocess.run([sys.executable, "-S", "-c", program], check=True)
        return (time.perf_counter() - start) * 1e3

    return measure


def start(rounds):
    times = medians(rounds, 1, {"python": started("pass"), "check": started(START_AND_CHECK)})
    return {"import tavik and check one device: milliseconds over starting Python": times["check"] - times["python"]}


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("library")
    parser.add_argument("--quick", action="store_true")
    arguments = parser.parse_args()
    rounds = 21 if arguments.quick else 101
    with tempfile.TemporaryDirectory(prefix="tavik-bench-") as folder:
        measured = checks(Cpp(arguments.library, folder), folder, rounds)
    os.environ["PYTHONPATH"] = os.pathsep.join(path for path in sys.path if path)
    print(json.dumps(measured | start(rounds), indent=2))


if __name__ == "__main__":
    main()
