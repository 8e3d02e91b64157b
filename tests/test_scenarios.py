"""Plays each scenario; docs/scenarios.md describes them."""

from pathlib import Path

import pytest

from tests.conftest import IS_EMULATED
from tests.player.player import Failure, Player

# The checker is not built for an emulated device.
SCENARIOS = [
    path
    for path in sorted((Path(__file__).parent / "scenarios").glob("*.txt"))
    if not (IS_EMULATED and path.stem.startswith("timeline_"))
]


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
