#!/usr/bin/env python3
"""Makes stores, runs the benchmarks and the programs that they are compared with, and prints a table.

All figures of one table come from one run on one machine. Times are processor time (user and system) of
the best of several runs, because the machines that this runs on are shared; only ratios mean anything.
"""

import argparse
import json
import os
import shutil
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
REPEATS = 5


def processor_seconds(command, env=None):
    """The least user and system time that the command took, its output thrown away."""
    best = None
    for _ in range(REPEATS):
        process = subprocess.Popen(
            command, env=env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL
        )
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode != 0:
            sys.exit(f"{' '.join(map(str, command))}: exit code {process.returncode}")
        seconds = usage.ru_utime + usage.ru_stime
        best = seconds if best is None else min(best, seconds)
    return best


def benchmark(program, env):
    """Google Benchmark's results by name: the least processor time of one iteration, in seconds."""
    units = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
    output = subprocess.run(
        [program, "--benchmark_format=json", f"--benchmark_repetitions={REPEATS}"],
        env={**os.environ, **env}, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
    ).stdout
    results = {}
    for row in json.loads(output)["benchmarks"]:
        if row.get("run_type") != "iteration":
            continue
        seconds = row["cpu_time"] * units[row["time_unit"]]
        results[row["run_name"]] = min(seconds, results.get(row["run_name"], seconds))
    return results


def make_store(build, work, form, mails, mime_percent=30, folders=None, attachment_bytes=None, addresses=None):
    description = json.loads((ROOT / "samples/scale.json").read_text())
    description["template"]["mimePercent"] = mime_percent
    if folders is not None:
        description["template"]["cabinets"] = 1
        description["template"]["folders"] = folders
    if attachment_bytes is not None:
        description["template"]["attachmentBytes"] = attachment_bytes
    if addresses is not None:
        description["template"]["addresses"] = addresses
    name = f"{form}-{mails}-{mime_percent}-{folders}-{attachment_bytes}-{addresses}"
    source = work / f"{name}.json"
    source.write_text(json.dumps(description))
    store = work / name
    subprocess.run(
        [build / "bin/mkstore", source, store, "--format", form, "--scale", str(mails)],
        check=True, stdout=subprocess.DEVNULL,
    )
    return store


def make_address_store(build, work, form, layout, addresses, groups=1_000, depth=5):
    """A store whose book has its addresses in chains of groups, each group's addresses together or dealt
    out in turn, as they come when people add them over the years."""
    entries = [
        {"key": g + 1, "parent": 0 if g % depth == 0 else g, "name": f"グループ {g + 1}"} for g in range(groups)
    ]
    for a in range(addresses):
        group = a % groups if layout == "interleaved" else a * groups // addresses
        entries.append({
            "key": groups + 1 + a, "parent": group + 1, "name": f"白石 千夏 {a}",
            "userId": f"member{a}@example.com", "comment": "次の例会は駅前の喫茶店です。" if a % 3 == 0 else None,
        })
    name = f"book-{form}-{layout}-{addresses}"
    source = work / f"{name}.json"
    source.write_text(json.dumps({"addressBook": entries}))
    store = work / name
    subprocess.run([build / "bin/mkstore", source, store, "--format", form], check=True, stdout=subprocess.DEVNULL)
    return store


def environment(store, database="Cabdata.mdb"):
    return {
        "NIMPORT_REGISTRY": str(store / "registry.reg"),
        "NIMPORT_DRIVES": f"C={store / 'c'}",
        "NIMPORT_BENCH_DATABASE": str(store / "c/NIFTY/Data" / database),
    }


def scans(build, work, mails):
    print(f"## Scans of a store of {mails:,} mails\n")
    print("| store | what | time | compared with | its time | ratio | wanted |")
    print("|---|---|---|---|---|---|---|")
    for form in ("jet3", "jet4"):
        store = make_store(build, work, form, mails)
        env = environment(store)
        database = env["NIMPORT_BENCH_DATABASE"]
        ours = benchmark(build / "bin/jet_bench", env)
        cat = processor_seconds(["cat", database])
        one = ours["BM_ScanDataTableOneInteger"]
        print(f"| {form} | one integer column of DataTBL | {one * 1e3:.1f} ms | `cat` of the file |"
              f" {cat * 1e3:.1f} ms | {one / cat:.2f} | at most 3 |")
        if shutil.which("mdb-export"):
            peer = processor_seconds(["mdb-export", database, "DataTBL"])
            full = ours["BM_ScanDataTableAllColumns"]
            print(f"| {form} | DataTBL, all columns | {full * 1e3:.1f} ms | `mdb-export` |"
                  f" {peer * 1e3:.0f} ms | {peer / full:.1f} times faster | at least 10 |")
            tables = subprocess.run(["mdb-tables", "-1", database], check=True,
                                    stdout=subprocess.PIPE, text=True).stdout.split()
            peer = sum(processor_seconds(["mdb-export", database, table]) for table in tables)
            full = ours["BM_ScanAllTablesAllColumns"]
            print(f"| {form} | all tables, all columns | {full * 1e3:.1f} ms | `mdb-export` of each |"
                  f" {peer * 1e3:.0f} ms | {peer / full:.1f} times faster | at least 10 |")
    print()


def growth(build, work, sizes):
    print("## Cost of one call as the folder grows\n")
    results = {}
    for mails in sizes:
        env = environment(make_store(build, work, "jet3", mails, mime_percent=0, folders=1))
        results[mails] = benchmark(build / "bin/export_bench", env)
        results[mails]["lookup"] = benchmark(build / "bin/jet_bench", env)["BM_LookupByNumber"]
    heads = " | ".join(f"{mails:,} mails" for mails in sizes)
    print(f"| call | {heads} | ratio | wanted |")
    print("|---|" + "---|" * (len(sizes) + 2))
    names = {"lookup": "stored query, lookup by number", "BM_Subject": "ML_GetMailSubject",
             "BM_From": "ML_GetMailFrom", "BM_Date": "ML_GetMailDate",
             "BM_Source": "ML_GetMailSource", "BM_BodyPath": "ML_GetMailBodyPath"}
    for key, name in names.items():
        times = " | ".join(f"{results[mails][key] * 1e6:.2f} µs" for mails in sizes)
        ratio = results[sizes[-1]][key] / results[sizes[0]][key]
        print(f"| {name} | {times} | {ratio:.2f} | at most 1.2 |")
    print()


MIME_EXPORTS = {
    "Subject": "ML_GetMailSubject", "From": "ML_GetMailFrom", "To": "ML_GetMailTo",
    "MessageID": "ML_GetMailMessageID", "ContentType": "ML_GetMailContentType", "Date": "ML_GetMailDate",
    "BodyCount": "ML_GetMailBodyCount", "AttachedCount": "ML_GetAttachedMailCount",
    "Source": "ML_GetMailSource", "BodyPath": "ML_GetMailBodyPath", "AttachedPath": "ML_GetAttachedMailPath",
}
HEADER_EXPORTS = ("Subject", "From", "To", "MessageID", "ContentType", "Date")


def mime_mails(build, work, sizes):
    files = {"5 KiB": 3_000, "1 MiB attached": 1 << 20}
    results = {}
    for name, attachment_bytes in files.items():
        env = environment(make_store(build, work, "jet3", 64, 100, 1, attachment_bytes))
        results[name] = benchmark(build / "bin/mime_bench", env)
    print("## MIME mails: one call, beside a bare GMime parse of the same file\n")
    print("Again: the second and later questions about a mail. First: every mail asked once.\n")
    heads = "".join(f" {name}: again | ratio | first | ratio |" for name in files)
    print(f"| call |{heads} wanted again |")
    print("|---|" + "---|" * (4 * len(files) + 1))
    for key, what in {"ParseFile": "GMime: parse the file", "ParseMemory": "GMime: parse it in memory"}.items():
        cells = ""
        for name in files:
            time = results[name][key]
            cells += f" {time * 1e6:.1f} µs | {time / results[name]['ParseFile']:.2f} | | |"
        print(f"| {what} |{cells} |")
    for key, call in MIME_EXPORTS.items():
        cells = ""
        for name in files:
            parse = results[name]["ParseFile"]
            for kind in ("Again", "First"):
                time = results[name][f"{kind}/{key}"]
                cells += f" {time * 1e6:.2f} µs | {time / parse:.2f} |"
        print(f"| {call} |{cells} {'at most 0.1' if key in HEADER_EXPORTS else ''} |")
    print("\n## MIME mails: every mail asked once, as the folder grows\n")
    for mails in sizes:
        env = environment(make_store(build, work, "jet3", mails, 100, 1))
        results[mails] = benchmark(build / "bin/mime_bench", env)
    print("| call |" + "".join(f" {mails:,} mails |" for mails in sizes) + " ratio | wanted |")
    print("|---|" + "---|" * (len(sizes) + 2))
    for key, call in MIME_EXPORTS.items():
        times = [results[mails][f"First/{key}"] for mails in sizes]
        cells = "".join(f" {time * 1e6:.2f} µs |" for time in times)
        print(f"| {call} |{cells} {times[-1] / times[0]:.2f} | at most 1.2 |")
    print()


def timed(command, env=None):
    """Processor time and wall time of one run of the command."""
    begin = time.perf_counter()
    process = subprocess.Popen(command, env=env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    wall = time.perf_counter() - begin
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}: exit code {process.returncode}")
    return usage.ru_utime + usage.ru_stime, wall


def best_export(build, work, store, form, repeats, copies=None):
    """The least processor and wall times of exports of a store, each into a new directory. `copies` receives those
    of cp -r of each result. Nothing is deleted in between: some file systems take their time to create files
    where others were deleted a moment ago."""
    exports = []
    for number in range(repeats):
        target = work / f"{store.name}-{form}-{number}"
        command = [build / "bin/nimport", "export", "--to", target, "--format", form,
                   "--registry", store / "registry.reg", "--drive", f"C={store / 'c'}"]
        exports.append(timed(command))
        if copies is not None:
            copies.append(timed(["cp", "-r", target, f"{target}-copy"]))
    return [min(times) for times in zip(*exports)]


def exports(build, work, mails):
    print(f"## nimport export of {mails:,} mails, 30 % of them MIME with an attachment\n")
    store = make_store(build, work, "jet3", mails)
    copies = []
    maildir = best_export(build, work, store, "maildir", 3, copies)
    mbox = best_export(build, work, store, "mbox", 3)
    copy = [min(times) for times in zip(*copies)]
    print(f"Beside `cp -r` of the Maildir; best of 3 runs.\n\n| format | processor time | `cp -r` | ratio | wall time |"
          " `cp -r` | ratio | mails per second | wanted |")
    print("|---|---|---|---|---|---|---|---|---|")
    for form, times in (("maildir", maildir), ("mbox", mbox)):
        cells = "".join(f" {ours:.2f} s | {peer:.2f} s | {ours / peer:.2f} |" for ours, peer in zip(times, copy))
        print(f"| {form} |{cells} {mails / times[1]:,.0f} | at most 3 |")
    print("\n## nimport export: processor time of one mail as the store grows\n")
    sizes = [1_000, 10_000, 100_000]
    print("| format |" + "".join(f" {size:,} mails |" for size in sizes) + " ratio | wanted |")
    print("|---|" + "---|" * (len(sizes) + 2))
    one, *grown = [make_store(build, work, "jet3", size, addresses=0) for size in [1, *sizes]]
    for form in ("maildir", "mbox"):
        start, _ = best_export(build, work, one, form, REPEATS)
        times = []
        for size, store in zip(sizes, grown):
            total, _ = best_export(build, work, store, form, 2 if size > 10_000 else REPEATS)
            times.append((total - start) / size)
        cells = "".join(f" {each * 1e6:.0f} µs |" for each in times)
        print(f"| {form} |{cells} {times[-1] / times[0]:.2f} | about 1 |")
    print()


def address_books(build, work, addresses):
    print(f"## Address book of {addresses:,} addresses in 1,000 groups five levels deep\n")
    print("| store | addresses of a group | open | scan of the table, all columns | ratio | wanted |"
          " the six columns read | ratio |")
    print("|---|---|---|---|---|---|---|---|")
    for form in ("jet3", "jet4"):
        for layout in ("interleaved", "together"):
            store = make_address_store(build, work, form, layout, addresses)
            times = benchmark(build / "bin/address_bench", environment(store, "Abook.mdb"))
            opened, scan = times["BM_OpenBook"], times["BM_ScanAllColumns"]
            six = times["BM_ScanColumnsOfTheBook"]
            print(f"| {form} | {layout} | {opened * 1e3:.1f} ms | {scan * 1e3:.1f} ms | {opened / scan:.2f} |"
                  f" at most 2 | {six * 1e3:.1f} ms | {opened / six:.2f} |")
    print("\nHandle by position in the book, name and three values of one address:\n")
    sizes = [addresses // 10, addresses]
    each = []
    for size in sizes:
        store = make_address_store(build, work, "jet3", "interleaved", size)
        times = benchmark(build / "bin/address_bench", environment(store, "Abook.mdb"))
        each.append(times["BM_AskForEveryAddress"] / size)
    print("| " + " | ".join(f"of {size:,}" for size in sizes) + " | ratio | wanted |")
    print("|---|---|---|---|")
    print("| " + " | ".join(f"{one * 1e6:.2f} µs" for one in each) + f" | {each[1] / each[0]:.2f} | about 1 |\n")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=Path, default=ROOT / "build")
    parser.add_argument("--work", type=Path, required=True, help="directory for the stores")
    parser.add_argument("--mails", type=int, default=200_000)
    parser.add_argument("--addresses", type=int, default=100_000)
    parser.add_argument("--only", choices=["scans", "growth", "mime", "exports", "addresses"], help="one table alone")
    arguments = parser.parse_args()
    arguments.work.mkdir(parents=True, exist_ok=True)
    print("# Benchmarks\n")
    print(f"{os.cpu_count()} processors; best of {REPEATS} runs; processor time.\n")
    build, work = arguments.build, arguments.work
    tables = {
        "scans": lambda: scans(build, work, arguments.mails),
        "growth": lambda: growth(build, work, [1_000, 100_000]),
        "mime": lambda: mime_mails(build, work, [1_000, 100_000]),
        "exports": lambda: exports(build, work, 100_000),
        "addresses": lambda: address_books(build, work, arguments.addresses),
    }
    for name, table in tables.items():
        if arguments.only in (None, name):
            table()


if __name__ == "__main__":
    main()
