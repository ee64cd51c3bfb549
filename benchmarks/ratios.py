"""Prints the ratio of each pair of benchmarks as a Markdown table.

Reads what vrelbench writes with --benchmark_format=json on standard input. A pair is named ROW/library and
ROW/yardstick, or ROW/both counts the nanoseconds of both itself; of repeated runs the medians count.
"""

import json
import statistics
import sys

WALK = "walking the same list and reading the two IDs"
APPLICATION = "a process that only creates a `QCoreApplication`"
# name, what, yardstick, ratio to reach if there is one
ROWS = [
    ("raw_dump", '`rawDump` of 64 KiB, offsets, 16 a line, " "',
     "`QString::fromLatin1(QByteArray::toHex(' '))` of the same bytes", 1.0),
    ("emmc_report", "whole eMMC report", "`rawDump` of its 532 raw bytes", 4),
    ("erasetoken", "parse and run of erasetoken, API that does nothing, log that drops lines",
     "opening, reading and closing the module, and the bare API call", 2),
    ("module_version", "version of a module of 1 GiB (sparse file)", "of 132 bytes", 1.1),
    ("fetch_api", "`fetchApi` and drop of the handle",
     "three lock/unlock pairs of a `QMutex` with a new and a delete between", 1.8),
    ("device_list", "`getDeviceList` with 24 devices", "building the same `std::map<QString, QString>` by hand", 1.5),
    ("filter_few", "`filterDevices`, 1,000 devices, one in 100 claimed", WALK, 1.3),
    ("filter_many", "`filterDevices`, 100,000 devices, one in 100 claimed", WALK, 1.3),
    ("filter_move_few", "`filterDevices`, 1,000 devices, every second claimed", WALK, 1.3),
    ("filter_move_many", "`filterDevices`, 100,000 devices, every second claimed", WALK, 1.3),
    ("out_of_process", "out-of-process run",
     "`QProcess` start and wait of the same executable, arguments, environment and handlers", 1.05),
    ("load_library", "a process that loads the library and creates a manager",
     "the same process linked to Qt Core alone", 1.2),
    ("start_usages", "`vrelhost usages`", APPLICATION, 1.1),
    ("start_version", "`vrelhost version`, on a rig of two devices", APPLICATION, 1.25),
    ("start_get_serial", "`ruxFwDownloader getSerial`, likewise", APPLICATION, 1.25),
    ("start_scan", "`vrelhost scan`, likewise", APPLICATION, 1.4),
    ("ledger_service", "a service of 5 steps in a ledger", "seven single-row transactions of SQLite on the same disk", 1.5),
    ("dump_beside_xxd", "a process that dumps a file of 1 MiB by `rawDump`", "`xxd -p`, which prints the same", None),
    ("scan_beside_dfu", "`vrelhost scan` of a rig of two devices", "`dfu-util -l`", None),
    ("scan_beside_lsusb", "`vrelhost scan` of a rig of two devices", "`lsusb`", None),
]
NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


def nanoseconds(run):
    # Time of the clock counts where a benchmark says so: it waits for others, or measures a part by itself.
    is_real = run["name"].endswith(("/real_time", "/manual_time"))
    return run["real_time" if is_real else "cpu_time"] * NANOSECONDS[run["time_unit"]]


def figures(run, side):
    """What is known of a row from one run. Who takes both sides in turns also knows their ratio at that time."""
    if "yardstick" not in run:
        return {side: nanoseconds(run)}
    return {"library": run["library"], "yardstick": run["yardstick"], "ratio": run["library"] / run["yardstick"]}


def readable(time):
    for unit, size in (("ms", 1e6), ("µs", 1e3)):
        if time >= size:
            return f"{time / size:.3g} {unit}"
    return f"{time:.3g} ns"


def main():
    times = {}
    for run in json.load(sys.stdin)["benchmarks"]:
        if run.get("error_occurred"):
            sys.exit(f"{run['name']}: {run['error_message']}")
        if run["run_type"] == "iteration":
            row, side = run["name"].split("/")[:2]
            for key, figure in figures(run, side).items():
                times.setdefault((row, key), []).append(figure)
    medians = {key: statistics.median(values) for key, values in times.items()}

    print("| what | yardstick | library | yardstick takes | ratio | to reach |")
    print("|---|---|--:|--:|--:|--:|")
    for row, what, yardstick, limit in ROWS:
        if (row, "library") not in medians or (row, "yardstick") not in medians:
            continue
        ours, theirs = medians[row, "library"], medians[row, "yardstick"]
        ratio = medians.get((row, "ratio"), ours / theirs)
        print(f"| {what} | {yardstick} | {readable(ours)} | {readable(theirs)} | {ratio:.2f} | "
              f"{f'≤ {limit}' if limit else '–'} |")


main()
