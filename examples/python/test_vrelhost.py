"""Runs the modules on emulated devices. VRELHOST names the tool, if it is not in the PATH."""

import asyncio
import json
import os
import subprocess
from pathlib import Path
from typing import Any

import pytest

from ledger import boards
from vrelhost import LogLine, NotRun, Result, VrelHost

SERIALS = ["0A1B2C3D", "5E6F7A8B"]
TOOL = os.environ.get("VRELHOST", "vrelhost")


@pytest.fixture(autouse=True)
def files(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.chdir(tmp_path)
    Path("module.bin").write_bytes(bytes(130) + b"\x02\x01" + bytes(4000))
    Path("token.bin").write_bytes(bytes(300))


def tool() -> VrelHost:
    return VrelHost(TOOL, {"VREL_RIG": "rig"})


def request(command: str, **parameters: Any) -> dict[str, Any]:
    return {"command": command, "fw_rux": "module.bin", "slot": 1, **parameters}


WRITE = request("writetoken", token="token.bin")
ERASE = request("erasetoken")
HOLD = {"exec": ["sh", "-c", "echo waiting; until test -e go-{serial}; do sleep 0.02; done"]}  # until a test has read the line


def test_lines_come_while_it_runs() -> None:
    lines: list[LogLine] = []

    def read(line: LogLine) -> None:
        lines.append(line)
        if line.text == "waiting":
            Path(f"go-{line.serial}").touch()

    results = asyncio.run(tool().run([WRITE, HOLD], "--all", on_line=read))
    assert [(result.serial, result.path, result.succeeded) for result in results] == [
        ("0A1B2C3D", "1-4.2", True), ("5E6F7A8B", "2-1", True)]
    assert {(line.serial, line.step) for line in lines if line.text == "WRITE TOKEN procedure success"} == {
        (serial, 1) for serial in SERIALS}


def test_a_recipe_that_fails_names_the_step() -> None:
    result, = asyncio.run(tool().run([WRITE, ERASE, ERASE, WRITE], "--path", "1-4.2"))
    assert (result.result, result.error) == ("failure", "Token slot 1 is empty")
    assert [(step.command, step.result) for step in result.steps] == [
        ("writetoken", "success"), ("erasetoken", "success"), ("erasetoken", "failure"), ("writetoken", "not run")]


@pytest.mark.parametrize("options, cause", [
    (["--sn", "ABSENT"], "The vendor API lists no device with the serial number 'ABSENT'"),
    (["--all", "--jobs", "0"], "--jobs"),
    (["--path", "9-9", "--wait", "1"], "Waited 1 s, nothing was run"),
])
def test_nothing_was_run(options: list[str], cause: str) -> None:
    with pytest.raises(NotRun, match=cause):
        asyncio.run(tool().run(WRITE, *options))


def test_what_is_written_past_the_log_is_a_line_too() -> None:
    with pytest.raises(NotRun, match="Illegal option"):
        asyncio.run(VrelHost("dash").run(WRITE))


def test_cancelling_begins_nothing_further() -> None:
    texts: list[str] = []

    async def cancel() -> None:
        def read(line: LogLine) -> None:
            texts.append(line.text)
            if line.text == "waiting":
                task.cancel()
            if line.level == 2:  # says what the interruption ends
                Path("go-0A1B2C3D").touch()

        task = asyncio.create_task(tool().run([HOLD, WRITE], "--path", "1-4.2", on_line=read))
        with pytest.raises(asyncio.CancelledError):
            await task

    asyncio.run(cancel())
    assert "waiting" in texts and "Starting WRITE TOKEN procedure" not in texts
    assert asyncio.run(tool().run(WRITE, "--path", "1-4.2"))[0].succeeded  # the rig is free again


def test_a_station_yields_rows_until_it_is_closed() -> None:
    async def serve() -> list[Result]:
        rows = []
        station = tool().station([WRITE], "--interval", "50")
        async for result in station:
            rows.append(result)
            if len(rows) == 2:
                break
        await station.aclose()
        return rows

    assert sorted(result.serial for result in asyncio.run(serve())) == SERIALS
    assert asyncio.run(tool().run(ERASE, "--all"))


def test_the_ledger_says_what_vrelhost_says_of_it() -> None:
    for recipe in ([WRITE, ERASE, ERASE], [WRITE]):
        asyncio.run(tool().run(recipe, "--all", "--ledger", "ledger.db", "--job", "order"))
    done, = asyncio.run(tool().run([WRITE], "--path", "1-4.2", "--ledger", "ledger.db", "--job", "order"))
    assert (done.result, done.succeeded, done.job) == ("done", True, "order") and done.service
    asyncio.run(tool().run([ERASE, ERASE], "--path", "1-4.2", "--ledger", "ledger.db"))
    shown = json.loads(subprocess.run([TOOL, "ledger", "boards", "ledger.db", "--json"], check=True, stdout=subprocess.PIPE).stdout)
    assert len(shown) == 3 and [
        (board.serial, board.job, board.result, board.error, board.attempts, board.ended and board.ended.isoformat()[:23])
        for board in boards("ledger.db")] == [
        (row["serial"], row["job"], row["result"], row["error"], row["attempts"], row["last"][:23]) for row in shown]
    assert [board.attempts for board in boards("ledger.db", "order")] == [2, 2]
    with pytest.raises(ValueError, match="not a ledger"):
        Path("other.db").touch()
        boards("other.db")
