"""Plays each scenario; docs/testing.md describes them."""

from pathlib import Path

import pytest

from tests.player.player import Failure, Player

SCENARIOS = sorted((Path(__file__).parent / "scenarios").glob("*.txt"))


def parameters() -> list:
    """Returns the scenarios; one with the line "serial" runs while no other test does."""
    serial = [path for path in SCENARIOS if b"\nserial\n" in path.read_bytes()]
    return [
        pytest.param(path, id=path.stem, marks=[pytest.mark.serial] if path in serial else [])
        for path in SCENARIOS
    ]


@pytest.mark.parametrize("path", parameters())
def test_scenario(path: Path) -> None:
    player = Player(path)
    try:
        player.play()
    except Failure as failure:
        pytest.fail(str(failure), pytrace=False)
    finally:
        player.close()
