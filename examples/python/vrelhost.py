"""vrelhost from Python: requests and recipes with live log lines, and a station's rows.

Nothing but Python 3.9 and the tool is needed: copy this file into your project. README.md shows it in use.
"""

from __future__ import annotations

import asyncio
import json
import os
import signal
from asyncio.subprocess import PIPE
from collections.abc import AsyncGenerator, AsyncIterator, Callable, Mapping, Sequence
from contextlib import asynccontextmanager, suppress
from dataclasses import dataclass
from typing import Any

LONGEST_LINE = 16 * 1024 * 1024


@dataclass(frozen=True)
class LogLine:
    """A line of the log, as it comes."""

    level: int  #: 0 and 1: errors, 2: warnings, 3: progress and results, 4 and 5: details
    text: str
    serial: str | None  #: of the device that it belongs to
    path: str | None
    step: int | None  #: of a recipe, from 1

    @classmethod
    def of(cls, line: bytes) -> LogLine:
        if not line.startswith(b"{"):  # a library wrote past the log, or the tool cannot be loaded
            return cls(2, line.decode(errors="replace").rstrip(), None, None, None)
        fields = json.loads(line)
        text = fields["text"] if "text" in fields else fields["label"] + fields["value"]
        return cls(fields["level"], text, fields.get("serial"), fields.get("path"), fields.get("step"))


OnLine = Callable[[LogLine], None]


@dataclass(frozen=True)
class Step:
    command: str
    result: str
    duration: int
    error: str | None


@dataclass(frozen=True)
class Result:
    """How it ended on one device."""

    serial: str
    path: str | None
    result: str  #: "success", "failure", "not run"; with a ledger also "done", by an earlier service
    duration: int  #: milliseconds
    error: str | None
    job: str
    service: str | None  #: its UUID in the ledger
    steps: tuple[Step, ...]  #: of a recipe

    @property
    def succeeded(self) -> bool:
        return self.result in ("success", "done")

    @classmethod
    def of(cls, fields: Mapping[str, Any]) -> Result:
        steps = (Step(step["command"], step["result"], step["duration"], step["error"]) for step in fields.get("steps", ()))
        return cls(fields["serial"], fields["path"], fields["result"], fields["duration"], fields["error"], fields["job"],
                   fields.get("service"), tuple(steps))


class NotRun(Exception):
    """Nothing was run; the text is the tool's own last error line."""


class VrelHost:
    """The tool. `environment` is added to this process's."""

    def __init__(self, program: str = "vrelhost", environment: Mapping[str, str] | None = None) -> None:
        self._program = program
        self._environment = {**os.environ, **(environment or {})}

    async def run(self, request: Any, *options: str, on_line: OnLine | None = None) -> list[Result]:
        """Runs a request, or a recipe, on the devices that the options name, as in run(request, "--all").

        A task that is cancelled here has the tool begin nothing further, and waits for what cannot be broken off.
        """
        async with self._start("run", request, options, on_line) as work:
            results = [Result.of(fields) async for line in work.rows for fields in json.loads(line)]
        if not results:
            raise NotRun(work.error)
        return results

    async def station(self, request: Any, *options: str, on_line: OnLine | None = None) -> AsyncGenerator[Result, None]:
        """Yields each device's result when it is done. Closing the generator ends the station as Ctrl-C does."""
        async with self._start("station", request, options, on_line) as work:
            async for line in work.rows:
                yield Result.of(json.loads(line))

    @asynccontextmanager
    async def _start(self, subcommand: str, request: Any, options: Sequence[str],
                     on_line: OnLine | None) -> AsyncIterator[_Work]:
        process = await asyncio.create_subprocess_exec(
            self._program, "--log-format", "json", subcommand, "-", "--json", *options,
            env=self._environment, limit=LONGEST_LINE, stdin=PIPE, stdout=PIPE, stderr=PIPE,
            start_new_session=True)  # a Ctrl-C at this program is not one at the tool
        assert process.stdin and process.stdout and process.stderr
        process.stdin.write(json.dumps(request).encode())
        process.stdin.close()
        work = _Work(process.stdout)
        log = asyncio.create_task(work.read_log(process.stderr, on_line))
        try:
            yield work
        except BaseException:
            with suppress(ProcessLookupError):
                process.send_signal(signal.SIGINT)
            raise
        finally:
            await process.stdout.read()
            await log
            code = await process.wait()
        if code not in (0, 1):
            raise NotRun(work.error)


class _Work:
    """A running tool's rows, and the last error of its log."""

    def __init__(self, rows: asyncio.StreamReader) -> None:
        self.rows = rows
        self.error = ""

    async def read_log(self, lines: asyncio.StreamReader, on_line: OnLine | None) -> None:
        async for text in lines:
            line = LogLine.of(text)
            if line.level <= 1 or not self.error:
                self.error = line.text
            if on_line:
                on_line(line)
