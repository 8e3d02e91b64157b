"""Plays a scenario inside a device: python3 -m tests.player FILE [--accept]

With --accept, prints the scenario anew, with what came out in the place of what was expected.
"""

import sys
from pathlib import Path

from tests.player.player import Failure, Player


def main() -> None:
    player = Player(Path(sys.argv[1]))
    try:
        accept = sys.argv[2:] == ["--accept"]
        played = player.play(accept)
        if accept:
            sys.stdout.buffer.write(played.encode("latin-1"))
    except Failure as failure:
        sys.exit(str(failure))
    finally:
        player.close()


main()
