"""Plays each block of each scenario; docs/testing.md describes them."""

from collections.abc import Iterator
from pathlib import Path

import pytest

from tests.conftest import IS_EMULATED
from tests.player.player import Failure, Player
from tests.player.script import Line, read_blocks


def parameters() -> Iterator:
    """Returns the blocks as SCENARIO-BLOCK; one with "serial" runs while no other test does.

    The checker, which prints timelines, is not built for an emulated device.
    """
    for path in sorted((Path(__file__).parent / "scenarios").glob("*.txt")):
        if IS_EMULATED and path.stem.startswith("timeline_"):
            continue
        for name, script in read_blocks(path).items():
            is_serial = any(line.verb == "serial" for line in script)
            marks = [pytest.mark.serial] * is_serial
            yield pytest.param(path, script, id=f"{path.stem}-{name}".strip("-"), marks=marks)


@pytest.mark.parametrize(("path", "script"), parameters())
def test_scenario(path: Path, script: list[Line]) -> None:
    player = Player(path, script)
    try:
        player.play()
    except Failure as failure:
        pytest.fail(str(failure), pytrace=False)
    finally:
        player.close()
