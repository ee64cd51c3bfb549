"""Provisions devices, with its progress. usage: provision.py RECIPE.json OPTION ...    (the options of vrelhost run)"""

import asyncio
import json
import sys

from vrelhost import LogLine, NotRun, VrelHost


def show(line: LogLine) -> None:
    if line.text.endswith("procedure success"):
        print(f"so far: {line.serial} step {line.step}")


async def provision(recipe: str, *options: str) -> bool:
    with open(recipe, encoding="utf-8") as file:
        results = await VrelHost().run(json.load(file), *options, on_line=show)
    for result in results:
        print(result.serial, "PASS" if result.succeeded else f"FAIL: {result.error}")
    return all(result.succeeded for result in results)


if __name__ == "__main__":
    try:
        sys.exit(0 if asyncio.run(provision(*sys.argv[1:])) else 1)
    except NotRun as cause:
        sys.exit(f"Nothing was run: {cause}")
