"""Prints a station's rows. usage: station.py RECIPE.json OPTION ...    (the options of vrelhost station)"""

import asyncio
import json
import sys

from vrelhost import VrelHost


async def serve(recipe: str, *options: str) -> None:
    with open(recipe, encoding="utf-8") as file:
        async for result in VrelHost().station(json.load(file), *options):
            print(result.path, result.serial, result.result)


if __name__ == "__main__":
    asyncio.run(serve(*sys.argv[1:]))
