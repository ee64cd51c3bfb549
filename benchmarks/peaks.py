"""Prints as a Markdown table by how much memory grows at most, for little and for much of the same.

usage: peaks.py VRELBENCH_PEAK
"""

import subprocess
import sys

# name, what, little, much
ROWS = [
    ("flood", "out-of-process run of a downloader that prints so many MiB of lines", 1, 1024),
    ("request", "`parseArguments` of a request with a text of so many MB", 1, 100),
    ("devices", "so many runs at once, each with a handle and a thread of its own", 1, 24),
]


def measured(name, size):
    kibibytes, seconds = subprocess.run([sys.argv[1], name, str(size)], check=True, capture_output=True,
                                        text=True).stdout.split()
    return f"{kibibytes} KiB | {float(seconds) * 1000:.1f} ms"


print("| what | little | memory | takes | much | memory | takes |\n|---|--:|--:|--:|--:|--:|--:|")
for row, what, little, much in ROWS:
    print(f"| {what} | {little} | {measured(row, little)} | {much} | {measured(row, much)} |")
