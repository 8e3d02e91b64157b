"""Plays each scenario; docs/testing.md describes them."""

from collections.abc import Iterator
from pathlib import Path

import pytest

from tests.conftest import IS_EMULATED
from tests.player.player import Failure, Player


def parameters() -> Iterator:
    """Returns the scenarios; one with the line "serial" runs while no other test does.

    The checker, which prints timelines, is not built for an emulated device.
    """
    for path in sorted((Path(__file__).parent / "scenarios").glob("*.txt")):
        is_serial = b"\nserial\n" in path.read_bytes()
        if not (IS_EMULATED and path.stem.startswith("timeline_")):
            yield pytest.param(path, id=path.stem, marks=[pytest.mark.serial] * is_serial)


@pytest.mark.parametrize("path", parameters())
def test_scenario(path: Path) -> None:
    player = Player(path)
    try:
        player.play()
    except Failure as failure:
        pytest.fail(str(failure), pytrace=False)
    finally:
        player.close()
