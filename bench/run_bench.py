#!/usr/bin/env python3
"""Makes stores, runs the benchmarks and the programs that they are compared with, and prints tables.

All figures come from one run on one machine. Times are processor time, user and system, of several runs: the
median, and the least and the most in brackets. Only ratios, which are those of the medians, mean anything on
another machine.
"""

import argparse
import datetime
import importlib.machinery
import importlib.util
import json
import os
import platform
import statistics
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
REPEATS = 5
REMARKS = "\n## What misses its target"
UNITS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}

READ_TABLE_WITH_MDB_READER = """
import fs from "fs";
import module from "mdb-reader";
const Reader = module.default ?? module;
const database = new Reader(fs.readFileSync(process.argv[2]));
let rows = 0;
for (const name of process.argv[3] ? [process.argv[3]] : database.getTableNames()) {
  rows += database.getTable(name).getData().length;
}
console.log(rows);
"""


class Sample(list):
    """Seconds of several runs."""

    @property
    def median(self):
        return statistics.median(self)

    def text(self, unit):
        scale, name = {"us": (1e6, "µs"), "ms": (1e3, "ms"), "s": (1, "s")}[unit]
        low, middle, high = (f"{value * scale:.3g}" if value * scale < 100 else f"{value * scale:.0f}"
                             for value in (min(self), self.median, max(self)))
        return f"{middle} {name} ({low}–{high})"


def run_once(command, env=None):
    """Processor time and wall time of one run of the command."""
    begin = time.perf_counter()
    process = subprocess.Popen(command, env=env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    wall = time.perf_counter() - begin
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}: exit code {process.returncode}")
    return usage.ru_utime + usage.ru_stime, wall


def processor_time(command, env=None, repeats=REPEATS):
    return Sample(run_once(command, env)[0] for _ in range(repeats))


def peak_memory_mib(command, env=None):
    """The most memory that the command had: what the system last said before it ended."""
    process = subprocess.Popen(command, env=env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    peak = 0
    while process.poll() is None:
        try:
            for line in Path(f"/proc/{process.pid}/status").read_text().splitlines():
                if line.startswith("VmHWM:"):
                    peak = max(peak, int(line.split()[1]) / 1024)
        except (FileNotFoundError, ProcessLookupError):
            pass
        time.sleep(0.005)
    if process.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}: exit code {process.returncode}")
    return peak


class Results(dict):
    """Samples by the name of a benchmark; `counters` has the counters of its last run."""

    def __init__(self):
        super().__init__()
        self.counters = {}

    @property
    def peak_mib(self):
        return max(counters.get("peakKiB", 0) for counters in self.counters.values()) / 1024


def benchmark(program, env, only=".", seconds=0.2):
    output = subprocess.run(
        [program, "--benchmark_format=json", f"--benchmark_repetitions={REPEATS}",
         f"--benchmark_min_time={seconds}", f"--benchmark_filter={only}"],
        env={**os.environ, **env}, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
    ).stdout
    results = Results()
    for row in json.loads(output)["benchmarks"]:
        if row.get("error_occurred"):
            sys.exit(f"{program}: {row['name']}: {row['error_message']}")
        if row.get("run_type") != "iteration":
            continue
        results.setdefault(row["run_name"], Sample()).append(row["cpu_time"] * UNITS[row["time_unit"]])
        results.counters[row["run_name"]] = row
    return results


class Bench:
    """Where things are, and the stores, which several tables share."""

    def __init__(self, build, work, is_quick):
        self.build, self.work, self.is_quick = build, work, is_quick
        self.exports = 0  # how many directories have got exports

    def program(self, name):
        return self.build / "bin" / name

    def make(self, name, description, *options):
        store = self.work / name
        if not store.exists():
            source = self.work / f"{name}.json"
            source.write_text(json.dumps(description))
            subprocess.run([self.program("mkstore"), source, store, *options], check=True,
                           stdout=subprocess.DEVNULL)
        return store

    def store(self, form, mails, **template):
        """A store of samples/scale.json, with changes to its template."""
        description = json.loads((ROOT / "samples/scale.json").read_text())
        description["template"].update(template)
        changes = "".join(f"-{key}{value}" for key, value in template.items())
        return self.make(f"{form}-{mails}{changes}", description, "--format", form, "--scale", str(mails))

    def folder(self, mails, mime_percent=0):
        """A store of one folder."""
        return self.store("jet3", mails, mimePercent=mime_percent, cabinets=1, folders=1, addresses=0)

    def address_book(self, form, layout, addresses, groups=1_000, depth=5):
        """A store whose book has its addresses in chains of groups, each group's addresses together or dealt
        out in turn, as they come when people add them over the years."""
        entries = [
            {"key": g + 1, "parent": 0 if g % depth == 0 else g, "name": f"グループ {g + 1}"}
            for g in range(groups)
        ]
        for a in range(addresses):
            group = a % groups if layout == "interleaved" else a * groups // addresses
            entries.append({
                "key": groups + 1 + a, "parent": group + 1, "name": f"白石 千夏 {a}",
                "userId": f"member{a}@example.com", "comment": "次の例会は駅前の喫茶店です。" if a % 3 == 0 else None,
            })
        return self.make(f"book-{form}-{layout}-{addresses}", {"addressBook": entries}, "--format", form)


def database_of(store, name="Cabdata.mdb"):
    return str(store / "c/NIFTY/Data" / name)


def environment(store, database="Cabdata.mdb"):
    return {
        "NIMPORT_REGISTRY": str(store / "registry.reg"),
        "NIMPORT_DRIVES": f"C={store / 'c'}",
        "NIMPORT_BENCH_DATABASE": database_of(store, database),
    }


def table(heads, rows):
    lines = ["| " + " | ".join(heads) + " |", "|---" * len(heads) + "|"]
    return "\n".join(lines + ["| " + " | ".join(map(str, row)) + " |" for row in rows]) + "\n"


def verdict(holds, wanted):
    return wanted if holds else f"**{wanted}: missed**"


def at_least(value, wanted):
    return f"{value:.1f}", verdict(value >= wanted, f"at least {wanted}")


def at_most(value, wanted):
    return f"{value:.2f}", verdict(value <= wanted, f"at most {wanted}")


def mdb_reader(bench):
    """The command that reads tables with mdb-reader, installed as tests/crosscheck does; None without npm."""
    loader = importlib.machinery.SourceFileLoader("crosscheck", str(ROOT / "tests/crosscheck"))
    sys.dont_write_bytecode = True
    crosscheck = importlib.util.module_from_spec(importlib.util.spec_from_loader("crosscheck", loader))
    loader.exec_module(crosscheck)
    reader = crosscheck.MdbReader(bench.build / "crosscheck")
    if reader.problem():
        return None
    program = reader.folder / "read_table.mjs"
    program.write_text(READ_TABLE_WITH_MDB_READER)
    return ["node", program]


def scans(bench):
    mails = 200_000
    reader = mdb_reader(bench)
    rows = []
    for form in ("jet3", "jet4"):
        store = bench.store(form, mails)
        database = database_of(store)
        ours = benchmark(bench.program("jet_bench"), environment(store), "BM_Scan")
        one, full, all_tables = (ours[f"BM_Scan{what}"] for what in (
            "DataTableOneInteger", "DataTableAllColumns", "AllTablesAllColumns"))
        tables = subprocess.run(["mdb-tables", "-1", database], check=True,
                                stdout=subprocess.PIPE, text=True).stdout.split()
        cat = processor_time(["cat", database], repeats=4 * REPEATS)
        dump = processor_time([bench.program("jetdump"), "--table", "DataTBL", database])
        export = processor_time(["mdb-export", database, "DataTBL"])
        export_all = Sample(map(sum, zip(*(processor_time(["mdb-export", database, t]) for t in tables))))

        def add(what, time, peer_name, peer, ratio):
            rows.append([form, what, time.text("ms"), peer_name, peer.text("ms"), *ratio])
        add("one integer column of DataTBL", one, "`cat` of the file", cat, at_most(one.median / cat.median, 3))
        add("DataTBL, all columns", full, "`mdb-export`", export, at_least(export.median / full.median, 10))
        add("all tables, all columns", all_tables, "`mdb-export` of each", export_all,
            at_least(export_all.median / all_tables.median, 10))
        add("all tables, all columns", all_tables, "`cat` of the file", cat,
            (f"{all_tables.median / cat.median:.2f}", ""))
        add("DataTBL printed by `jetdump`", dump, "`mdb-export`", export, (f"{export.median / dump.median:.1f}", ""))
        if reader:
            peer = processor_time([*reader, database, "DataTBL"], repeats=3)
            add("DataTBL, all columns", full, "mdb-reader", peer, (f"{peer.median / full.median:.1f}", ""))
            peer = processor_time([*reader, database], repeats=3)
            add("all tables, all columns", all_tables, "mdb-reader", peer,
                (f"{peer.median / all_tables.median:.1f}", ""))
        two = ours["BM_ScanTablesOfQueryOneInteger"]
        query = ours["BM_ScanStoredQuery"]
        add("stored query of two joined tables, one integer column", query, "plain scans of both tables, one integer",
            two, (f"{query.median / two.median:.2f}", ""))
        query = ours["BM_ScanStoredQueryAllColumns"]
        text = ours["BM_ScanTextTableAllColumns"]
        both = Sample(map(sum, zip(full, text)))
        add("the same query, all columns", query, "plain scans of both tables, all columns", both,
            (f"{query.median / both.median:.2f}", ""))
    size = os.path.getsize(database_of(bench.store("jet3", mails))) >> 20
    size4 = os.path.getsize(database_of(bench.store("jet4", mails))) >> 20
    return (f"## Scans of a store of {mails:,} mails\n\nThe databases have {size} MiB (Jet 3) and {size4} MiB (Jet 4)."
            " Each scan opens the database afresh. `mdb-export` and `jetdump` print what they read; mdb-reader"
            " (npm) is a whole run of `node`. The ratio is the peer's time by ours where we should be faster,"
            " otherwise ours by the peer's.\n\n"
            + table(["store", "what", "time", "compared with", "its time", "ratio", "wanted"], rows)
            + ("" if reader else "\nmdb-reader could not be installed.\n"))


def grown(title, names, sizes, results, wanted):
    """A row for each benchmark, a column for each size, and the last by the first."""
    rows = []
    for key, name in names.items():
        samples = [results[size][key] for size in sizes]
        ratio = samples[-1].median / samples[0].median
        rows.append([name, *(sample.text("us") for sample in samples), *at_most(ratio, wanted)])
    memory = ["memory of the process, MiB", *(f"{results[size].peak_mib:.1f}" for size in sizes), "", ""]
    return table([title, *(f"{size:,}" for size in sizes), "last by first", "wanted"], [*rows, memory])


def sizes_of(bench):
    return [1_000, 10_000, 100_000] + ([] if bench.is_quick else [1_000_000])


def lookups(bench):
    sizes = sizes_of(bench)
    results = {size: benchmark(bench.program("jet_bench"), environment(bench.folder(size)), "BM_Lookup")
               for size in sizes}
    names = {"BM_LookupForward": "in the order of the rows", "BM_LookupScattered": "each far from the last"}
    return ("## Lookups by number\n\nA row of a stored query of two joined tables is found by its number, and a text of it"
            " read.\n\n" + grown("mails", names, sizes, results, 1.2))


EXPORTS = {
    "Subject": "ML_GetMailSubject", "From": "ML_GetMailFrom", "To": "ML_GetMailTo",
    "MessageID": "ML_GetMailMessageID", "ContentType": "ML_GetMailContentType", "Date": "ML_GetMailDate",
    "TimeStamp": "ML_GetMailTimeStamp", "BodyCount": "ML_GetMailBodyCount",
    "AttachedCount": "ML_GetAttachedMailCount", "Source": "ML_GetMailSource", "BodyPath": "ML_GetMailBodyPath",
    "AttachedPath": "ML_GetAttachedMailPath",
}


def growth(bench):
    text = ("## Cost of one call as the folder grows\n\nAll mails are in one folder; every call is about another mail. Forward:"
            " in the folder's order, as an import asks. Scattered: each far from the last.\n")
    for percent, kind, sizes in ((0, "Mails that the database keeps", sizes_of(bench)),
                                 (100, "MIME mails", [1_000, 10_000, 100_000])):
        results = {size: benchmark(bench.program("export_bench"), environment(bench.folder(size, percent)), "/", 0.03)
                   for size in sizes}
        for order in ("Forward", "Scattered"):
            names = {f"{order}/{key}": call for key, call in EXPORTS.items()}
            text += f"\n{kind}, {order.lower()}:\n\n" + grown("call", names, sizes, results, 1.2)
    return text


def folders(bench):
    rows, per_item = [], []
    for mails_per_folder in (0.1, 20):
        each = []
        for count in (1_000, 10_000):
            mails = int(count * mails_per_folder)
            store = bench.store("jet3", mails, mimePercent=0, cabinets=10, folders=count, addresses=0)
            opened = benchmark(bench.program("export_bench"), environment(store), "OpenEveryFolder")
            time = opened["OpenEveryFolder"]
            found = opened.counters["OpenEveryFolder"]
            items = int(found["folders"] + found["mails"])
            each.append(time.median / items)
            rows.append([f"{int(found['folders']):,}", f"{int(found['mails']):,}", time.text("ms"),
                         f"{each[-1] * 1e6:.3f} µs", f"{opened.peak_mib:.1f}", "", ""])
        rows[-1][-2:] = at_most(each[1] / each[0], 1.2)
    return ("## Opening every folder in turn\n\nA session is opened, and each of its folders opened and closed.\n\n"
            + table(["folders", "mails", "time", "for a mail or folder", "memory, MiB", "ratio to the row above",
                     "wanted"], rows))


def mime_mails(bench):
    files = {"5 KiB": 3_000, "1 MiB attached": 1 << 20}
    results = {name: benchmark(bench.program("mime_bench"), environment(
        bench.store("jet3", 64, mimePercent=100, cabinets=1, folders=1, attachmentBytes=size))) for name, size in files.items()}
    rows = []
    for key, what in {"ParseFile": "GMime: parse the file", "ParseMemory": "GMime: parse it in memory"}.items():
        row = [what]
        for name in files:
            time = results[name][key]
            row += [time.text("us"), f"{time.median / results[name]['ParseFile'].median:.2f}", "", ""]
        rows.append([*row, ""])
    headers = ("Subject", "From", "To", "MessageID", "ContentType", "Date")
    for key, call in EXPORTS.items():
        if key == "TimeStamp":
            continue
        row, holds = [call], True
        for name in files:
            parse = results[name]["ParseFile"].median
            for kind in ("Again", "First"):
                time = results[name][f"{kind}/{key}"]
                row += [time.text("us"), f"{time.median / parse:.2f}"]
                holds = holds and (kind == "First" or time.median / parse <= 0.1)
        rows.append([*row, verdict(holds, "at most 0.1") if key in headers else ""])
    heads = [f"{name}: {what}" if what != "ratio" else what for name in files
             for what in ("again", "ratio", "first", "ratio")]
    return ("## MIME mails: one call, beside a bare GMime parse of the same file\n\nAgain: the second and later questions"
            " about a mail. First: every mail asked once.\n\n" + table(["call", *heads, "wanted again"], rows))


def export_times(bench, store, form, repeats, copies=None, unflushed=None, with_memory=False):
    """Processor and wall times of exports of a store, each into a new directory, and the peak of memory of one more.
    `copies` receives the times of cp -r of each result, `unflushed` those of an export that does not wait for the
    disk. What was written before is on the disk when each begins: a flush would pay for it. Nothing is deleted in
    between: some file systems take their time to create files where others were deleted a moment ago, and some disks
    to delete one."""
    times = []
    bench.exports += 1
    targets = [bench.work / f"export-{bench.exports}-{number}" for number in range(repeats + with_memory)]
    def command(target):
        return [bench.program("nimport"), "export", "--to", target, "--format", form,
                "--registry", store / "registry.reg", "--drive", f"C={store / 'c'}"]
    def run_alone(arguments, env=None):
        os.sync()
        return run_once(arguments, env)
    for target in targets[:repeats]:
        times.append(run_alone(command(target)))
        if copies is not None:
            copies.append(run_alone(["cp", "-r", target, f"{target}-copy"]))
        if unflushed is not None:
            unflushed.append(run_alone(command(f"{target}-unflushed"),
                                       {**os.environ, "LD_PRELOAD": str(bench.build / "lib/libno_flush.so")}))
    memory = peak_memory_mib(command(targets[-1])) if with_memory else 0
    processor, wall = (Sample(each) for each in zip(*times)) if times else ((), ())
    return processor, wall, memory


def exports(bench):
    mails = 100_000
    store = bench.store("jet3", mails)
    rows = []
    for form in ("maildir", "mbox"):
        copies, unflushed = [], []
        processor, wall, memory = export_times(bench, store, form, 3, copies, unflushed, with_memory=True)
        copy, copy_wall = (Sample(each) for each in zip(*copies))
        fast_wall = Sample(each[1] for each in unflushed)
        rows.append([form, processor.text("s"), copy.text("s"), *at_most(processor.median / copy.median, 2),
                     wall.text("s"), copy_wall.text("s"), *at_most(wall.median / copy_wall.median, 2),
                     *at_most(wall.median / fast_wall.median, 1.2), f"{memory:.1f}"])
    text = (f"## nimport export of {mails:,} mails, 30 % of them MIME with an attachment\n\nBeside `cp -r` of the result;"
            " an mbox is a file per folder. An export flushes what it wrote before it counts it; beside that, the wall"
            " time of one whose flushes do nothing.\n\n" + table(
                ["format", "processor time", "`cp -r`", "ratio", "wanted", "wall time", "`cp -r`", "ratio", "wanted",
                 "by unflushed", "wanted", "memory, MiB"], rows))
    sizes = [1_000, 10_000, 100_000]
    one, *grown_stores = [bench.store("jet3", size, addresses=0) for size in [1, *sizes]]
    rows = []
    for form in ("maildir", "mbox"):
        start = export_times(bench, one, form, REPEATS)[0].median
        each = []
        for size, grown_store in zip(sizes, grown_stores):
            total = export_times(bench, grown_store, form, 2 if size > 10_000 else REPEATS)[0]
            each.append(Sample((time - start) / size for time in total))
        rows.append([form, *(sample.text("us") for sample in each), *at_most(each[-1].median / each[0].median, 1.2)])
    text += ("\nProcessor time of one mail as the store grows, less that of an export of one mail:\n\n"
             + table(["format", *(f"{size:,} mails" for size in sizes), "last by first", "wanted"], rows))
    if bench.is_quick:
        return text
    rows = []
    for form in ("mbox", "maildir"):
        for size in (100_000, 1_000_000):
            processor, wall, memory = export_times(bench, bench.folder(size), form, 1, with_memory=form == "mbox")
            rows.append([form, f"{size:,}", f"{processor.median:.1f} s", f"{processor.median / size * 1e6:.0f} µs",
                         f"{wall.median:.0f} s", *(at_most(memory, 64) if memory else ("", ""))])
    text += ("\nOne folder of mails that the database keeps; one run each:\n\n" + table(
        ["format", "mails", "processor time", "a mail", "wall time", "memory, MiB", "wanted"], rows))
    rows = []
    big = bench.store("jet3", 1, mimePercent=100, cabinets=1, folders=1, addresses=0, attachmentBytes=220_000_000)
    mail = max(path.stat().st_size for path in (big / "c").rglob("*") if path.is_file()) / (1 << 20)
    for form in ("maildir", "mbox", "eml"):
        memory = export_times(bench, big, form, 0, with_memory=True)[2]
        rows.append([form, f"{mail:.0f}", *at_most(memory, round(mail) + 64)])
    return text + "\nA mail with one big attachment:\n\n" + table(["format", "mail, MiB", "memory, MiB", "wanted"], rows)


def address_books(bench):
    addresses = 100_000
    rows = []
    for form in ("jet3", "jet4"):
        for layout in ("interleaved", "together"):
            store = bench.address_book(form, layout, addresses)
            times = benchmark(bench.program("address_bench"), environment(store, "Abook.mdb"))
            opened, scan = times["BM_OpenBook"], times["BM_ScanAllColumns"]
            six = times["BM_ScanColumnsOfTheBook"]
            rows.append([form, layout, opened.text("ms"), scan.text("ms"), *at_most(opened.median / scan.median, 2),
                         six.text("ms"), f"{opened.median / six.median:.2f}", f"{times.peak_mib:.1f}"])
    text = (f"## Address book of {addresses:,} addresses in 1,000 groups five levels deep\n\n" + table(
        ["store", "addresses of a group", "open", "scan of the table, all columns", "ratio", "wanted",
         "the six columns read", "ratio", "memory, MiB"], rows))
    sizes = [1_000, 10_000, 100_000]
    each = []
    for size in sizes:
        store = bench.address_book("jet3", "interleaved", size)
        times = benchmark(bench.program("address_bench"), environment(store, "Abook.mdb"), "AskForEvery")
        each.append(Sample(time / size for time in times["BM_AskForEveryAddress"]))
    return text + ("\nHandle by position in the whole book, name and three values of one address:\n\n" + table(
        [*(f"of {size:,}" for size in sizes), "last by first", "wanted"],
        [[*(sample.text("us") for sample in each), *at_most(each[-1].median / each[0].median, 1.2)]]))


def memory(bench):
    store = bench.store("jet4", 200_000)
    database = database_of(store)
    reader = mdb_reader(bench)
    commands = {
        "`jetdump`, all tables and queries": [bench.program("jetdump"), database],
        "`jetdump --table DataTBL`": [bench.program("jetdump"), "--table", "DataTBL", database],
        "`mdb-export`, DataTBL": ["mdb-export", database, "DataTBL"],
        "`nimport tree`": [bench.program("nimport"), "tree", "--registry", store / "registry.reg", "--drive",
                           f"C={store / 'c'}"],
    }
    if reader:
        commands["mdb-reader, DataTBL"] = [*reader, database, "DataTBL"]
    rows = [[name, f"{peak_memory_mib(command):.1f}"] for name, command in commands.items()]
    return (f"## Memory of whole programs, a Jet 4 store of 200,000 mails\n\nThe most that each had; the database has"
            f" {os.path.getsize(database) >> 20} MiB. What sessions and exports need stands in the other tables.\n\n"
            + table(["program", "MiB"], rows))


def machine(bench):
    model = next((line.split(":")[1].strip() for line in Path("/proc/cpuinfo").read_text().splitlines()
                  if line.startswith("model name")), platform.machine())
    disk = subprocess.run(["df", "--output=fstype,source", bench.work], check=False, stdout=subprocess.PIPE,
                          text=True).stdout.splitlines()[-1].split()
    commit = subprocess.run(["git", "-C", ROOT, "rev-parse", "--short", "HEAD"], check=False,
                            stdout=subprocess.PIPE, text=True).stdout.strip() or "unknown"
    is_changed = subprocess.run(["git", "-C", ROOT, "diff", "--quiet", "HEAD", "--", "src", "tools", "bench"],
                                check=False).returncode != 0
    memory_mib = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") >> 20
    return table(["", ""], [
        ["date", f"{datetime.date.today()}"], ["commit", commit + (" and changes" if is_changed else "")],
        ["processor", f"{model}, {os.cpu_count()} cores"], ["memory", f"{memory_mib:,} MiB"],
        ["kernel", f"{platform.system()} {platform.release()}"], ["disk", f"{disk[0]} on {disk[1]}"],
        ["load while it ran", "{load}"], ["took", "{minutes}"]])


def main():
    tables = {"scans": scans, "lookups": lookups, "growth": growth, "folders": folders, "mime": mime_mails,
              "exports": exports, "addresses": address_books, "memory": memory}
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=Path, default=ROOT / "build")
    parser.add_argument("--work", type=Path, required=True, help="directory for the stores")
    parser.add_argument("--quick", action="store_true", help="no store of 1,000,000 mails")
    parser.add_argument("--only", choices=tables, action="append", help="one table alone; may be repeated")
    parser.add_argument("--output", type=Path, help="a file that receives the tables too")
    arguments = parser.parse_args()
    arguments.work.mkdir(parents=True, exist_ok=True)
    bench = Bench(arguments.build, arguments.work, arguments.quick)
    begin = time.monotonic()
    about = machine(bench)
    loads = []
    texts = []
    for name, make in tables.items():
        if arguments.only and name not in arguments.only:
            continue
        print(f"{time.monotonic() - begin:6.0f} s: {name}", file=sys.stderr, flush=True)
        texts.append(make(bench))
        loads.append(os.getloadavg()[0])
        print(texts[-1], flush=True)
    minutes = f"{(time.monotonic() - begin) / 60:.0f} minutes"
    about = about.replace("{load}", f"{min(loads):.1f} to {max(loads):.1f}").replace("{minutes}", minutes)
    print(about)
    if arguments.output:
        # What was written by hand about the figures stays.
        old = arguments.output.read_text() if arguments.output.exists() else ""
        remarks = old[old.index(REMARKS):] if REMARKS in old else ""
        options = " --quick" if arguments.quick else ""
        introduction = " ".join(line.strip() for line in __doc__.split("\n\n")[1].splitlines())
        arguments.output.write_text(
            f"# Benchmarks\n\nMade by `scripts/bench{options}`. {introduction}\n\n{about}\n" + "\n".join(texts) + remarks)


if __name__ == "__main__":
    main()
