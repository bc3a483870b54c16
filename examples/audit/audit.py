#!/usr/bin/python3
"""Checks a folder of batch files on many processors and machines, with dask.distributed.

    audit.py --library LIBRARY --rules RULES [--public-key PEM] [--scheduler ADDRESS | --workers N] INPUT OUTPUT

Writes OUTPUT/NAME.jsonl for each INPUT/NAME.jsonl: what `tavik batch --format json` prints for it, byte for byte. Prints a
table of failures by rule and part number, and writes it to OUTPUT as failures.csv and failures.svg. An audit that was
interrupted continues where it stopped when it is started again.

A worker runs `tavik batch` on one file at a time.
"""

import argparse
import collections
import contextlib
import csv
import dataclasses
import fcntl
import hashlib
import io
import json
import logging
import os
import pathlib
import re
import stat
import subprocess
import sys
import tempfile
import uuid
import warnings

PASSED, FAILED, UNUSABLE = range(3)  # exit statuses, as those of the command

UNFINISHED = ".audit-"  # how the names of incomplete files begin


class Problem(Exception):
    """The reasons why files could not be checked, as text."""

    def __init__(self, text, status=UNUSABLE):
        super().__init__(text, status)
        self.text, self.status = text, status


# ---- The command ---------------------------------------------------------------------------------------------------


@dataclasses.dataclass(frozen=True)
class Documents:
    """The rule documents, which have the same path on every machine, and the command that checks devices with them."""

    library: pathlib.Path
    rules: pathlib.Path
    public_key: pathlib.Path
    command: str
    digest: str = ""

    def batch(self, *options):
        """The command line that checks the devices on standard input."""
        key = ["--public-key", self.public_key] if self.public_key else []
        return [self.command, "batch", "--library", self.library, "--rules", self.rules, *key, "-j", "1", *options, "-"]

    def read_digest(self):
        """Everything that results depend on, apart from the devices."""
        version = subprocess.run([self.command, "--version"], stdout=subprocess.PIPE, check=True).stdout.decode().strip()
        return " ".join([version, *(hashlib.sha256(path.read_bytes()).hexdigest() for path in (self.library, self.rules))])

    def checked(self):
        """The documents with their digest. Raises a Problem with the command's message."""
        try:
            run = subprocess.run(self.batch(), input=b'{"attributes": {}}', capture_output=True, check=False)
            if run.returncode not in (PASSED, FAILED):
                raise Problem(run.stderr.decode().strip(), run.returncode)
            return dataclasses.replace(self, digest=self.read_digest())
        except OSError as error:
            raise Problem(f"audit: {error.filename}: {error.strerror}") from error

    def require_same(self):
        if self.read_digest() != self.digest:
            raise Problem("the command or a rule document is not the one that the audit was started with")


# ---- Counts --------------------------------------------------------------------------------------------------------


@dataclasses.dataclass
class Tally:
    """Devices by part number, those that did not pass, and the reasons by rule and part number."""

    devices: collections.Counter = dataclasses.field(default_factory=collections.Counter)
    failed: collections.Counter = dataclasses.field(default_factory=collections.Counter)
    rules: dict = dataclasses.field(default_factory=lambda: collections.defaultdict(collections.Counter))

    def add(self, summary):
        """summary: the output of `tavik batch --summary`."""
        others = (("input_errors", "(input error)"), ("faults", "(fault)"), ("no_verdict", "(no verdict)"))
        for part in summary["part_numbers"]:
            name = part["part_number"]
            self.devices[name] += part["devices"]
            self.failed[name] += part["failed"]
            reasons = [(rule["rule"], rule["devices"]) for rule in part["rules"]]
            for rule, count in reasons + [(text, part[key]) for key, text in others if part[key]]:
                self.rules[rule][name] += count


# ---- One file ------------------------------------------------------------------------------------------------------


@contextlib.contextmanager
def published(path):
    """A file for writing that gets its name when it is complete and on the disk."""
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


def open_input(path):
    """Opens a regular file. Anything else could block the reader or never end."""
    file = open(path, "rb", opener=lambda name, flags: os.open(name, flags | os.O_NONBLOCK))
    if not stat.S_ISREG(os.fstat(file.fileno()).st_mode):
        file.close()
        raise Problem("is not a regular file")
    return file


def state_of(file):
    """A value that changes if the file changes."""
    status = os.fstat(file.fileno())
    return [status.st_size, status.st_mtime_ns]


def finished(marker, result, state):
    """The summary that an earlier run left, if its input was the same."""
    with contextlib.suppress(OSError, ValueError):
        left = json.loads(marker.read_bytes())
        if left["input"] == state and result.is_file():
            return left["summary"]
    return None


def run_batch(documents, source, results):
    """Checks the devices of an open file; returns their summary. The command does not outlive this worker."""
    with tempfile.NamedTemporaryFile(prefix="tavik-audit-") as summary:
        command = ["setpriv", "--pdeathsig", "KILL", *documents.batch("--summary", summary.name)]
        run = subprocess.run(command, stdin=source, stdout=results, stderr=subprocess.PIPE, check=False)
        if run.returncode not in (PASSED, FAILED):
            lines = run.stderr.decode(errors="replace").splitlines() or [""]
            raise Problem(f"the command ended with status {run.returncode}: {lines[-1]}")
        documents.require_same()
        return json.loads(pathlib.Path(summary.name).read_bytes())


def check_file(documents, path, output):
    """Checks the devices of one file unless that has been done; returns their summary.

    The summary is stored after the results: if it exists, they are complete.
    """
    folder = output / "tallies"
    marker, result = folder / f"{path.name}.json", output / path.name
    with open_input(path) as source:
        state = state_of(source)
        summary = finished(marker, result, state)
        if summary is not None:
            return summary
        with published(result) as results:
            summary = run_batch(documents, source, results)
            if state_of(source) != state:
                raise Problem("was modified while it was read")
    with published(marker) as file:
        file.write(json.dumps({"input": state, "summary": summary}).encode())
    return summary


def check_on_worker(path, documents, output):
    """A task; returns the name of the file with its summary or an error."""
    try:
        return path.name, check_file(documents, path, output), None
    except Problem as problem:
        return path.name, None, problem.text
    except (OSError, subprocess.CalledProcessError) as error:
        return path.name, None, str(error)


# ---- The audit -----------------------------------------------------------------------------------------------------


def open_output(folder, documents):
    """Creates and locks the folder for the results of a set of rules; closing the returned file unlocks it."""
    (folder / "tallies").mkdir(parents=True, exist_ok=True)
    lock = open(folder / "audit.lock", "ab")
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError as error:
        raise Problem(f"audit: {folder}: another audit is writing there") from error
    about = folder / "audit.txt"
    if not about.exists():
        with published(about) as file:
            file.write(documents.digest.encode())
    if about.read_text() != documents.digest:
        raise Problem(f"audit: {folder}: has results of other rule documents, or of another version")
    return lock


def remove_unfinished(folder):
    """Removes incomplete files of killed workers."""
    for path in [*folder.glob(f"{UNFINISHED}*"), *folder.glob(f"tallies/{UNFINISHED}*")]:
        path.unlink(missing_ok=True)


@contextlib.contextmanager
def client_of(options):
    import dask
    from distributed import Client, LocalCluster
    from distributed.security import Security

    logging.disable()  # lost work is repeated, or reported below
    if options.scheduler:
        try:
            client = Client(options.scheduler, timeout="10s")
        except (OSError, ValueError) as error:
            raise Problem(f"audit: {options.scheduler}: no scheduler answers there") from error
        with client:
            yield client
        return
    # Other users of this machine must not be able to run code on the workers or observe them.
    loopback = "127.0.0.1:0"
    dask.config.set({f"distributed.{side}.http.routes": [] for side in ("scheduler", "worker")})
    how = {"security": Security.temporary(), "dashboard_address": loopback, "worker_dashboard_address": loopback}
    how["scheduler_kwargs"] = {"dashboard": False}
    with tempfile.TemporaryDirectory(prefix="audit-") as folder:
        how |= {"local_directory": folder, "threads_per_worker": 1, "silence_logs": logging.CRITICAL}
        with LocalCluster(n_workers=options.workers, **how) as cluster, Client(cluster) as client:
            yield client


def check_folder(client, documents, paths, output):
    """Checks the files; returns the tally of all, and the problems with any."""
    from distributed import CancelledError, progress, wait

    futures = client.map(check_on_worker, paths, documents=documents, output=output, pure=False)
    if sys.stderr.isatty():
        with contextlib.redirect_stdout(sys.stderr):
            progress(futures, notebook=False)
    try:
        wait(futures)
    except CancelledError as error:
        raise Problem("audit: the scheduler is gone; finished files are kept, start the audit again to continue") from error
    tally, problems = Tally(), []
    for path, future in zip(paths, futures):
        if future.status != "finished":
            problems.append(f"{path.name}: {str(future.exception() or future.status).splitlines()[0]}")
    for name, summary, problem in client.gather(futures, errors="skip"):
        tally.add(summary) if problem is None else problems.append(f"{name}: {problem}")
    return tally, problems


def audit(options):
    paths = sorted(path for path in options.input.glob("*.jsonl") if not path.name.startswith("."))
    if not paths:
        raise Problem(f"audit: {options.input}: there are no *.jsonl files")
    if options.output == options.input:
        raise Problem(f"audit: {options.output}: is the folder of the devices")
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

MOST_PARTS, MOST_RULES = 6, 30  # shown in the table and in the plot


def visible(name):
    return "".join(character if character.isprintable() else "\N{REPLACEMENT CHARACTER}" for character in name)


def cell(name):
    """A CSV cell that no spreadsheet takes for a formula, even if it splits cells at semicolons."""
    return re.sub(r"(^|;)(?=\s*[=+\-@\uff1d\uff0b\uff0d\uff20])", r"\1'", visible(name))


def most(counter, count):
    """The names with the highest counts; equal ones by name."""
    return sorted(counter, key=lambda name: (-counter[name], name))[:count]


def columns_of(tally):
    """The part numbers with a column, and a function that distributes counts to the columns."""
    parts = most(tally.failed, MOST_PARTS)
    others = ["others"] if len(tally.devices) > len(parts) else []

    def spread(counter):
        own = [counter[part] for part in parts]
        return own + [counter.total() - sum(own)] * len(others)

    return [visible(part) for part in parts] + others, spread


def rows_of(tally):
    rules = most({rule: parts.total() for rule, parts in tally.rules.items()}, None)
    return [(rule, tally.rules[rule]) for rule in rules]


def table(tally):
    columns, spread = columns_of(tally)
    rules = rows_of(tally)
    counts = [("devices", tally.devices), ("did not pass", tally.failed), *rules[:MOST_RULES]]
    lines = [["", "all", *columns]]
    lines += [[visible(name), str(counter.total()), *map(str, spread(counter))] for name, counter in counts]
    widths = [max(map(len, column)) for column in zip(*lines)]
    text = ""
    for name, *counts in lines:
        padded = [count.rjust(width) for count, width in zip(counts, widths[1:])]
        text += "  ".join([name.ljust(widths[0]), *padded]) + "\n"
    if len(rules) > MOST_RULES:
        text += f"and {len(rules) - MOST_RULES} more rules\n"
    return text


def plot(tally, file):
    """An SVG image: one bar per rule, divided by part number."""
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
    axes.set_yticks(range(len(rules)), [visible(rule) for rule, _ in rules], parse_math=False)
    if rules:
        for text in axes.legend(title="part number").get_texts():
            text.set_parse_math(False)
    with matplotlib.rc_context({"svg.hashsalt": "audit", "svg.fonttype": "none"}), warnings.catch_warnings():
        warnings.simplefilter("ignore")  # about characters that the font lacks; viewers have others
        figure.savefig(file, format="svg", metadata={"Date": None})


def report(tally, output):
    print(table(tally), end="")
    with published(output / "failures.csv") as file:
        rows = [(cell(rule), cell(part), parts[part]) for rule, parts in rows_of(tally) for part in most(parts, None)]
        text = io.StringIO()
        csv.writer(text, lineterminator="\n").writerows([("rule", "part number", "devices"), *rows])
        file.write(text.getvalue().encode())
    with published(output / "failures.svg") as file:
        plot(tally, file)


def options_of(arguments):
    parser = argparse.ArgumentParser(
        prog="audit",
        description="Checks a folder of batch files on many processors and machines.",
        epilog="Exit status: 0 every device passed, 1 a device did not pass, 2 not everything could be checked, "
        "4 a rule document is not trusted, empty or malformed.",
    )
    path = pathlib.Path
    parser.add_argument("--library", type=path, required=True, metavar="FILE", help="the signed rule library")
    parser.add_argument("--rules", type=path, required=True, metavar="FILE", help="the signed local rules of the product")
    parser.add_argument("--public-key", type=path, metavar="PEM", help="the trusted public keys")
    parser.add_argument("--tavik", default="tavik", metavar="PATH", help="the command, if it is not in PATH")
    where = parser.add_mutually_exclusive_group()
    where.add_argument("--scheduler", metavar="ADDRESS", help="a dask scheduler, such as tls://audit-1:8786")
    where.add_argument("--workers", type=int, metavar="N", help="workers on this machine, by default one per processor")
    parser.add_argument("input", type=path, metavar="INPUT", help="the folder of the devices, *.jsonl files")
    parser.add_argument("output", type=path, metavar="OUTPUT", help="the folder for the results")
    options = parser.parse_args(arguments)
    if options.workers is not None and options.workers < 1:
        parser.error("--workers: must be at least 1")
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
        where = error.filename or options.output  # an error while writing has no name
        print(f"audit: {where}: {error.strerror}", file=sys.stderr)
    except KeyboardInterrupt:
        print("audit: interrupted; finished files are kept, start the audit again to continue", file=sys.stderr)
    return UNUSABLE


if __name__ == "__main__":
    sys.exit(main())
