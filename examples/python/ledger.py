"""A ledger from Python: the boards of a job as they are now, also while stations write.

usage: ledger.py LEDGER [JOB]
"""

from __future__ import annotations

import sqlite3
import sys
from collections import Counter
from contextlib import closing
from dataclasses import dataclass
from datetime import datetime, timezone
from pathlib import Path

APPLICATION = 1450337644

# Of each group, the row of max(service): services sort by their begin.
LAST_SERVICES = """
    SELECT serial, job, result, error, ended, count(*), max(service) FROM services
    WHERE :job IS NULL OR job = :job GROUP BY serial, job ORDER BY serial, job"""


@dataclass(frozen=True)
class Board:
    serial: str
    job: str
    result: str  #: "success", "failure", "interrupted"; "under way" also where its process is gone
    error: str | None
    ended: datetime | None
    attempts: int


def boards(ledger: str, job: str | None = None) -> list[Board]:
    """The boards of a job, or of all jobs. Nothing is written, and no station waits."""
    uri = Path(ledger).resolve().as_uri() + "?mode=ro"
    with closing(sqlite3.connect(uri, uri=True)) as database:
        if database.execute("PRAGMA application_id").fetchone()[0] != APPLICATION:
            raise ValueError(f"{ledger} is not a ledger")
        rows = database.execute(LAST_SERVICES, {"job": job}).fetchall()
    return [Board(serial, name, result, error, ended and datetime.fromtimestamp(ended / 1000, timezone.utc), attempts)
            for serial, name, result, error, ended, attempts, _ in rows]


def main(ledger: str, job: str | None = None) -> None:
    found = boards(ledger, job)
    for board in found:
        print(board.serial, board.job, board.result, f"after {board.attempts}", board.error or "-")
    print("Yield:", sum(board.result == "success" for board in found), "of", len(found))
    for error, count in Counter(board.error for board in found if board.result == "failure").most_common():
        print(f"{count} x {error}")


if __name__ == "__main__":
    main(*sys.argv[1:])
