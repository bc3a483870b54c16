#!/usr/bin/python3
"""Checks a folder of batch files on many processors and machines, with dask.distributed.

    audit.py --library LIBRARY --rules RULES [--public-key PEM] [--scheduler ADDRESS | --workers N] INPUT OUTPUT

For each INPUT/NAME.jsonl there is OUTPUT/NAME.jsonl afterwards, byte for byte what `tavik batch --format json` prints for
it. What failed is printed as a table by rule and part number, and is in OUTPUT as failures.csv and failures.svg. A run that
was ended early goes on where it was when it is started again.

A worker checks with rules that it has prepared once, through the module `tavik`. The few devices that Python cannot show
exactly as the command does go to the command.
"""

import argparse
import base64
import collections
import contextlib
import csv
import dataclasses
import fcntl
import hashlib
import io
import json
import logging
import math
import os
import pathlib
import stat
import subprocess
import sys
import tempfile
import uuid
import warnings

import tavik

PASSED, FAILED, UNUSABLE, _, NO_VERDICT = range(5)  # the exit statuses of the command

UNFINISHED = ".audit-"  # how the names of files begin that are not complete yet


class Problem(Exception):
    """What kept files from being checked; for people."""

    def __init__(self, text, status=UNUSABLE):
        super().__init__(text, status)
        self.text, self.status = text, status


# ---- One device ----------------------------------------------------------------------------------------------------


class Beyond(Exception):
    """A line, or what is to be said about it, that only the command spells exactly."""


MOST_BRACKETS = 400  # no line with as many is nested too deep for either reader


def entries_of(pairs):
    """What an object of JSON stands for: bytes or a dictionary."""
    entries = dict(pairs)
    if len(entries) < len(pairs):
        raise Beyond
    if len(pairs) > 1 or not pairs or not pairs[0][0].startswith("$"):
        return entries
    ((form, text),) = pairs
    if form != "$data" or not isinstance(text, str):
        raise Beyond
    data = base64.b64decode(text)
    if base64.b64encode(data).decode() != text:
        raise Beyond
    return data


def finite(text):
    number = float(text)
    if math.isinf(number):
        raise Beyond
    return number


def refuse(_):
    raise Beyond


class Encoder(json.JSONEncoder):
    """Writes an answer as the command does."""

    def __init__(self):
        super().__init__(ensure_ascii=False, allow_nan=False)
        self.forms = 0

    def default(self, o):
        if not isinstance(o, bytes):
            raise Beyond  # a date, which can be finer than a datetime
        self.forms += 1
        return {"$data": base64.b64encode(o).decode()}

    def line(self, answer):
        self.forms = 0
        text = self.encode(answer)
        if text.count('{"$') != self.forms:
            raise Beyond  # a dictionary that looks like a form
        return text.encode() + b"\n"


class Module:
    """The module `tavik`: answers about devices in which there is nothing odd."""

    def __init__(self, prepared):
        self.prepared = prepared
        self.decoder = json.JSONDecoder(object_pairs_hook=entries_of, parse_float=finite, parse_constant=refuse)
        self.encoder = Encoder()

    def answer(self, number, line):
        """The device's part number, the object that the command prints, and its text."""
        try:
            device = self.device_of(line)
            result = self.prepared.check(device["attributes"], device.get("sources") or None)
            error = result.error
            answer = {
                "id": device.get("id", number),
                "records": result.records,
                "station": result.station,
                "error": error and {"domain": error.domain, "code": error.code, "description": error.text},
            }
            return part_of(device["attributes"]), answer, self.encoder.line(answer)
        except (tavik.Error, tavik.Fault, TypeError, ValueError, OverflowError) as odd:
            raise Beyond from odd

    def device_of(self, line):
        if line.count(b"{") + line.count(b"[") > MOST_BRACKETS:
            raise Beyond
        members = self.decoder.decode(line.decode())
        if not isinstance(members, dict) or not {"attributes"} <= members.keys() <= {"id", "attributes", "sources"}:
            raise Beyond
        sources = members.get("sources", {})
        if not isinstance(sources, dict) or not all(isinstance(source, dict) for source in sources.values()):
            raise Beyond
        name = members.get("id", 0)
        if not isinstance(name, (int, str)) or (isinstance(name, int) and not -(2**63) <= name < 2**63):
            raise Beyond
        return members


class Command:
    """`tavik batch`, which is asked about single lines of a file. It is started when the first is asked about."""

    def __init__(self, arguments):
        self.arguments = arguments
        self.process = None
        self.lines = 0

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process:
            self.process.kill()
            self.process.communicate()

    def answer(self, number, line):
        """The same as that of the module."""
        text = self.text(number, line)
        answer = json.loads(text)
        part = "(unreadable line)" if "input_error" in answer else part_of(json.loads(line)["attributes"])
        return part, answer, text

    def text(self, number, line):
        """What it prints. Blank lines, of which it says nothing, stand for those between, for the numbers."""
        pipe = subprocess.PIPE
        self.process = self.process or subprocess.Popen([*self.arguments, "-"], stdin=pipe, stdout=pipe, stderr=pipe)
        with contextlib.suppress(BrokenPipeError):
            self.process.stdin.write(b"\n" * (number - self.lines - 1) + line + b"\n")
            self.process.stdin.flush()
        self.lines = number
        text = self.process.stdout.readline()
        if not text.endswith(b"\n"):
            self.process.kill()
            raise Problem(f"line {number}: the command ended: {self.process.communicate()[1].decode().strip()}")
        return text


def part_of(attributes):
    part = attributes.get("ModelNumber") if isinstance(attributes, dict) else None
    return part[:60] if isinstance(part, str) else "(no part number)"


# ---- What devices failed on ----------------------------------------------------------------------------------------

VERSION_RECORDS = 3  # the first of a run that comes to its rules


def failures_of(answer):
    """The rules that a device failed, or in brackets why there is no verdict; empty when it passed."""
    if "input_error" in answer:
        return ["(input error)"]
    if "fault" in answer:
        return ["(fault)"]
    records = answer["records"] or []
    if len(records) <= VERSION_RECORDS or (len(records) == VERSION_RECORDS + 1 and ended(answer)):
        return ["(no verdict)"]
    return [str(record.get("rule", "")) for record in records if record.get("result") is not True]


def ended(answer):
    """Whether the record behind those of the versions says why no rule was checked."""
    why = {"rule": "Device Rules", "actual": "no rules specified", "expected": "valid rule lists"}
    return answer["error"] is not None or why.items() <= answer["records"][VERSION_RECORDS].items()


@dataclasses.dataclass
class Tally:
    """Devices by part number, those of them that did not pass, and what failed by rule and part number."""

    devices: collections.Counter = dataclasses.field(default_factory=collections.Counter)
    failed: collections.Counter = dataclasses.field(default_factory=collections.Counter)
    rules: dict = dataclasses.field(default_factory=lambda: collections.defaultdict(collections.Counter))

    def add(self, part, failures):
        self.devices[part] += 1
        self.failed[part] += bool(failures)
        for rule in failures:
            self.rules[rule][part] += 1

    def as_json(self):
        return {"devices": self.devices, "failed": self.failed, "rules": self.rules}

    def merge(self, other):
        """other: a tally as JSON."""
        self.devices.update(other["devices"])
        self.failed.update(other["failed"])
        for rule, parts in other["rules"].items():
            self.rules[rule].update(parts)


# ---- One file ------------------------------------------------------------------------------------------------------

LONGEST_LINE = 1 << 26
BYTE_ORDER_MARK = b"\xef\xbb\xbf"


@contextlib.contextmanager
def published(path):
    """A file for writing that appears under its name when it is complete, and on the disk."""
    unfinished = path.with_name(f"{UNFINISHED}{uuid.uuid4().hex}")
    try:
        with open(unfinished, "xb") as file:
            yield file
            file.flush()
            os.fsync(file.fileno())
        os.replace(unfinished, path)
    except BaseException:
        unfinished.unlink(missing_ok=True)
        raise


def lines_of(file):
    """The lines that are not blank, each with its number; of one that is too long, enough to tell."""
    number = 0
    while line := file.readline(LONGEST_LINE + 3):
        number += 1
        piece = line
        while not piece.endswith(b"\n") and (piece := file.readline(1 << 20)):
            pass
        line = line.removesuffix(b"\n")
        if number == 1:
            line = line.removeprefix(BYTE_ORDER_MARK)
        if line.strip(b" \t\r"):
            yield number, line


def open_input(path):
    """Opens a file, and nothing that may keep a reader waiting or never ends."""
    file = open(path, "rb", opener=lambda name, flags: os.open(name, flags | os.O_NONBLOCK))
    if not stat.S_ISREG(os.fstat(file.fileno()).st_mode):
        file.close()
        raise Problem("is no regular file")
    return file


def state_of(file):
    """What changes when a file is written to."""
    status = os.fstat(file.fileno())
    return [status.st_size, status.st_mtime_ns]


def finished(marker, result, state):
    """The tally that an earlier run has left, if that was of the same input."""
    with contextlib.suppress(OSError, ValueError):
        left = json.loads(marker.read_bytes())
        if left["input"] == state and result.is_file():
            return left["tally"]
    return None


def check_lines(prepared, arguments, source, results):
    tally = Tally()
    module = Module(prepared)
    with Command(arguments) as command:
        for number, line in lines_of(source):
            try:
                part, answer, text = module.answer(number, line)
            except Beyond:
                part, answer, text = command.answer(number, line)
            results.write(text)
            tally.add(part, failures_of(answer))
    return tally.as_json()


def check_file(prepared, arguments, path, output):
    """Checks the devices of one file unless that was done already; returns their tally.

    The tally is written behind the results: where it is, they are complete.
    """
    marker, result = output / "tallies" / f"{path.name}.json", output / path.name
    with open_input(path) as source:
        state = state_of(source)
        tally = finished(marker, result, state)
        if tally is not None:
            return tally
        with published(result) as results:
            tally = check_lines(prepared, arguments, source, results)
            if state_of(source) != state:
                raise Problem("was written to while it was read")
    with published(marker) as file:
        file.write(json.dumps({"input": state, "tally": tally}).encode())
    return tally


# ---- Rule documents ------------------------------------------------------------------------------------------------


@dataclasses.dataclass(frozen=True)
class Documents:
    """The rule documents, which are in the same place on every machine, and how to use them."""

    library: pathlib.Path
    rules: pathlib.Path
    public_key: pathlib.Path
    command: str
    digest: str = ""

    def arguments(self):
        key = ["--public-key", str(self.public_key)] if self.public_key else []
        documents = ["--library", str(self.library), "--rules", str(self.rules)]
        return [self.command, "batch", *documents, *key, "--format", "json", "-j", "1"]

    def read_digest(self):
        """What results depend on beside the devices."""
        contents = [hashlib.sha256(path.read_bytes()).hexdigest() for path in (self.library, self.rules)]
        return " ".join([tavik.__version__, *contents])

    def prepare(self):
        """Rules to check with, the same as those of the other workers."""
        if self.read_digest() != self.digest:
            raise Problem("the module tavik or a rule document is not that of the machine that started the audit")
        return tavik.Kernel(self.library, self.public_key).prepare(tavik.Dictionary.read(self.rules))

    def checked(self):
        """These documents with their digest; raises what the command says against them."""
        try:
            with tempfile.NamedTemporaryFile() as no_devices:
                run = subprocess.run([*self.arguments(), no_devices.name], capture_output=True, check=False)
            if run.returncode != PASSED:
                raise Problem(run.stderr.decode().strip(), run.returncode)
            documents = dataclasses.replace(self, digest=self.read_digest())
            documents.prepare()
        except tavik.DocumentError as error:
            raise Problem(f"audit: {error}", NO_VERDICT) from error
        except OSError as error:
            raise Problem(f"audit: {error.filename}: {error.strerror}") from error
        return documents


class Rules:
    """What a worker keeps: rules that are prepared for its first file."""

    def __init__(self, documents):
        self.documents = documents
        self.ready = None

    def prepared(self):
        self.ready = self.ready or self.documents.prepare()
        return self.ready


def check_on_worker(path, output, name):
    """A task; returns the name of the file with its tally, or with what is wrong."""
    from distributed import get_worker

    rules = get_worker().plugins[name]
    try:
        return path.name, check_file(rules.prepared(), rules.documents.arguments(), path, output), None
    except Problem as problem:
        return path.name, None, problem.text
    except (OSError, tavik.DocumentError) as error:
        return path.name, None, str(error)


# ---- The whole audit -----------------------------------------------------------------------------------------------


def open_output(folder, documents):
    """Makes the folder, and keeps others from it until what is returned is closed. It is for one set of rules."""
    (folder / "tallies").mkdir(parents=True, exist_ok=True)
    lock = open(folder / "audit.lock", "ab")
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError as error:
        raise Problem(f"audit: {folder}: another audit writes there") from error
    about = folder / "audit.txt"
    if not about.exists():
        with published(about) as file:
            file.write(documents.digest.encode())
    if about.read_text() != documents.digest:
        raise Problem(f"audit: {folder}: holds results of other rule documents, or of another version")
    return lock


def remove_unfinished(folder):
    """What killed workers have left."""
    for path in [*folder.glob(f"{UNFINISHED}*"), *folder.glob(f"tallies/{UNFINISHED}*")]:
        path.unlink(missing_ok=True)


@contextlib.contextmanager
def client_of(options):
    from distributed import Client, LocalCluster

    logging.disable()  # what is lost is done again, or reported below
    if options.scheduler:
        try:
            client = Client(options.scheduler, timeout="10s")
        except (OSError, ValueError) as error:
            raise Problem(f"audit: {options.scheduler}: no scheduler answers there") from error
        with client:
            yield client
        return
    how = {"threads_per_worker": 1, "dashboard_address": "127.0.0.1:0", "silence_logs": logging.CRITICAL}
    with tempfile.TemporaryDirectory(prefix="audit-") as folder:
        with LocalCluster(n_workers=options.workers, local_directory=folder, **how) as cluster, Client(cluster) as client:
            yield client


def check_folder(client, documents, paths, output):
    """Checks the files; returns the tally of all, and what is wrong with which."""
    from distributed import CancelledError, progress, wait

    name = f"audit {hashlib.sha256(repr(documents).encode()).hexdigest()}"
    client.register_worker_plugin(Rules(documents), name=name)
    futures = client.map(check_on_worker, paths, output=output, name=name, pure=False)
    if sys.stderr.isatty():
        with contextlib.redirect_stdout(sys.stderr):
            progress(futures, notebook=False)
    try:
        wait(futures)
    except CancelledError as error:
        raise Problem("audit: the scheduler is gone; what is finished is kept, start it again to go on") from error
    tally, problems = Tally(), []
    for path, future in zip(paths, futures):
        if future.status != "finished":
            problems.append(f"{path.name}: {str(future.exception() or future.status).splitlines()[0]}")
    for name, found, problem in client.gather(futures, errors="skip"):
        tally.merge(found) if problem is None else problems.append(f"{name}: {problem}")
    return tally, problems


def audit(options):
    paths = sorted(path for path in options.input.glob("*.jsonl") if not path.name.startswith("."))
    if not paths:
        raise Problem(f"audit: {options.input}: there are no files *.jsonl")
    if options.output == options.input:
        raise Problem(f"audit: {options.output}: is also the folder of the devices")
    documents = Documents(options.library, options.rules, options.public_key, options.tavik).checked()
    with open_output(options.output, documents):
        with client_of(options) as client:
            tally, problems = check_folder(client, documents, paths, options.output)
        remove_unfinished(options.output)
        report(tally, options.output)
    for problem in problems:
        print(f"audit: {problem}", file=sys.stderr)
    return UNUSABLE if problems else FAILED if tally.failed.total() else PASSED


# ---- The report ----------------------------------------------------------------------------------------------------

MOST_PARTS, MOST_RULES = 6, 30  # that are told apart in the table and in the plot


def visible(name):
    return "".join(character if character.isprintable() else "\N{REPLACEMENT CHARACTER}" for character in name)


def most(counter, count):
    """The names that count most; by name where that is equal."""
    return sorted(counter, key=lambda name: (-counter[name], name))[:count]


def columns_of(tally):
    """The part numbers with a column of their own, and a way to spread counts over the columns."""
    parts = most(tally.failed, MOST_PARTS)
    others = ["others"] if len(tally.devices) > len(parts) else []

    def spread(counter):
        own = [counter[part] for part in parts]
        return own + [counter.total() - sum(own)] * len(others)

    return [visible(part) for part in parts] + others, spread


def rows_of(tally):
    rules = most({rule: parts.total() for rule, parts in tally.rules.items()}, None)
    return [(visible(rule), tally.rules[rule]) for rule in rules]


def table(tally):
    columns, spread = columns_of(tally)
    rules = rows_of(tally)
    counts = [("devices", tally.devices), ("did not pass", tally.failed), *rules[:MOST_RULES]]
    lines = [["", "all", *columns]]
    lines += [[name, str(counter.total()), *map(str, spread(counter))] for name, counter in counts]
    widths = [max(map(len, column)) for column in zip(*lines)]
    text = ""
    for name, *cells in lines:
        padded = [cell.rjust(width) for cell, width in zip(cells, widths[1:])]
        text += "  ".join([name.ljust(widths[0]), *padded]) + "\n"
    if len(rules) > MOST_RULES:
        text += f"and {len(rules) - MOST_RULES} more rules\n"
    return text


def plot(tally, file):
    """An SVG image: a bar for each rule, divided by part number."""
    import matplotlib
    from matplotlib.figure import Figure

    columns, spread = columns_of(tally)
    rules = rows_of(tally)[:MOST_RULES][::-1]
    figure = Figure(figsize=(9, 1.5 + 0.3 * len(rules)), layout="tight")
    axes = figure.add_subplot(title="Devices that failed", xlabel="devices")
    left = [0] * len(rules)
    for column, widths in zip(columns, zip(*(spread(parts) for _, parts in rules))):
        axes.barh(range(len(rules)), widths, left=left, label=column)
        left = [start + width for start, width in zip(left, widths)]
    axes.set_yticks(range(len(rules)), [rule for rule, _ in rules], parse_math=False)
    if rules:
        for text in axes.legend(title="part number").get_texts():
            text.set_parse_math(False)
    with matplotlib.rc_context({"svg.hashsalt": "audit", "svg.fonttype": "none"}), warnings.catch_warnings():
        warnings.simplefilter("ignore")  # of characters that the font lacks, which viewers show
        figure.savefig(file, format="svg", metadata={"Date": None})


def report(tally, output):
    print(table(tally), end="")
    with published(output / "failures.csv") as file:
        rows = [(rule, visible(part), parts[part]) for rule, parts in rows_of(tally) for part in most(parts, None)]
        text = io.StringIO()
        csv.writer(text, lineterminator="\n").writerows([("rule", "part number", "devices"), *rows])
        file.write(text.getvalue().encode())
    with published(output / "failures.svg") as file:
        plot(tally, file)


def options_of(arguments):
    parser = argparse.ArgumentParser(
        prog="audit", description="Checks a folder of batch files on many processors and machines."
    )
    path = pathlib.Path
    parser.add_argument("--library", type=path, required=True, metavar="FILE", help="the signed rule library")
    parser.add_argument("--rules", type=path, required=True, metavar="FILE", help="the signed local rules of the product")
    parser.add_argument("--public-key", type=path, metavar="PEM", help="the public keys that are trusted")
    parser.add_argument("--tavik", default="tavik", metavar="PATH", help="the command, where it is not in PATH")
    where = parser.add_mutually_exclusive_group()
    where.add_argument("--scheduler", metavar="ADDRESS", help="a dask scheduler, such as tcp://audit-1:8786")
    where.add_argument("--workers", type=int, metavar="N", help="workers on this machine, by default one a processor")
    parser.add_argument("input", type=path, metavar="INPUT", help="the folder of the devices, files *.jsonl")
    parser.add_argument("output", type=path, metavar="OUTPUT", help="the folder for the results")
    parser.epilog = (
        "Exit status: 0 every device passed, 1 some device did not, 2 not all could be checked, "
        "4 a rule document is not trusted, empty or malformed."
    )
    options = parser.parse_args(arguments)
    if options.workers is not None and options.workers < 1:
        parser.error("--workers: is less than 1")
    for name in ("library", "rules", "public_key", "input", "output"):
        if getattr(options, name):
            setattr(options, name, getattr(options, name).resolve())
    return options


def main(arguments=None):
    options = options_of(arguments)
    try:
        return audit(options)
    except Problem as problem:
        print(problem.text, file=sys.stderr)
        return problem.status
    except OSError as error:
        where = error.filename or options.output  # what is written has no name in an error
        print(f"audit: {where}: {error.strerror}", file=sys.stderr)
    except KeyboardInterrupt:
        print("audit: interrupted; what is finished is kept, start it again to go on", file=sys.stderr)
    return UNUSABLE


if __name__ == "__main__":
    sys.exit(main())
