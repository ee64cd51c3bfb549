"""Checks that every message in docs/troubleshooting.md is one that the programs print, "…" aside.

usage: page_messages.py SOURCE_DIR
"""

import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
folders = ("plugin", "devices", "commands", "framework", "emulator", "tools")
sources = "".join(path.read_text(encoding="utf-8") for folder in folders for path in sorted((root / folder).rglob("*.[ch]*")))
sources += "".join(path.read_text(encoding="utf-8") for path in sorted((root / "tests/commands").glob("*.txt")))
sources = re.sub(r'"\)?\s*\n\s*(QStringLiteral\()?"', "", sources)  # a text that goes on in the next line

page = (root / "docs/troubleshooting.md").read_text(encoding="utf-8").split("\n## Building")[0]
messages = [text for cell in re.findall(r"^\| (.*?) \|", page, re.M) for text in re.findall("`([^`]+)`", cell)]
unknown = [text for text in messages if any(part.strip(" :;,.'") not in sources for part in text.split("…"))]
for text in unknown:
    print(f"docs/troubleshooting.md: no program prints '{text}'; write what it prints now, with … for what differs")
sys.exit(bool(unknown) or not messages)
