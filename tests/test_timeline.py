"""Compares each statement of the timeline of logs with what happened on the simulated device."""

import json
import os
import random
import re
import shlex
import subprocess
from pathlib import Path

import pytest

from tests import truth
from tests.conftest import IS_EMULATED, IS_SANITIZED

SEEDS = [int(seed) for seed in os.environ.get("KOVO_TRUTH_SEEDS", "1").split()]
REMOVALS = 20
pytestmark = pytest.mark.skipif(IS_SANITIZED or IS_EMULATED, reason="has no checker, or is slow")


def timeline(event_log: bytes, main_log: bytes, definitions: bytes) -> dict:
    """Returns what `kovocheck log` prints for these logs."""
    for name, data in (("kovoevent.log", event_log), ("kovo.log", main_log), ("kovo.txt", definitions)):
        Path("/tmp", name).write_bytes(data)
    checker = Path(shlex.split(os.environ["KOVOTCP"])[-1]).parent / "check/kovocheck"
    command = [checker, "log", "/tmp/kovoevent.log", "/tmp/kovo.log", "--format=json"]
    command += ["--definitions", "/tmp/kovo.txt"] if definitions else []
    return json.loads(subprocess.run(command, check=True, capture_output=True, timeout=30).stdout)


def parts(records: list[bytes]) -> list[bytes]:
    """Returns a log without its first eighths, and without its last ones."""
    places = [len(records) * eighths // 8 for eighths in range(1, 8)]
    return [b"".join(part) for at in places for part in (records[:at], records[at:])]


@pytest.mark.parametrize("seed", SEEDS)
def test_timeline_is_true(seed: int) -> None:
    run = truth.record(seed)
    judge, chance = truth.Judge(run), random.Random(seed)
    lines = re.split(rb"(?=\[\w+[:;]\d+\] |kovotcp V)", run.main_log)[1:]  # records
    events = run.event_log.splitlines(keepends=True)

    def judged(event_log: bytes, main_log: bytes, definitions: bytes, whole: bool) -> list[str]:
        made = timeline(event_log, main_log, definitions)
        return judge.false_statements(made, main_log, whole)

    found = judged(run.event_log, run.main_log, run.definitions, True)
    found += judged(run.event_log, run.main_log, b"", True)
    for at in chance.sample(range(len(lines)), REMOVALS):
        main_log = b"".join(lines[:at] + lines[at + 1 :])
        found += judged(run.event_log, main_log, run.definitions, False)
    for part in parts(lines):
        found += judged(run.event_log, part, run.definitions, False)
    for part in parts(events):
        found += judged(part, run.main_log, run.definitions, False)
    assert not found, "\n".join(found)
