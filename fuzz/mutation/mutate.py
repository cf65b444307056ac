#!/usr/bin/env python3
"""Damages stores in many ways, reads each with examples/walk.c and `nimport export`, and counts what still comes out.

The second form flips every bit of the pages of some kinds, one after the other ("definition", "definition, system",
"usage maps", "global map", "rows of the catalog", "rows of stored queries"), or every Nth of them. Exit code 1 when
a mutant crashed, hung, lost memory, touched something outside the target, or lost mails without a word.
"""

import argparse
import collections
import dataclasses
import itertools
import json
import multiprocessing
import os
import pathlib
import resource
import shutil
import signal
import stat
import subprocess
import sys

sys.dont_write_bytecode = True  # the source tree stays as it is

from mutant import Mutator, list_flips, make_flip

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
HANG_SECONDS = 5  # of processor time
SANITIZER_EXIT = 77

# Mails of every kind, few enough for a trial to take milliseconds.
SMALL = {"template": {
    "mails": 40, "cabinets": 2, "folders": 5, "mimePercent": 30, "addresses": 30, "groups": 6, "depth": 2, "seed": 7,
    "text": {"minBytes": 60, "maxBytes": 900, "longEvery": 10, "longBytes": 9000}}}
REMARKS = ("failures", "incomplete", "skippedMails", "notes", "unlisted", "leftOut", "losses")


class Broken(Exception):
    """A program ended as none may; `args` are the ending and what it said."""


@dataclasses.dataclass
class Reading:
    """What was read in a store: multisets, and what the account of an export names."""
    exit_code: int
    mails: collections.Counter
    contacts: collections.Counter
    remarks: set
    message: str = ""  # why the run ended early

    def is_less_than(self, other):
        return self.mails.total() < other.mails.total() or self.contacts.total() < other.contacts.total()


class Laboratory:
    """Stores on disk, one of which is damaged at a time: a/b/store-N, the export in a/b/out, temporary files in
    a/b/tmp, so that what leaves the target by a few levels is still seen."""

    def __init__(self, root, build):
        self.root, self.build = root, build
        self.out, self.temporary = root / "a/b/out", root / "a/b/tmp"
        shutil.rmtree(root, ignore_errors=True)
        self.temporary.mkdir(parents=True)
        small = root / "small.json"
        small.write_text(json.dumps(SMALL))
        self.names, self.places, self.stores = [], [], []
        for description, version in itertools.product((small, ROOT / "samples/demo-ja.json"), ("jet3", "jet4")):
            self.names.append(f"{description.stem}, {version}")
            self.places.append(root / f"a/b/store-{len(self.places)}")
            self.run("mkstore", description, self.places[-1], "--format", version)
            self.stores.append({str(path.relative_to(self.places[-1])): path.read_bytes()
                                for path in self.places[-1].rglob("*") if path.is_file()})
        self.sound = [(self.walk(place), self.export(place)) for place in self.places]

    def run(self, program, *arguments, **more):
        limit = lambda: resource.setrlimit(resource.RLIMIT_CPU, (HANG_SECONDS, HANG_SECONDS))
        environment = {**os.environ, "TMPDIR": str(self.temporary), "TZ": "Asia/Tokyo", **more}
        try:
            run = subprocess.run([self.build / "bin" / program, *arguments], capture_output=True, check=False,
                                 env=environment, preexec_fn=limit, timeout=20 * HANG_SECONDS)
        except subprocess.TimeoutExpired:
            raise Broken("hang", program) from None
        said = run.stderr.decode(errors="replace")
        if run.returncode in (-signal.SIGXCPU, -signal.SIGKILL):
            raise Broken("hang", said)
        if not 0 <= run.returncode < SANITIZER_EXIT:
            raise Broken("leak" if "detected memory leaks" in said else "crash", said)
        return run

    def walk(self, place):
        """All functions of the plug-in, without NIMPORT_SALVAGE. Mails and contacts are their numbers, remarks the
        lines with an error code."""
        run = self.run("walk", NIMPORT_REGISTRY=str(place / "registry.reg"), NIMPORT_DRIVES=f"C={place / 'c'}")
        lines = run.stdout.splitlines()
        items = collections.Counter(line.split(b'"')[3] for line in lines)
        return Reading(run.returncode, collections.Counter({b"mail": items[b"mail"]}),
                       collections.Counter({b"address": items[b"address"]}), {line for line in lines if b'":-' in line})

    def export(self, place):
        shutil.rmtree(self.out, ignore_errors=True)
        run = self.run("nimport", "export", "--registry", place / "registry.reg", "--drive", f"C={place / 'c'}",
                       "--to", self.out)
        result = Reading(run.returncode, collections.Counter(), collections.Counter(), set(), run.stderr.decode())
        for path in self.out.rglob("*"):
            if not path.is_file():
                continue
            data = path.read_bytes()
            if path == self.out / "account.json":
                account = json.loads(data)
                result.remarks = {f"{name}: {remark}" for name in REMARKS for remark in account.get(name) or []}
            elif path == self.out / "contacts.vcf":
                result.contacts.update(data.split(b"BEGIN:VCARD")[1:])
            else:
                result.mails[data] += 1
        return result

    def surroundings(self):
        """Every file outside the target, with what would change if it were touched; directories change their times
        when files come and go, which is seen by the files."""
        files = {}
        for folder, folders, names in os.walk(self.root):
            if folder == str(self.out):
                folders.clear()
                continue
            for path in (os.path.join(folder, name) for name in folders + names):
                state = os.lstat(path)
                files[path] = (state.st_mode, state.st_ino)
                if stat.S_ISREG(state.st_mode):
                    files[path] += (state.st_size, state.st_mtime_ns, state.st_ctime_ns)
        return {path: state for path, state in files.items() if path != str(self.out)}

    def put(self, store, file, data):
        path = self.places[store] / file
        if data is None:
            path.unlink()
        else:
            path.write_bytes(data)
            os.utime(path, (0, 0))  # a file that was written just now counts as changing still

    def attempt(self, mutant, is_flip):
        """Damages the store, reads it and repairs it. The counts of a line in a report's tables."""
        walked, exported = self.sound[mutant.store]
        counts = collections.Counter(mutants=1)
        complaints = []
        self.put(mutant.store, mutant.file, mutant.data)
        before = self.surroundings()
        try:
            walk, got = self.walk(self.places[mutant.store]), self.export(self.places[mutant.store])
        except Broken as broken:
            shutil.rmtree(self.temporary)
            self.temporary.mkdir()
            counts[broken.args[0]] += 1
            complaints.append(f"{broken.args[0]}: {broken.args[1]}")
        else:
            is_silent = not got.remarks - exported.remarks
            if self.surroundings() != before:
                complaints.append("something outside the target was touched")
            if got.exit_code > 2 or got.exit_code == 2 and not got.message:
                complaints.append(f"exit code {got.exit_code} without a reason")
            if got.exit_code == 0 and got.mails.total() < exported.mails.total():
                complaints.append("mails were lost, and the exit code is 0")
            # A row that became neither group nor address is named among what is left out.
            if got.exit_code != 2 and is_silent and got.is_less_than(exported):
                complaints.append("a loss that is not named")
            # Rows of zeros are lawful ones; a single bit must be noticed.
            if is_flip and walk.is_less_than(walked) and not walk.remarks - walked.remarks:
                complaints.append("a loss without an error where nothing is salvaged")
            counts.update({
                "mails": exported.mails.total(), "whole mails": (exported.mails & got.mails).total(),
                "lost mails": max(0, exported.mails.total() - got.mails.total()),
                "contacts": exported.contacts.total(), "whole contacts": (exported.contacts & got.contacts).total(),
                "unreadable": got.exit_code == 2, "complaints": len(complaints)})
            is_whole = not exported.mails - got.mails and not exported.contacts - got.contacts
            counts["altered"] += not is_whole and got.exit_code != 2 and is_silent
        self.put(mutant.store, mutant.file, self.stores[mutant.store][mutant.file])
        return counts, complaints


def percent(part, whole):
    return f"{100 * part / whole:.1f}" if whole else "-"


def print_table(title, rows):
    print(f"| {title} | mutants | crashes | hangs | leaks | unnamed losses | mails whole % | mails lost % | "
          "contacts whole % | cannot run | altered unnoticed |\n|---|" + "--:|" * 10)
    for name, row in sorted(rows.items()):
        print("|", " | ".join(str(cell) for cell in (
            name, row["mutants"], row["crash"], row["hang"], row["leak"], row["complaints"],
            percent(row["whole mails"], row["mails"]), percent(row["lost mails"], row["mails"]),
            percent(row["whole contacts"], row["contacts"]), row["unreadable"], row["altered"])), "|")
    print()


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("count", nargs="?", type=int, default=1000, help="number of mutants")
    parser.add_argument("--seed", type=int, default=1, help="seed of all mutants")
    parser.add_argument("--first", type=int, default=0, help="number of the first mutant")
    parser.add_argument("--flips", nargs="+", metavar="KIND", help="kinds of pages whose bits are flipped, each alone")
    parser.add_argument("--step", type=int, default=1, help="flip every Nth bit of them")
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build", help="where the programs lie")
    parser.add_argument("--work", type=pathlib.Path, required=True, help="directory to work in; emptied")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="mutants at a time")
    parser.add_argument("--results", type=argparse.FileType("w"), help="a line of JSON per mutant goes here")
    parser.add_argument("--keep", action="store_true", help="only make the first mutant, and leave it in --work")
    return parser.parse_args()


def start_worker(arguments):
    """One laboratory for each process."""
    global laboratory, make, is_flip
    is_flip = bool(arguments.flips)
    laboratory = Laboratory(arguments.work / str(os.getpid()), arguments.build.resolve())
    if is_flip:
        flips = list(itertools.islice(list_flips(laboratory.stores, arguments.flips), 0, None, arguments.step))
        make = lambda number: make_flip(laboratory.stores, flips[number], number) if number < len(flips) else None
    else:
        make = lambda number: Mutator(laboratory.stores, arguments.seed, number).make()


def attempt(number):
    mutant = make(number)
    if mutant is None:
        return None
    counts, complaints = laboratory.attempt(mutant, is_flip)
    facts = {name: getattr(mutant, name) for name in ("number", "file", "damage", "place", "description")}
    return dict(facts, store=laboratory.names[mutant.store], counts=counts, complaints=complaints)


def main():
    arguments = parse_arguments()
    os.environ.update(dict.fromkeys(
        ("ASAN_OPTIONS", "UBSAN_OPTIONS"), f"exitcode={SANITIZER_EXIT}:intercept_tls_get_addr=0"))
    if arguments.keep:
        start_worker(arguments)
        mutant = make(arguments.first)
        laboratory.put(mutant.store, mutant.file, mutant.data)
        print(f"{laboratory.places[mutant.store]}: {mutant.file}, {mutant.damage}, {mutant.description}")
        return 0
    numbers = itertools.count() if arguments.flips else range(arguments.first, arguments.first + arguments.count)
    tables = {name: collections.defaultdict(collections.Counter) for name in ("damage", "place")}
    failures = []
    with multiprocessing.Pool(arguments.jobs, start_worker, (arguments,)) as pool:
        for result in itertools.takewhile(lambda one: one is not None, pool.imap(attempt, numbers)):
            for name, table in tables.items():
                for row in (result[name], "**all**"):
                    table[row].update(result["counts"])
            failures += ["{number} ({file}, {damage}, {place}, {description}): ".format(**result) + complaint
                         for complaint in result["complaints"]]
            if arguments.results:
                print(json.dumps(result), file=arguments.results, flush=True)
    print_table("damage", tables["damage"])
    print_table("what was hit", tables["place"])
    print("\n".join(failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
